#include "platform/ldap/ldap_probe.h"

#include "platform/engine/escape.h"
#include "platform/error.h"
#include "platform/ldap/tcp_check.h"

namespace rehome::ldap {

using namespace Qt::Literals::StringLiterals;

namespace {

const QString NetworkAddress = u"networkAddress"_s;
const QString Offline = u"msExchEDBOffline"_s;

} // namespace

QStringList LdapProbe::attributes() const {
    return {NetworkAddress, Offline};
}

void LdapProbe::checkServer(const engine::Entry& server) {
    const QString& serverName = server.distinguishedName;
    if (engine::firstValue(serverName).compare(m_network.ComputerName(), Qt::CaseInsensitive) == 0)
        return;
    const QString protocol = u"ncacn_ip_tcp:"_s;
    QString host;
    for (const QByteArray& value : server.values(NetworkAddress)) {
        const QString address = QString::fromUtf8(value);
        if (host.isEmpty() && address.startsWith(protocol, Qt::CaseInsensitive))
            host = address.mid(protocol.size()).section(u'[', 0, 0);
    }
    if (host.isEmpty())
        throw Error(u"The server %1 cannot be asked: its attribute networkAddress names no TCP "
                    "address (%2)."_s.arg(serverName, protocol));
    try {
        checkTcpPort(host, m_port, QDeadlineTimer(m_limit), m_interruption);
    } catch (const Error& error) {
        throw Error(u"The server %1 does not answer at %2, TCP port %3: %4. Check that it is "
                    "running and that no firewall is in between."_s.arg(serverName, host)
                        .arg(m_port)
                        .arg(error.description()));
    }
}

qint16 LdapProbe::storeStatus(const engine::Entry& store) {
    return store.text(Offline) == u"TRUE"_s ? 1 : 0;
}

} // namespace rehome::ldap
