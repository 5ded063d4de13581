#include "platform/adsi/directory_services.h"

#include "platform/adsi/command_text.h"
#include "platform/error.h"

namespace rehome::adsi {

std::shared_ptr<engine::Session> DirectoryServices::session() {
    if (!m_session)
        m_session = m_engine.openSession();
    return m_session;
}

std::unique_ptr<IADs> DirectoryServices::BindObject(const QString& path) {
    const QString base = baseOfPath(path);
    // What is asked of the objects that are bound so, in one round trip.
    const QStringList attributes = base.isEmpty()
                                       ? QStringList{QStringLiteral("defaultNamingContext"),
                                                     QStringLiteral("configurationNamingContext")}
                                       : QStringList{QStringLiteral("msExchESEParamBaseName")};
    return std::make_unique<IADs>(session(), base, attributes);
}

std::unique_ptr<IADsUser> DirectoryServices::BindUser(const QString& path,
                                                      const QStringList& attributes,
                                                      const QString& server) {
    const QString base = baseOfPath(path);
    return std::make_unique<IADsUser>(session(), base, attributes, server);
}

std::unique_ptr<Connection> DirectoryServices::CreateConnection() {
    return std::make_unique<Connection>(m_engine);
}

} // namespace rehome::adsi
