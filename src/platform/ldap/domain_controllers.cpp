#include "platform/ldap/domain_controllers.h"

#include "platform/ldap/failure.h"
#include "platform/ldap/search_stream.h"
#include "platform/ldap/server_location.h"

#include <ldap.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace rehome::ldap {

std::shared_ptr<ServerConnection> DomainControllers::connect() {
    if (m_servers.isEmpty())
        m_servers = m_settings.servers.isEmpty() ? locateServers() : m_settings.servers;
    const Health before = *m_health;
    const bool reviving = isReviving();
    std::vector<std::pair<Failure, QStringList>> failures; // equal ones together
    for (qsizetype i = 0; i < m_servers.size(); ++i) {
        try {
            auto connection = signOnAt(m_servers.at(i), reviving);
            m_servers.move(i, 0);
            return connection;
        } catch (const Failure& failure) {
            const QString reason = failure.at({}).description();
            const auto known =
                std::find_if(failures.begin(), failures.end(), [&](const auto& other) {
                    return other.first.at({}).description() == reason;
                });
            if (known == failures.end())
                failures.emplace_back(failure, m_servers.at(i));
            else
                known->second += m_servers.at(i);
            if (failure.isLocal())
                break;
        }
    }
    // Servers may have moved: look again the next time, except where that may take long too.
    if (m_health->timeouts == before.timeouts)
        m_servers.clear();
    QStringList descriptions;
    for (const auto& [failure, servers] : failures)
        descriptions += failure.at(servers.join(QStringLiteral(", "))).description();
    throw engine::DirectoryFailed(descriptions.join(u'\n'));
}

std::shared_ptr<ServerConnection> DomainControllers::connectTo(const QString& server) {
    return signOnAt(server, isReviving());
}

std::shared_ptr<ServerConnection> DomainControllers::signOnAt(const QString& server,
                                                              bool reviving) {
    if (m_settings.interruption)
        m_settings.interruption->waitFor(server);
    const auto connected = [&] {
        return std::make_shared<ServerConnection>(server, m_settings, m_health, reviving);
    };
    std::shared_ptr<ServerConnection> connection;
    try {
        connection = connected();
    } catch (const Failure& failure) {
        if (!failure.cutWhileAuthenticating()) // by a server that is being restarted
            throw;
        connection = connected();
    }
    if (m_health->timeouts > 0)
        readRoot(connection);
    return connection;
}

bool DomainControllers::pages(const std::shared_ptr<ServerConnection>& connection) {
    if (const auto known = m_pages.find(connection->server()); known != m_pages.end())
        return known->second;
    return readRoot(connection);
}

bool DomainControllers::readRoot(const std::shared_ptr<ServerConnection>& connection) {
    engine::SearchRequest request;
    request.attributes = QStringList{QStringLiteral("supportedControl")};
    const auto root = SearchStream(connection, request, 0).next();
    const bool offered = root && root->values(request.attributes.constFirst())
                                     .contains(QByteArray(LDAP_CONTROL_PAGEDRESULTS));
    m_pages[connection->server()] = offered;
    return offered;
}

} // namespace rehome::ldap
