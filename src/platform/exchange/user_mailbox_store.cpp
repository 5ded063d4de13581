#include "platform/exchange/user_mailbox_store.h"

#include "platform/adsi/command_text.h"
#include "platform/error.h"
#include "platform/guid.h"

#include <QUuid>

namespace rehome::exchange {

namespace {

const QString HomeMdb = QStringLiteral("homeMDB");
const QString HomeMta = QStringLiteral("homeMTA");
const QString HomeServer = QStringLiteral("msExchHomeServerName");
const QString MailboxGuid = QStringLiteral("msExchMailboxGuid");
const QString UseDefaults = QStringLiteral("mDBUseDefaults");
const QString Alias = QStringLiteral("mailNickname");
const QString Version = QStringLiteral("msExchVersion"); // written by Exchange 2007 and later

QString newAlias(const adsi::IADsUser& user) {
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

void IMailboxStore::DeleteMailbox() {
    if (m_user.cached(HomeMdb).isEmpty())
        throw Error(QStringLiteral("%1 has no mailbox.").arg(m_user.distinguishedName()));
    if (!m_user.cached(Version).isEmpty())
        throw Error(QStringLiteral("%1 has an Exchange 2007 or later mailbox; move it with that "
                                   "version's own tools.")
                        .arg(m_user.distinguishedName()));
    m_changes.requireRights();
    m_destinations.requireUsable(m_user.session());
    for (const HomeAttribute& attribute : HomeAttributes) {
        if ((attribute.steps & HomeAttribute::Drop) == 0 || m_user.cached(attribute.name).isEmpty())
            continue;
        const bool stays = attribute.name == MailboxGuid;
        m_user.stage(attribute.name, stays ? m_user.cached(attribute.name) : QByteArrayList());
    }
}

void IMailboxStore::CreateMailbox(const QString& homeMDB) {
    const Destination destination =
        m_destinations.read(m_user.session(), adsi::baseOfPath(homeMDB));
    if (!m_user.cached(HomeMdb).isEmpty())
        throw Error(QStringLiteral("%1 still has a mailbox on %2.")
                        .arg(m_user.distinguishedName(), m_user.cachedText(HomeMdb)));

    const auto guid = m_user.cached(MailboxGuid);
    m_user.stage(HomeMdb, {destination.store.toUtf8()});
    m_user.stage(HomeServer, {destination.legacyExchangeDN.toUtf8()});
    if (!destination.messageTransferAgent.isEmpty())
        m_user.stage(HomeMta, {destination.messageTransferAgent.toUtf8()});
    m_user.stage(MailboxGuid, guid.isEmpty()
                                  ? QByteArrayList{platform::octetsFromGuid(QUuid::createUuid())}
                                  : guid);
    if (m_user.cached(UseDefaults).isEmpty())
        m_user.stage(UseDefaults, {QByteArrayLiteral("TRUE")});
    if (m_user.cached(Alias).isEmpty())
        m_user.stage(Alias, {newAlias(m_user).toUtf8()});
}

} // namespace rehome::exchange
