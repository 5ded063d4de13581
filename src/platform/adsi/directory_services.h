#pragma once

#include "platform/adsi/connection.h"
#include "platform/adsi/directory_object.h"

namespace rehome::adsi {

/// Active Directory over an engine. Paths: "LDAP://RootDSE", "LDAP://" and a distinguished name,
/// "LDAP://<GUID=" and 36 hexadecimal digits and hyphens and ">". Bindings share one session,
/// opened by the first of them; each connection has its own.
class DirectoryServices {
public:
    /// `engine` must outlive this and everything that it made.
    explicit DirectoryServices(engine::Engine& engine) : m_engine(engine) {}

    /// Binds afresh; nothing is cached between bindings. Throws Error where the path names nothing.
    std::unique_ptr<IADs> BindObject(const QString& path);
    /// The same, and takes the user interface; throws Error where the object is not a user. Reads
    /// these attributes, from that server if one is named.
    std::unique_ptr<IADsUser> BindUser(const QString& path, const QStringList& attributes = {},
                                       const QString& server = {});
    std::unique_ptr<Connection> CreateConnection();

    /// The session of the bindings. Throws Error where none can be made.
    std::shared_ptr<engine::Session> session();

private:
    engine::Engine& m_engine;
    std::shared_ptr<engine::Session> m_session;
};

} // namespace rehome::adsi
