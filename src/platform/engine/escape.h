#pragma once

#include <QByteArrayView>
#include <QString>

namespace rehome::engine {

/// A text as an assertion value of a search filter (RFC 4515 section 3): whatever it holds, it
/// cannot change the filter's meaning.
QString filterValue(const QString& text);

/// The distinguished name without its first `levels` components (RFC 4514), empty where it has no
/// more.
QString parentName(const QString& distinguishedName, int levels = 1);

/// The value of the first component, escapes (RFC 4514 section 3) and quotes (RFC 2253 section 4)
/// resolved. After a backslash stand two hexadecimal digits, or the character meant.
QString firstValue(const QString& distinguishedName);

/// The distinguished name with its values escaped as Active Directory writes them, whichever way
/// another server does: a backslash and the character, except that a line's end and NUL are
/// "\0A", "\0D" and "\00". Attribute types stay as they are; so does what is no distinguished
/// name, a value of octets ("#04...") and one whose octets are not UTF-8.
QString directorySpelling(const QString& distinguishedName);

/// Whether a distinguished name is in ASCII and nothing in it is escaped, nor would have to be: it
/// is spelt as Active Directory does. Asked of every name of a long list.
bool isPlainName(QByteArrayView name);

} // namespace rehome::engine
