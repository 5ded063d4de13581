#include "platform/exchange/user_mailbox_store.h"

#include "platform/adsi/command_text.h"
#include "platform/engine/escape.h"
#include "platform/engine/guid.h"
#include "platform/error.h"
#include "platform/exchange/data_source.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUuid>

namespace rehome::exchange {

namespace {

const QString HomeMdb = QStringLiteral("homeMDB");
const QString HomeMta = QStringLiteral("homeMTA");
const QString HomeServer = QStringLiteral("msExchHomeServerName");
const QString MailboxGuid = QStringLiteral("msExchMailboxGuid");
const QString UseDefaults = QStringLiteral("mDBUseDefaults");
const QString Alias = QStringLiteral("mailNickname");

QString guidText(const QList<QByteArray>& values) {
    return values.isEmpty() ? QString()
                            : engine::guidFromOctets(values.constFirst()).toString().toUpper();
}

/// One line that holds whatever is needed to make the mailbox again by hand.
QString dropRecord(const adsi::DirectoryObject& user) {
    QJsonObject record;
    record.insert(QStringLiteral("objectGUID"),
                  guidText(user.cached(QStringLiteral("objectGUID"))));
    record.insert(QStringLiteral("distinguishedName"), user.distinguishedName());
    for (const QString& name : {HomeMdb, HomeMta, HomeServer, Alias, QStringLiteral("mail")})
        record.insert(name, user.cachedText(name));
    record.insert(MailboxGuid, guidText(user.cached(MailboxGuid)));
    QJsonArray addresses;
    for (const QByteArray& address : user.cached(QStringLiteral("proxyAddresses")))
        addresses.append(QString::fromUtf8(address));
    record.insert(QStringLiteral("proxyAddresses"), addresses);
    return QString::fromUtf8(QJsonDocument(record).toJson(QJsonDocument::Compact));
}

/// The server that owns a store, with its message transfer agent where there is one.
struct OwningServer {
    QString legacyExchangeDN;
    QString messageTransferAgent;
};

OwningServer owningServer(engine::Session& session, const QString& store) {
    // Above a store stand its storage group, the server's information store and the server.
    engine::SearchRequest request;
    request.base = engine::parentName(store, 3);
    request.scope = engine::Scope::Subtree;
    request.filter = QStringLiteral("(|(objectClass=msExchExchangeServer)(name=Microsoft MTA))");
    request.attributes =
        QStringList{QStringLiteral("objectClass"), QStringLiteral("legacyExchangeDN")};
    OwningServer server;
    const auto entries = request.base.isEmpty() ? nullptr : session.search(request);
    while (const auto entry = entries ? entries->next() : std::nullopt) {
        if (engine::firstValue(entry->distinguishedName)
                .compare(QLatin1String("Microsoft MTA"), Qt::CaseInsensitive) == 0)
            server.messageTransferAgent = entry->distinguishedName;
        else if (server.legacyExchangeDN.isEmpty())
            server.legacyExchangeDN = entry->text(QStringLiteral("legacyExchangeDN"));
    }
    if (server.legacyExchangeDN.isEmpty())
        throw Error(QStringLiteral("The server of the mailbox store \"%1\" was not found, or it "
                                   "has no attribute \"legacyExchangeDN\".")
                        .arg(store));
    return server;
}

QString newAlias(const adsi::DirectoryObject& user) {
    const QString mail = user.cachedText(QStringLiteral("mail"));
    const QString account = user.cachedText(QStringLiteral("sAMAccountName"));
    const QString alias = mail.isEmpty() ? account : mail.section(u'@', 0, 0);
    if (alias.isEmpty())
        throw Error(QStringLiteral("%1 has no alias (\"mailNickname\"), and neither an e-mail "
                                   "address nor an account name to make one from.")
                        .arg(user.distinguishedName()));
    return alias;
}

} // namespace

void UserMailboxStore::DeleteMailbox() {
    if (m_user.cached(HomeMdb).isEmpty())
        throw Error(QStringLiteral("%1 has no mailbox.").arg(m_user.distinguishedName()));
    m_journal.Write(QStringLiteral("drop ") + dropRecord(m_user));
    for (const QString& name : {HomeMdb, HomeMta, HomeServer, MailboxGuid}) {
        if (!m_user.cached(name).isEmpty())
            m_user.stage(name, {});
    }
}

void UserMailboxStore::CreateMailbox(const QString& homeMDB) {
    if (!m_user.cached(HomeMdb).isEmpty())
        throw Error(QStringLiteral("%1 still has a mailbox on %2.")
                        .arg(m_user.distinguishedName(), m_user.cachedText(HomeMdb)));
    const QString store =
        readObject(m_user.session(), adsi::baseOfPath(homeMDB), QStringLiteral("msExchPrivateMDB"),
                   QStringList{QStringLiteral("distinguishedName")},
                   QStringLiteral("a mailbox store"))
            .distinguishedName;
    const OwningServer server = owningServer(m_user.session(), store);

    m_user.stage(HomeMdb, {store.toUtf8()});
    m_user.stage(HomeServer, {server.legacyExchangeDN.toUtf8()});
    if (!server.messageTransferAgent.isEmpty())
        m_user.stage(HomeMta, {server.messageTransferAgent.toUtf8()});
    m_user.stage(MailboxGuid, {engine::octetsFromGuid(QUuid::createUuid())});
    if (m_user.cached(UseDefaults).isEmpty())
        m_user.stage(UseDefaults, {QByteArrayLiteral("TRUE")});
    if (m_user.cached(Alias).isEmpty())
        m_user.stage(Alias, {newAlias(m_user).toUtf8()});
}

} // namespace rehome::exchange
