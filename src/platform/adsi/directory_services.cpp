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
    return std::make_unique<IADs>(session(), m_journal, base, Purpose::Read);
}

std::unique_ptr<IADsUser> DirectoryServices::BindUser(const QString& path, Purpose purpose) {
    const QString base = baseOfPath(path);
    return std::make_unique<IADsUser>(session(), m_journal, base, purpose);
}

std::unique_ptr<Connection> DirectoryServices::CreateConnection() {
    return std::make_unique<Connection>(m_engine);
}

} // namespace rehome::adsi
