#pragma once

#include "platform/engine/engine.h"

#include <QString>

namespace rehome::adsi {

/// Takes "<LDAP://base>;filter;attributes;scope" apart. The scope is "base", "onelevel" or
/// "subtree". Throws Error naming the part that is wrong.
engine::SearchRequest parseCommandText(const QString& text);

/// The base that a path names: empty for "LDAP://RootDSE", else what follows "LDAP://". Throws
/// Error where the path does not begin so.
QString baseOfPath(const QString& path);

} // namespace rehome::adsi
