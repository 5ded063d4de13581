#include "platform/ldap/ldap_probe.h"

#include "platform/engine/escape.h"
#include "platform/engine/network_address.h"
#include "platform/error.h"

#include <QScopeGuard>

#include <sys/resource.h>

namespace rehome::ldap {

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr std::chrono::milliseconds Tenth{100}; ///< of a second

const QString Offline = u"msExchEDBOffline"_s;

} // namespace

QStringList LdapProbe::attributes() const {
    return {engine::NetworkAddress, Offline};
}

bool LdapProbe::isLocal(const engine::Entry& server) {
    return engine::firstValue(server.distinguishedName)
               .compare(m_network.ComputerName(), Qt::CaseInsensitive) == 0;
}

void LdapProbe::beginChecks(const std::vector<engine::Entry>& servers) {
    m_checks.clear();
    // Each server that does not respond holds a descriptor; the usual soft limit is 1,024.
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) == 0) {
        files.rlim_cur = files.rlim_max;
        setrlimit(RLIMIT_NOFILE, &files);
    }
    try {
        for (const engine::Entry& server : servers) {
            const QString host = engine::tcpHost(server);
            if (host.isEmpty() || isLocal(server))
                continue;
            const auto now = TcpCheck::Clock::now();
            if (m_begin + Tenth <= now) {
                m_begin = now;
                m_sameBegin = 0;
            } else if (m_sameBegin == MaxChecksPerTenth) {
                m_begin += Tenth;
                m_sameBegin = 0;
            }
            ++m_sameBegin;
            const auto begin = m_begin;
            m_checks.try_emplace(server.distinguishedName, host, m_port,
                                 QDeadlineTimer(begin + m_timeout), begin);
        }
    } catch (const Error&) {
        // No computer name or no thread is left: checkServer() checks the remaining servers, and
        // throws if that fails too.
    }
    m_begun = m_checks.size();
    if (m_interruption && m_begun > 0)
        m_interruption->waitFor(pendingServers());
}

void LdapProbe::checkServer(const engine::Entry& server) {
    const QString& serverName = server.distinguishedName;
    if (isLocal(server))
        return;
    const QString host = engine::tcpHost(server);
    if (host.isEmpty())
        throw Error(u"The server %1 cannot be asked: its attribute networkAddress names no TCP "
                    "address (ncacn_ip_tcp:)."_s.arg(serverName));
    const auto begun = m_checks.find(serverName);
    const auto consumed = qScopeGuard([&] {
        if (begun != m_checks.end())
            m_checks.erase(begun);
    });
    try {
        if (begun != m_checks.end())
            awaitResponse(begun->second);
        else
            checkTcpPort(host, m_port, QDeadlineTimer(m_timeout), m_interruption);
    } catch (const Error& error) {
        throw Error(u"The server %1 does not answer at %2, TCP port %3: %4. Check that it is "
                    "running and that no firewall is in between."_s.arg(
                        serverName, host, QString::number(m_port), error.description()));
    }
}

void LdapProbe::awaitResponse(TcpCheck& check) {
    while (!check.isOver()) {
        if (m_interruption)
            m_interruption->waitFor(pendingServers());
        check.wait(QDeadlineTimer(250), m_interruption);
    }
    check.requireSuccess();
}

/// Returns how many of the servers have not responded yet, and which.
QString LdapProbe::pendingServers() const {
    QStringList names;
    for (const auto& [name, check] : m_checks)
        if (!check.isOver())
            names += engine::firstValue(name);
    return u"%1 of %2 servers: "_s.arg(names.size()).arg(m_begun) + names.join(u", "_s);
}

qint16 LdapProbe::storeStatus(const engine::Entry& store) {
    return store.text(Offline) == u"TRUE"_s ? 1 : 0;
}

} // namespace rehome::ldap
