#pragma once

#include "platform/interruption.h"

#include <QDeadlineTimer>
#include <QString>

namespace rehome::ldap {

/// Finds out why TLS failed with a server, because not every TLS library of libldap reports it:
/// connects once more, begins TLS with the same authorities and sends nothing else. `port` 1 to
/// 65535. Returns sentences with remedies; empty if it finds nothing before the deadline. May end
/// the process.
QString tlsFaults(const QString& host, quint16 port, bool startTls, QDeadlineTimer deadline,
                  platform::Interruption* interruption);

} // namespace rehome::ldap
