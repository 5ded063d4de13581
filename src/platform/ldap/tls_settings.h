#pragma once

#include <QString>

struct ldap;

namespace rehome::ldap {

/// Returns true if the URI asks for TLS: by its scheme, or for StartTLS by an extension.
bool wantsTls(const QString& uri);

/// Has libldap verify the server's certificate on that handle, whatever TLS_REQCERT and TLS_REQSAN
/// of ldap.conf say. The other TLS settings of ldap.conf are copied. Returns false if they cannot
/// be used.
bool demandCertificate(::ldap* handle);

/// Returns the TLS files of ldap.conf that cannot be read, as a phrase for each; empty if none.
QString unreadableTlsFiles();

} // namespace rehome::ldap
