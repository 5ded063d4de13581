#pragma once

#include "platform/adsi/connection.h"
#include "platform/adsi/directory_object.h"

namespace rehome::adsi {

/// Active Directory over an engine. A path is "LDAP://RootDSE"; "LDAP://" and a DN; or
/// "LDAP://<GUID=", 36 hexadecimal digits and hyphens, and ">". Bindings share one session, which
/// the first of them opens; each connection has its own. Bindings block, and may end the process.
class DirectoryServices {
public:
    /// `engine` must outlive this and everything that it made.
    explicit DirectoryServices(engine::Engine& engine) : m_engine(engine) {}

    /// Reads the object; bindings share no cache. Throws Error if the path names no object.
    std::unique_ptr<IADs> BindObject(const QString& path);
    /// Binds a user and reads these attributes. `server`: as in SearchRequest. Throws Error also if
    /// the object is not a user.
    std::unique_ptr<IADsUser> BindUser(const QString& path, const QStringList& attributes = {},
                                       const QString& server = {});
    std::unique_ptr<Connection> CreateConnection();

    /// Returns the session of the bindings. Throws Error if it cannot be opened.
    std::shared_ptr<engine::Session> session();

private:
    engine::Engine& m_engine;
    std::shared_ptr<engine::Session> m_session;
};

} // namespace rehome::adsi
