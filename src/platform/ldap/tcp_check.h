#pragma once

#include "platform/interruption.h"

#include <QDeadlineTimer>
#include <QString>

namespace rehome::ldap {

/// Connects to a TCP port and hangs up again: at the first of the host's addresses that answers.
/// Throws Error saying why none does before the deadline, which the name look-up counts towards.
void checkTcpPort(const QString& host, quint16 port, QDeadlineTimer deadline,
                  platform::Interruption* interruption = nullptr);

} // namespace rehome::ldap
