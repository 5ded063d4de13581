#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

struct ldap;
struct ldapmsg;

namespace rehome::ldap {

/// Frees what libldap has allocated.
struct LibraryFree {
    void operator()(::ldap* handle) const;
    void operator()(::ldapmsg* message) const;
    void operator()(char* string) const;
    void operator()(char** strings) const;
};
using Handle = std::unique_ptr<::ldap, LibraryFree>;
using Message = std::unique_ptr<::ldapmsg, LibraryFree>;
using LdapString = std::unique_ptr<char, LibraryFree>;
using LdapStrings = std::unique_ptr<char*, LibraryFree>;

/// Returns a string option of the handle, or of ldap.conf if `handle` is null; empty if not set.
QByteArray stringOption(::ldap* handle, int option);
/// Sets an integer option of the handle.
void setOption(::ldap* handle, int option, int value);
/// Returns what libldap says of the handle's last failure; empty if nothing.
QString diagnosticMessage(::ldap* handle);
/// Converts to UTF-8. Throws Error if the string contains a NUL, at which libldap would end it.
QByteArray toLdapString(const QString& string);

} // namespace rehome::ldap
