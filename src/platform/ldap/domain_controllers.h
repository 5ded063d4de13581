#pragma once

#include "platform/ldap/ldap_settings.h"
#include "platform/ldap/server_connection.h"

#include <QStringList>

#include <map>
#include <memory>

namespace rehome::ldap {

/// The servers that hold the directory.
class DomainControllers {
public:
    explicit DomainControllers(LdapSettings settings) : m_settings(std::move(settings)) {}

    const LdapSettings& settings() const { return m_settings; }
    /// Signs on at the first server that lets us. Later calls begin with the one that did: a change
    /// takes a while to reach the others. Once a limit has run out, a server must also let its root
    /// object be read, within a short limit while the directory stays silent. A fault of this
    /// computer ends the round. Throws DirectoryFailed naming each reason once, with its servers.
    std::shared_ptr<ServerConnection> connect();
    /// Authenticates at that server and no other. Throws Failure.
    std::shared_ptr<ServerConnection> connectTo(const QString& server);
    /// Whether the server's root object offers the paged-results control (RFC 2696). Asked once for
    /// each server. Throws Failure where the connection is lost.
    bool pages(const std::shared_ptr<ServerConnection>& connection);

private:
    /// Whether the directory is only to be asked whether it responds again, within a short limit.
    bool isReviving() const { return m_health->silent && !m_health->hurry.hasExpired(); }
    std::shared_ptr<ServerConnection> signOnAt(const QString& server, bool reviving);
    bool readRoot(const std::shared_ptr<ServerConnection>& connection);

    LdapSettings m_settings;
    QStringList m_servers;
    std::shared_ptr<Health> m_health = std::make_shared<Health>();
    std::map<QString, bool> m_pages;
};

} // namespace rehome::ldap
