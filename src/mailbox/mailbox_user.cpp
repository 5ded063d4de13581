#include "mailbox/mailbox_user.h"

#include "platform/shown_text.h"
#include "topology/names.h"

namespace rehome::mailbox {

namespace {

const QString ProxyAddresses = QStringLiteral("ProxyAddresses");

/// The store that holds the user's mailbox, empty where there is none.
QString homeOf(platform::IADsUser& user) {
    try {
        const QString name = QStringLiteral("homeMDB");
        return platform::toText({name, QString(), user.Get(name)});
    } catch (const Error&) {
        return QString();
    }
}

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

std::unique_ptr<platform::IADsUser> MailboxUser::bindUser(platform::Purpose purpose) const {
    QString guid = m_id;
    guid.remove(u'{').remove(u'}');
    return m_platform.Directory.BindUser(QStringLiteral("LDAP://<GUID=") + guid + u'>', purpose);
}

QString MailboxUser::label() const {
    return m_mail + u' ' + m_id;
}

QString MailboxUser::GetRealMail() const {
    const auto user = bindUser(platform::Purpose::Read);
    try {
        return user->EmailAddress();
    } catch (const std::exception&) {
        return QString();
    }
}

void MailboxUser::UpdateEmail() const {
    try {
        const auto user = bindUser(platform::Purpose::Change);
        user->setEmailAddress(m_mail);
        user->Put(ProxyAddresses, m_proxyAddresses);
        user->SetInfo();
    } catch (const std::exception& error) {
        m_platform.Journal.Tell(platform::Event::AddressNotRestored,
                                QStringLiteral("address not restored: ") + describe(error),
                                label());
        throw;
    }
    m_platform.Journal.Tell(platform::Event::AddressRestored, QStringLiteral("address restored"),
                            label());
}

bool MailboxUser::CreateUserMailbox(const QString& newHomeMDB) const {
    try {
        const auto user = bindUser(platform::Purpose::Change);
        const auto mailbox = m_platform.Exchange.MailboxStoreOf(*user);
        mailbox->CreateMailbox(QStringLiteral("LDAP://") + newHomeMDB);
        user->SetInfo();
        m_platform.Journal.Tell(platform::Event::Created,
                                QStringLiteral("created on ") + newHomeMDB, label());
        return true;
    } catch (const std::exception& error) {
        const QString reason = describe(error);
        m_platform.Journal.Tell(platform::Event::CreationFailed,
                                QStringLiteral("not created on %1: %2").arg(newHomeMDB, reason),
                                label());
        m_platform.Desktop.Show(
            {QStringLiteral("Failed to create mailbox on new location:") + reason + whatNow(),
             platform::Buttons::Ok, platform::Icon::Critical, QString()});
        return false;
    }
}

QString MailboxUser::whatNow() const {
    const QString who = platform::shownText(m_mail);
    QString text = QStringLiteral("\r\n\r\n");
    if (!m_dropRefusal.isNull())
        text += QStringLiteral("The mailbox of %1 was not dropped: %2\r\n").arg(who, m_dropRefusal);
    const QString record = QStringLiteral(
        "apply this user's record, which stands in the file of the standard error stream "
        "(ldapmodify -f).");
    try {
        const QString home = homeOf(*bindUser(platform::Purpose::Read));
        if (!home.isEmpty())
            return text +
                   QStringLiteral("%1 has a mailbox on %2. Mend the cause and move it again.")
                       .arg(who, home);
        return text +
               QStringLiteral("%1 has no mailbox now. To get it back, mend the cause and ")
                   .arg(who) +
               record;
    } catch (const std::exception&) {
        return text +
               QStringLiteral("It is not known whether %1 has a mailbox now. Refresh when "
                              "the directory answers again; if it is not listed then, ")
                   .arg(who) +
               record;
    }
}

void MailboxUser::DropUserMailbox() const {
    m_dropRefusal = QString();
    try {
        const auto user = bindUser(platform::Purpose::Change);
        const auto mailbox = m_platform.Exchange.MailboxStoreOf(*user);
        const QString from = homeOf(*user);
        mailbox->DeleteMailbox();
        user->SetInfo();
        m_platform.Journal.Tell(platform::Event::Dropped, QStringLiteral("dropped from ") + from,
                                label());
    } catch (const std::exception& error) {
        m_dropRefusal = describe(error);
        m_platform.Journal.Tell(platform::Event::DropRefused,
                                QStringLiteral("drop refused: ") + m_dropRefusal, label());
    }
}

} // namespace rehome::mailbox
