#pragma once

#include "platform/interruption.h"

#include <QDeadlineTimer>
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

/// Finds out why TLS failed with a server, because not every TLS library of libldap reports it:
/// connects once more, begins TLS with the same authorities and sends nothing else. `port` 1 to
/// 65535. Returns sentences with remedies; empty if it finds nothing before the deadline. May end
/// the process.
QString tlsFaults(const QString& host, quint16 port, bool startTls, QDeadlineTimer deadline,
                  platform::Interruption* interruption);

} // namespace rehome::ldap
