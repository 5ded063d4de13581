#include "mailbox/mailbox_user.h"

#include "topology/names.h"

namespace rehome::mailbox {

namespace {

const QString ProxyAddresses = QStringLiteral("ProxyAddresses");

} // namespace

bool MailboxUser::initFromRS(const platform::RecordSet& rs, const QString& SourceStore,
                             const QString& SourceStoreState, const QString& SourceStoreDN) {
    m_id = topology::OctetGuidToString(rs.Fields(QStringLiteral("objectGUID")).Value);
    m_mail = platform::toText(rs.Fields(QStringLiteral("mail")));
    m_proxyAddresses = rs.Fields(ProxyAddresses).Value;
    m_sourceStore = SourceStore;
    m_sourceStoreState = SourceStoreState;
    m_sourceStoreDN = SourceStoreDN;
    return false;
}

std::unique_ptr<platform::IADsUser> MailboxUser::bindUser() const {
    QString guid = m_id;
    guid.remove(u'{').remove(u'}');
    return m_platform.Directory.BindUser(QStringLiteral("LDAP://<GUID=") + guid + u'>');
}

QString MailboxUser::GetRealMail() const {
    const auto user = bindUser();
    try {
        return user->EmailAddress();
    } catch (const std::exception&) {
        return QString();
    }
}

void MailboxUser::UpdateEmail() const {
    const auto user = bindUser();
    user->setEmailAddress(m_mail);
    user->Put(ProxyAddresses, m_proxyAddresses);
    user->SetInfo();
}

bool MailboxUser::CreateUserMailbox(const QString& newHomeMDB) const {
    try {
        const auto user = bindUser();
        const auto mailbox = m_platform.Exchange.MailboxStoreOf(*user);
        mailbox->CreateMailbox(QStringLiteral("LDAP://") + newHomeMDB);
        user->SetInfo();
        return true;
    } catch (const std::exception& error) {
        m_platform.Desktop.Show(
            {QStringLiteral("Failed to create mailbox on new location:") + describe(error),
             platform::Buttons::Ok, platform::Icon::Critical, QString()});
        return false;
    }
}

void MailboxUser::DropUserMailbox() const {
    try {
        const auto user = bindUser();
        const auto mailbox = m_platform.Exchange.MailboxStoreOf(*user);
        mailbox->DeleteMailbox();
        user->SetInfo();
    } catch (const std::exception& error) {
        m_platform.Journal.Write(
            QStringLiteral("drop of %1 failed: %2").arg(m_id, describe(error)));
    }
}

} // namespace rehome::mailbox
