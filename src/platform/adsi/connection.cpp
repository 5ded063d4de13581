#include "platform/adsi/connection.h"

#include "platform/adsi/command_text.h"
#include "platform/error.h"

namespace rehome::adsi {

namespace {

void requireUnspecified(int options) {
    if (options != UnspecifiedOptions)
        throw Error(
            QStringLiteral("The directory connection takes no options (got %1).").arg(options));
}

} // namespace

void Connection::Open(const QString& connectionText, const QString& userName,
                      const QString& password, int options) {
    if (m_connection->session)
        throw Error(QStringLiteral("The directory connection is open already."));
    if (m_provider != QLatin1String("ADSDSOObject"))
        throw Error(QStringLiteral("There is no directory provider \"%1\".").arg(m_provider));
    if (connectionText != QLatin1String("ADs Provider"))
        throw Error(
            QStringLiteral("The directory provider does not know the connection text \"%1\".")
                .arg(connectionText));
    if (!userName.isEmpty() || !password.isEmpty())
        throw Error(QStringLiteral("The directory is opened as the user who runs the tool; a user "
                                   "name and a password cannot be given."));
    requireUnspecified(options);
    m_connection->session = m_engine.openSession();
}

void Connection::requireOpen() const {
    if (!m_connection->session)
        throw Error(QStringLiteral("The directory connection is not open."));
}

std::unique_ptr<RecordSet> Connection::Execute(const QString& commandText, int options) {
    requireOpen();
    requireUnspecified(options);
    return std::make_unique<RecordSet>(m_connection, parseCommandText(commandText));
}

void Connection::Close() {
    requireOpen();
    m_connection->session.reset();
}

} // namespace rehome::adsi
