#include "platform/adsi/directory.h"

#include "platform/adsi/command_text.h"
#include "platform/adsi/directory_object.h"
#include "platform/adsi/record_set.h"
#include "platform/error.h"

namespace rehome::adsi {

namespace {

class DirectoryConnection final : public platform::Connection {
public:
    explicit DirectoryConnection(engine::Engine& engine) : m_engine(engine) {}

    void setProvider(const QString& provider) override { m_provider = provider; }

    void Open(const QString& connectionText, const QString& userName, const QString& password,
              int options) override {
        if (m_connection->session)
            throw Error(QStringLiteral("The directory connection is open already."));
        if (m_provider != QLatin1String("ADSDSOObject"))
            throw Error(QStringLiteral("There is no directory provider \"%1\".").arg(m_provider));
        if (connectionText != QLatin1String("ADs Provider"))
            throw Error(
                QStringLiteral("The directory provider does not know the connection text \"%1\".")
                    .arg(connectionText));
        if (!userName.isEmpty() || !password.isEmpty())
            throw Error(QStringLiteral("The directory is opened as the user who runs the tool; a "
                                       "user name and a password cannot be given."));
        requireUnspecified(options);
        m_connection->session = m_engine.openSession();
    }

    std::unique_ptr<platform::RecordSet> Execute(const QString& commandText, int options) override {
        if (!m_connection->session)
            throw Error(QStringLiteral("The directory connection is not open."));
        requireUnspecified(options);
        return std::make_unique<EntryRecordSet>(m_connection, parseCommandText(commandText));
    }

    void Close() override {
        if (!m_connection->session)
            throw Error(QStringLiteral("The directory connection is not open."));
        m_connection->session.reset();
    }

private:
    static void requireUnspecified(int options) {
        if (options != platform::UnspecifiedOptions)
            throw Error(
                QStringLiteral("The directory connection takes no options (got %1).").arg(options));
    }

    engine::Engine& m_engine;
    QString m_provider;
    std::shared_ptr<ConnectionSession> m_connection = std::make_shared<ConnectionSession>();
};

} // namespace

std::shared_ptr<engine::Session> Directory::session() {
    if (!m_session)
        m_session = m_engine.openSession();
    return m_session;
}

std::unique_ptr<platform::IADs> Directory::BindObject(const QString& path) {
    const QString base = baseOfPath(path);
    return std::make_unique<DirectoryObject>(session(), m_journal, base, platform::Purpose::Read);
}

std::unique_ptr<platform::IADsUser> Directory::BindUser(const QString& path,
                                                        platform::Purpose purpose) {
    const QString base = baseOfPath(path);
    auto object = std::make_unique<DirectoryObject>(session(), m_journal, base, purpose);
    if (!object->isOfClass(QStringLiteral("user")))
        throw Error(
            QStringLiteral("The object \"%1\" is not a user.").arg(object->distinguishedName()));
    return object;
}

std::unique_ptr<platform::Connection> Directory::CreateConnection() {
    return std::make_unique<DirectoryConnection>(m_engine);
}

} // namespace rehome::adsi
