#pragma once

#include "platform/desktop.h"
#include "platform/engine/exchange_probe.h"
#include "platform/interruption.h"
#include "platform/ldap/tcp_check.h"

#include <chrono>
#include <map>

namespace rehome::ldap {

/// Finds out about Exchange servers from the directory and the network. One thread.
class LdapProbe : public engine::ExchangeProbe {
public:
    /// The TCP port of the RPC endpoint mapper, which every Exchange server runs.
    static constexpr quint16 EndpointMapper = 135;

    /// How many checks may begin in any tenth of a second: more would look like a worm.
    static constexpr int MaxChecksPerTenth = 32;

    /// Both must outlive it. Every wait meets a request of `interruption` to end the process, and
    /// shows there which servers are pending; null: none. `timeout`: for one server, name look-up
    /// included.
    explicit LdapProbe(platform::Network& network, platform::Interruption* interruption = nullptr,
                       std::chrono::milliseconds timeout = std::chrono::seconds(3),
                       quint16 port = EndpointMapper)
        : m_network(network), m_interruption(interruption), m_timeout(timeout), m_port(port) {}

    QStringList attributes() const override;

    /// Begins the checks of all servers but the local one, and raises the process's soft limit of
    /// open files to its hard limit for them. Never throws or blocks.
    void beginChecks(const std::vector<engine::Entry>& servers) override;
    /// Connects to the endpoint mapper at the server's address (attribute `networkAddress`, the
    /// value that begins with "ncacn_ip_tcp:"). Returns at once for the local server, because this
    /// computer is up. Uses up the server's check, if it has begun. Blocks, and may end the
    /// process. Throws Error if the server does not respond, or has no such address.
    void checkServer(const engine::Entry& server) override;
    /// Returns 1 if `msExchEDBOffline` is TRUE, otherwise 0: the directory has no other state.
    qint16 storeStatus(const engine::Entry& store) override;

private:
    bool isLocal(const engine::Entry& server);
    void awaitResponse(TcpCheck& check);
    QString pendingServers() const;

    platform::Network& m_network;
    platform::Interruption* m_interruption;
    std::chrono::milliseconds m_timeout;
    quint16 m_port;
    TcpCheck::Clock::time_point m_begin;  ///< of the latest checks
    int m_sameBegin = 0;                  ///< how many begin at m_begin
    std::map<QString, TcpCheck> m_checks; ///< by the server's DN
    size_t m_begun = 0;                   ///< checks in all; m_checks holds those not used up
};

} // namespace rehome::ldap
