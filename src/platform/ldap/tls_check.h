#pragma once

#include "platform/interruption.h"

#include <QDeadlineTimer>
#include <QString>

namespace rehome::ldap {

/// Finds out why TLS failed with a server, which not every TLS library of the LDAP client tells:
/// connects once more, begins TLS with the same authorities and sends nothing else.
/// Returns sentences with remedies; empty if nothing is found before the deadline.
QString tlsFaults(const QString& host, quint16 port, bool startTls, QDeadlineTimer deadline,
                  platform::Interruption* interruption);

} // namespace rehome::ldap
