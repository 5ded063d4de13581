#include "platform/ldap/host_network.h"

#include <QSysInfo>

namespace rehome::ldap {

QString HostNetwork::ComputerName() {
    const QString name = QSysInfo::machineHostName().section(u'.', 0, 0).toUpper();
    if (name.isEmpty())
        throw Error(QStringLiteral("This computer has no host name: set one (hostnamectl)."));
    return name;
}

} // namespace rehome::ldap
