#pragma once

#include "platform/ldap/ldap_settings.h"
#include "platform/ldap/schema.h"
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
    /// computer ends the round. Throws Error naming each reason once, with its servers.
    std::shared_ptr<ServerConnection> connect();
    /// Whether the server's root object offers the paged-results control (RFC 2696). Asked once for
    /// each server. Throws Failure where the connection is lost.
    bool pages(const std::shared_ptr<ServerConnection>& connection);
    Schema& schema() { return m_schema; }

private:
    bool readRoot(const std::shared_ptr<ServerConnection>& connection);

    LdapSettings m_settings;
    QStringList m_servers;
    std::shared_ptr<Health> m_health = std::make_shared<Health>();
    std::map<QString, bool> m_pages;
    Schema m_schema;
};

} // namespace rehome::ldap
