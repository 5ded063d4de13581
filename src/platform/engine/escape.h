#pragma once

#include <QString>

namespace rehome::engine {

/// A text as an assertion value of a search filter (RFC 4515 section 3): whatever it holds, it
/// cannot change the filter's meaning.
QString filterValue(const QString& text);

/// The distinguished name without its first `levels` components (RFC 4514), empty where it has no
/// more.
QString parentName(const QString& distinguishedName, int levels = 1);

/// The value of the first component, escapes resolved (RFC 4514 section 3).
QString firstValue(const QString& distinguishedName);

} // namespace rehome::engine
