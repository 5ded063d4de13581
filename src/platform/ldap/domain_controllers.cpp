#include "platform/ldap/domain_controllers.h"

#include "platform/ldap/controller_race.h"
#include "platform/ldap/search_stream.h"
#include "platform/ldap/server_location.h"

#include <ldap.h>

#include <algorithm>
#include <utility>

namespace rehome::ldap {

using namespace Qt::Literals::StringLiterals;

namespace {

/// The capability of a read-only domain controller ([MS-ADTS] 3.1.1.3.4.3.5).
constexpr char ReadOnly[] = "1.2.840.113556.1.4.1920";

/// `domain` is the one that it must hold, if any.
ReadyController connectAuthenticated(const QString& server, const LdapSettings& settings,
                                     bool reconnecting, const std::optional<QString>& domain) {
    const auto connected = [&] {
        return std::make_shared<ServerConnection>(server, settings, std::make_shared<Health>(),
                                                  reconnecting);
    };
    ReadyController answer;
    try {
        answer.connection = connected();
    } catch (const Failure& failure) {
        if (!failure.cutWhileAuthenticating()) // by a server that is being restarted
            throw;
        answer.connection = connected();
    }
    engine::SearchRequest request;
    request.attributes = QStringList{u"supportedControl"_s, u"supportedCapabilities"_s,
                                     u"isSynchronized"_s, u"defaultNamingContext"_s};
    const auto root = SearchStream(answer.connection, request, 0).next().value_or(engine::Entry());
    answer.supportsPaging = root.values(u"supportedControl"_s).contains(LDAP_CONTROL_PAGEDRESULTS);
    answer.lastResort = root.text(u"isSynchronized"_s) == u"FALSE" ||
                        root.values(u"supportedCapabilities"_s).contains(ReadOnly);
    answer.domain = root.text(u"defaultNamingContext"_s);
    if (domain && domain->compare(answer.domain, Qt::CaseInsensitive) != 0)
        answer.connection->fail(
            {Stage::Choose},
            {.code = LDAP_NOT_SUPPORTED,
             .cause = u"it holds the domain %1, and this run works on %2. Name only domain "
                      "controllers of one domain in ldap.conf"_s.arg(answer.domain, *domain)});
    return answer;
}

} // namespace

std::shared_ptr<ServerConnection> DomainControllers::find(const QString& server, bool forPages) {
    std::erase_if(m_connections, [](const auto& connection) { return !connection->isUsable(); });
    const auto found =
        std::find_if(m_connections.begin(), m_connections.end(), [&](const auto& connection) {
            return connection->server() == (server.isEmpty() ? m_inUse : server) &&
                   !(forPages && connection->isPaging());
        });
    return found == m_connections.end() ? nullptr : *found;
}

std::shared_ptr<ServerConnection> DomainControllers::connect(const QString& server) {
    const bool named = !server.isEmpty();
    const QList<QStringList> servers = named ? QList<QStringList>{{server}} : serversToTry();
    const bool reconnecting = m_health->wantsShortTimeout();
    // A thread that is left behind must not use what the caller's thread does.
    LdapSettings own = m_settings;
    own.interruption = nullptr;
    own.responseTimeout = own.connectTimeout;
    ControllerRace race(
        [own, reconnecting, domain = named ? std::nullopt : m_domain](const QString& each) {
            return connectAuthenticated(each, own, reconnecting, domain);
        },
        3 * (reconnecting ? std::min(own.connectTimeout, own.shortTimeout) : own.connectTimeout),
        m_settings.interruption);
    const auto winner = race.run(servers);
    if (!winner) {
        if (race.anyTimedOut())
            m_health->noteTimeout(reconnecting, m_settings.fullTimeoutInterval);
        else if (!named) // servers may have moved; but finding them may take long, too
            m_servers.clear();
        throw engine::DirectoryFailed(race.reasons());
    }
    if (m_settings.interruption)
        m_settings.interruption->waitFor(winner->connection->server());
    if (!named) {
        m_inUse = winner->connection->server();
        m_domain = winner->domain;
    }
    winner->connection->activate(m_settings, m_health, winner->supportsPaging);
    m_connections.push_back(winner->connection);
    return winner->connection;
}

QList<QStringList> DomainControllers::serversToTry() {
    if (m_servers.isEmpty())
        m_servers = m_settings.servers.isEmpty()
                        ? locateServers(m_settings.connectTimeout, m_settings.interruption)
                        : m_settings.servers;
    QList<QStringList> servers = m_servers;
    bool listed = false;
    for (QStringList& priority : servers)
        listed = priority.removeOne(m_inUse) || listed;
    if (listed)
        servers.prepend({m_inUse});
    return servers;
}

} // namespace rehome::ldap
