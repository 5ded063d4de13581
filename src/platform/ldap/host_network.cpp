#include "platform/ldap/host_network.h"

#include "platform/computer_name.h"

namespace rehome::ldap {

QString HostNetwork::ComputerName() {
    const QString name = platform::computerName();
    if (name.isEmpty())
        throw Error(QStringLiteral("This computer has no host name: set one (hostnamectl)."));
    return name;
}

} // namespace rehome::ldap
