#pragma once

#include <QByteArrayView>
#include <QString>

namespace rehome::engine {

/// Escapes a string for use as an assertion value of a search filter (RFC 4515 section 3).
QString filterValue(const QString& text);

/// Returns the DN without its first `levels` RDNs (RFC 4514), at least 0; empty if it has no more.
QString parentName(const QString& distinguishedName, int levels = 1);

/// Returns the value of the first RDN, with escapes (RFC 4514 section 3) and quotes (RFC 2253
/// section 4) resolved. A backslash escapes the next character, or the byte of two hexadecimal
/// digits.
QString firstValue(const QString& distinguishedName);

/// Returns the DN with its values escaped as Active Directory does: with a backslash before the
/// character, but LF, CR and NUL as "\0A", "\0D" and "\00". Does not change attribute types,
/// values in hexadecimal ("#04..."), values that are not UTF-8, and a string that is not a DN.
QString directorySpelling(const QString& distinguishedName);

/// Returns true if a DN is ASCII and contains no character that is or must be escaped, so that
/// directorySpelling() would not change it. Fast: it is called for each DN of a long list.
bool isPlainName(QByteArrayView name);

} // namespace rehome::engine
