#pragma once

#include "platform/engine/engine.h"

#include <QString>

namespace rehome::adsi {

/// Parses "<LDAP://base>;filter;attributes;scope". The scope is "base", "onelevel" or "subtree".
/// Throws Error if a part is invalid.
engine::SearchRequest parseCommandText(const QString& text);

/// Returns what follows "LDAP://" in a path; empty for "LDAP://RootDSE". Throws Error if the path
/// begins otherwise.
QString baseOfPath(const QString& path);

} // namespace rehome::adsi
