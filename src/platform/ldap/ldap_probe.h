#pragma once

#include "platform/desktop.h"
#include "platform/engine/exchange_probe.h"
#include "platform/interruption.h"
#include "platform/ldap/tcp_check.h"

#include <chrono>
#include <map>

namespace rehome::ldap {

/// What the directory and the network tell of Exchange.
class LdapProbe : public engine::ExchangeProbe {
public:
    /// The port of the RPC endpoint mapper, which every Exchange server runs.
    static constexpr quint16 EndpointMapper = 135;

    /// So many checks begin in any tenth of a second: more look like a worm.
    static constexpr int ChecksAtOnce = 32;

    /// Both must outlive it. `interruption` ends the wait for a server, and is told which servers
    /// are waited for; `limit` is for a server's answer, name look-up included.
    explicit LdapProbe(platform::Network& network, platform::Interruption* interruption = nullptr,
                       std::chrono::milliseconds limit = std::chrono::seconds(3),
                       quint16 port = EndpointMapper)
        : m_network(network), m_interruption(interruption), m_limit(limit), m_port(port) {}

    QStringList attributes() const override;

    /// Begins the checks of all servers but the local one; never fails.
    void beginChecks(const std::vector<engine::Entry>& servers) override;
    /// Connects to the endpoint mapper at the server's address (attribute `networkAddress`, the
    /// value that begins with "ncacn_ip_tcp:"). The local server is not checked: the tool's own
    /// computer is up. A check that has begun is consumed.
    void checkServer(const engine::Entry& server) override;
    /// 1 where `msExchEDBOffline` is TRUE, else 0: a directory does not tell more.
    qint16 storeStatus(const engine::Entry& store) override;

private:
    bool isLocal(const engine::Entry& server);
    void awaitAnswer(TcpCheck& check);
    QString silentServers() const;

    platform::Network& m_network;
    platform::Interruption* m_interruption;
    std::chrono::milliseconds m_limit;
    quint16 m_port;
    TcpCheck::Clock::time_point m_begin;  ///< of the checks begun last
    int m_sameBegin = 0;                  ///< how many begin then
    std::map<QString, TcpCheck> m_checks; ///< by distinguished name
    size_t m_begun = 0;                   ///< checks, of which m_checks are not yet consumed
};

} // namespace rehome::ldap
