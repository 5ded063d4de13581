#include "platform/ldap/ldap_probe.h"

#include "platform/engine/escape.h"
#include "platform/error.h"
#include "platform/ldap/tcp_check.h"

namespace rehome::ldap {

using namespace Qt::Literals::StringLiterals;

LdapProbe::LdapProbe(engine::Engine& engine, platform::Network& network,
                     platform::Interruption* interruption, std::chrono::milliseconds limit,
                     quint16 port)
    : m_engine(engine), m_network(network), m_interruption(interruption), m_limit(limit),
      m_port(port) {
}

LdapProbe::~LdapProbe() = default;

engine::Entry LdapProbe::read(const QString& name, const QString& attribute) {
    if (!m_session)
        m_session = m_engine.openSession();
    engine::SearchRequest request;
    request.base = name;
    request.attributes = QStringList{attribute};
    const auto entry = m_session->search(request)->next();
    if (!entry)
        throw Error(u"Reading %1 of %2 failed: you may not see the object."_s.arg(attribute, name));
    return *entry;
}

void LdapProbe::checkServer(const QString& serverName) {
    if (engine::firstValue(serverName).compare(m_network.ComputerName(), Qt::CaseInsensitive) == 0)
        return;
    const QString attribute = u"networkAddress"_s;
    const QString protocol = u"ncacn_ip_tcp:"_s;
    QString host;
    for (const QByteArray& value : read(serverName, attribute).values(attribute)) {
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

qint16 LdapProbe::storeStatus(const QString& storeName) {
    const QString attribute = u"msExchEDBOffline"_s;
    const bool offline = read(storeName, attribute).text(attribute) == u"TRUE"_s;
    return offline ? 1 : 0;
}

} // namespace rehome::ldap
