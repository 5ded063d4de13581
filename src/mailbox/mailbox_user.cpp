#include "mailbox/mailbox_user.h"

#include "platform/shown_text.h"
#include "topology/names.h"

#include <QDataStream>
#include <QSysInfo>

namespace rehome::mailbox {

namespace {

const QString ProxyAddresses = QStringLiteral("ProxyAddresses");

/// A list of texts in one piece of memory, each as its length and its UTF-8; null for none.
QByteArray packed(const platform::Value& value) {
    const auto* texts = std::get_if<QStringList>(&value);
    if (!texts && !platform::isNull(value))
        throw Error(QStringLiteral("A user's proxy addresses are not a list of texts."));
    if (!texts)
        return {};
    qsizetype least = 0;
    for (const QString& text : *texts)
        least += qsizetype(sizeof(quint32)) + text.size();
    QByteArray pieces;
    pieces.reserve(least);
    for (const QString& text : *texts) {
        const QByteArray utf8 = text.toUtf8();
        const auto size = static_cast<quint32>(utf8.size());
        pieces.append(reinterpret_cast<const char*>(&size), sizeof size).append(utf8);
    }
    pieces.squeeze();
    return pieces;
}

platform::Value unpacked(const QByteArray& pieces) {
    if (pieces.isNull())
        return {};
    // A QDataStream would write it as packed() does, only slower.
    QDataStream stream(pieces);
    stream.setByteOrder(QDataStream::ByteOrder(QSysInfo::ByteOrder));
    QStringList texts;
    while (!stream.atEnd()) {
        QByteArray utf8;
        stream >> utf8;
        texts += QString::fromUtf8(utf8);
    }
    return texts;
}

/// The store that holds the user's mailbox, empty where there is none.
QString homeOf(adsi::IADsUser& user) {
    try {
        return user.GetText(QStringLiteral("homeMDB"));
    } catch (const Error&) {
        return QString();
    }
}

} // namespace

bool MailboxUser::initFromRS(const adsi::RecordSet& rs, const QString& SourceStore,
                             const QString& SourceStoreState, const QString& SourceStoreDN) {
    m_guid = topology::OctetsToGuid(rs.Fields(QStringLiteral("objectGUID")).Value);
    m_mail = platform::toText(rs.Fields(QStringLiteral("mail"))).toUtf8();
    m_proxyAddresses = packed(rs.Fields(ProxyAddresses).Value);
    m_sourceStore = SourceStore;
    m_sourceStoreState = SourceStoreState;
    m_sourceStoreDN = SourceStoreDN;
    return false;
}

std::unique_ptr<adsi::IADsUser> MailboxUser::bindUser(adsi::Purpose purpose) const {
    QString guid = GetID();
    guid.remove(u'{').remove(u'}');
    return m_platform.Directory.BindUser(QStringLiteral("LDAP://<GUID=") + guid + u'>', purpose);
}

QString MailboxUser::GetID() const {
    return topology::GuidToString(m_guid);
}

QString MailboxUser::label() const {
    return GetMail() + u' ' + GetID();
}

QString MailboxUser::GetRealMail() const {
    const auto user = bindUser(adsi::Purpose::Read);
    try {
        return user->EmailAddress();
    } catch (const std::exception&) {
        return QString();
    }
}

void MailboxUser::UpdateEmail() const {
    try {
        const auto user = bindUser(adsi::Purpose::Change);
        user->setEmailAddress(GetMail());
        user->Put(ProxyAddresses, unpacked(m_proxyAddresses));
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
        const auto user = bindUser(adsi::Purpose::Change);
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
    const QString who = platform::shownText(GetMail());
    // A drop whose answer was lost may have been made all the same.
    const auto refused = [&](const QString& words) {
        return m_dropRefusal.isNull() ? QString() : words.arg(who, m_dropRefusal);
    };
    const QString record = QStringLiteral(
        "apply this user's record, which stands in the file of the standard error stream "
        "(ldapmodify -f).");
    const QString failed = refused(QStringLiteral("The drop of the mailbox of %1 failed: %2\r\n"));
    QString text;
    try {
        const QString home = homeOf(*bindUser(adsi::Purpose::Read));
        if (home.isEmpty())
            text = failed +
                   QStringLiteral("%1 has no mailbox now. To get it back, mend the cause and ")
                       .arg(who) +
                   record;
        else
            text = refused(QStringLiteral("The mailbox of %1 was not dropped: %2\r\n")) +
                   QStringLiteral("%1 has a mailbox on %2. Mend the cause and move it again.")
                       .arg(who, home);
    } catch (const std::exception&) {
        text = failed +
               QStringLiteral("It is not known whether %1 has a mailbox now. Refresh when the "
                              "directory answers again; if it is not listed then, ")
                   .arg(who) +
               record;
    }
    return QStringLiteral("\r\n\r\n") + text;
}

void MailboxUser::DropUserMailbox() const {
    m_dropRefusal = QString();
    try {
        const auto user = bindUser(adsi::Purpose::Drop);
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
