#pragma once

#include "platform/ldap/ldap_settings.h"
#include "platform/ldap/server_connection.h"

#include <QStringList>

#include <memory>
#include <optional>
#include <vector>

namespace rehome::ldap {

/// The servers that hold the directory, and the connections to them, which all sessions share.
class DomainControllers {
public:
    explicit DomainControllers(LdapSettings settings) : m_settings(std::move(settings)) {}

    const LdapSettings& settings() const { return m_settings; }
    /// An open connection to that server; if none is named, to the one in use. Null if there is
    /// none, or, if `forPages`, if a search is being read in pages on each: some servers end the
    /// first of two.
    std::shared_ptr<ServerConnection> find(const QString& server, bool forPages);
    /// Opens another connection to that server and no other; if none is named, to whichever answers
    /// first (ControllerRace) and holds the run's domain, that of the first server that was used.
    /// The one that was used last begins: a change takes a while to reach the others. A directory
    /// that has let a limit run out is asked within a short limit for a while. Throws
    /// DirectoryFailed.
    std::shared_ptr<ServerConnection> connect(const QString& server);

private:
    QList<QStringList> serversToTry();

    LdapSettings m_settings;
    QList<QStringList> m_servers; ///< by priority, as they were found
    QString m_inUse;
    std::optional<QString> m_domain; ///< the run's
    std::shared_ptr<Health> m_health = std::make_shared<Health>();
    std::vector<std::shared_ptr<ServerConnection>> m_connections;
};

} // namespace rehome::ldap
