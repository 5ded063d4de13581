#include "mailbox/mailbox_user.h"

#include "platform/shown_text.h"
#include "topology/names.h"

#include <QDataStream>
#include <QSysInfo>

#include <algorithm>
#include <limits>

namespace rehome::mailbox {

namespace {

const QString ProxyAddresses = QStringLiteral("ProxyAddresses");

/// Texts in one piece of memory, each as its length and its UTF-8.
QByteArray packed(QByteArrayView first, const engine::Entry::Values& others) {
    const auto each = [&](auto take) {
        take(first);
        for (qsizetype i = 0; i < others.size(); ++i)
            take(others[i]);
    };
    qsizetype size = 0;
    each([&](QByteArrayView text) { size += qsizetype(sizeof(quint32)) + text.size(); });
    QByteArray pieces(size, Qt::Uninitialized);
    char* end = pieces.data();
    each([&](QByteArrayView text) {
        const auto length = static_cast<quint32>(text.size());
        end = std::copy_n(reinterpret_cast<const char*>(&length), sizeof length, end);
        end = std::copy_n(text.data(), text.size(), end);
    });
    return pieces;
}

/// The first of them; all where `most` is not given.
QStringList unpacked(const QByteArray& pieces,
                     qsizetype most = std::numeric_limits<qsizetype>::max()) {
    // A QDataStream would write them as packed() does, only slower.
    QDataStream stream(pieces);
    stream.setByteOrder(QDataStream::ByteOrder(QSysInfo::ByteOrder));
    QStringList texts;
    while (!stream.atEnd() && texts.size() < most) {
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
    m_addresses = packed(rs.Utf8(QStringLiteral("mail")), rs.Octets(ProxyAddresses));
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

QString MailboxUser::GetMail() const {
    return unpacked(m_addresses, 1).value(0);
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
        const QStringList addresses = unpacked(m_addresses), others = addresses.mid(1);
        user->setEmailAddress(addresses.value(0));
        user->Put(ProxyAddresses, others.isEmpty() ? platform::Value() : platform::Value(others));
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
        return m_dropRefusal ? words.arg(who, *m_dropRefusal) : QString();
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
    m_dropRefusal.reset();
    try {
        const auto user = bindUser(adsi::Purpose::Drop);
        const auto mailbox = m_platform.Exchange.MailboxStoreOf(*user);
        const QString from = homeOf(*user);
        mailbox->DeleteMailbox();
        user->SetInfo();
        m_platform.Journal.Tell(platform::Event::Dropped, QStringLiteral("dropped from ") + from,
                                label());
    } catch (const std::exception& error) {
        m_dropRefusal = std::make_unique<const QString>(describe(error));
        m_platform.Journal.Tell(platform::Event::DropRefused,
                                QStringLiteral("drop refused: ") + *m_dropRefusal, label());
    }
}

} // namespace rehome::mailbox
