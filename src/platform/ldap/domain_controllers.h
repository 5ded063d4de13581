#pragma once

#include "platform/ldap/ldap_settings.h"
#include "platform/ldap/server_connection.h"

#include <QStringList>

#include <memory>
#include <optional>
#include <vector>

namespace rehome::ldap {

/// The domain controllers of the directory, and the connections to them, which all sessions share.
/// One thread.
class DomainControllers {
public:
    explicit DomainControllers(LdapSettings settings) : m_settings(std::move(settings)) {}

    const LdapSettings& settings() const { return m_settings; }
    /// Returns an open connection to `server`, a URI; if empty, to the server in use. Null if there
    /// is none. `forPages`: null also if a paged search is being read on each: some servers end the
    /// first of two. Never blocks or throws.
    std::shared_ptr<ServerConnection> find(const QString& server, bool forPages);
    /// Opens a connection to `server` and no other; if empty, to the first server that responds
    /// (ControllerRace) and holds the domain of the first server that was used. The server that was
    /// used last begins, because changes reach the others later. Blocks, and may end the process;
    /// Health decides on the time-out. Throws DirectoryFailed if none responds, or Error if no
    /// server is known.
    std::shared_ptr<ServerConnection> connect(const QString& server);

private:
    QList<QStringList> serversToTry();

    LdapSettings m_settings;
    QList<QStringList> m_servers;    ///< by priority, as they were found
    QString m_inUse;                 ///< URI; empty before the first
    std::optional<QString> m_domain; ///< the run's
    std::shared_ptr<Health> m_health = std::make_shared<Health>();
    std::vector<std::shared_ptr<ServerConnection>> m_connections;
};

} // namespace rehome::ldap
