#pragma once

#include "platform/ldap/server_connection.h"

#include <map>

namespace rehome::ldap {

/// What attributes a directory has: the `lDAPDisplayName` of the objects of class attributeSchema.
/// Each is asked for once.
class Schema {
public:
    /// Without the replacements of attributes that no object can have: a server refuses a whole
    /// modification for one of them. All of them where the schema cannot be read. Throws Failure
    /// where the connection is lost.
    QList<engine::Change> writable(const std::shared_ptr<ServerConnection>& connection,
                                   const QList<engine::Change>& replacements);

private:
    void ask(const std::shared_ptr<ServerConnection>& connection, const QStringList& names);

    std::map<QString, bool, engine::AttributeNameLess> m_known;
};

} // namespace rehome::ldap
