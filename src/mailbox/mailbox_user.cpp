#include "mailbox/mailbox_user.h"

#include "platform/guid.h"
#include "platform/shown_text.h"
#include "platform/text_case.h"
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

bool isUnanswered(const std::exception& error) {
    return dynamic_cast<const engine::OutcomeUnknown*>(&error) != nullptr;
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
        if (isUnanswered(error))
            m_platform.Journal.Tell(
                platform::Event::CreationUnanswered,
                QStringLiteral("perhaps created on %1: %2").arg(newHomeMDB, reason), label());
        else
            m_platform.Journal.Tell(platform::Event::NotCreated,
                                    QStringLiteral("not created on %1: %2").arg(newHomeMDB, reason),
                                    label());
        m_platform.Desktop.Show({QStringLiteral("Failed to create mailbox on new location:") +
                                     reason + QStringLiteral("\r\n\r\n") +
                                     stateAfterFailure(newHomeMDB),
                                 platform::Buttons::Ok, platform::Icon::Critical, QString()});
        return false;
    }
}

QString MailboxUser::stateAfterFailure(const QString& newHomeMDB) const {
    const QString who = platform::shownText(GetMail());
    const QByteArray guid = platform::octetsFromGuid(m_guid);
    QStringList lines;
    if (m_dropFailure)
        lines += (m_dropFailure->unanswered ? QStringLiteral("%1 was perhaps dropped: %2")
                                            : QStringLiteral("%1 was not dropped: %2"))
                     .arg(who, m_dropFailure->reason);
    QString home;
    bool known = true;
    try {
        home = homeOf(*bindUser(adsi::Purpose::Read));
    } catch (const std::exception&) {
        known = false;
    }
    if (!known) {
        lines += QStringLiteral("It is not known whether %1 has a mailbox now.").arg(who);
        lines += QStringLiteral("Wait until the domain controller responds, then press Refresh. If "
                                "%1 is listed then, move the mailbox again.")
                     .arg(who);
    } else if (!home.isEmpty()) {
        lines += QStringLiteral("%1 has a mailbox on %2.").arg(who, home);
        if (!platform::areSameInCapitals(home, newHomeMDB))
            lines += QStringLiteral("Fix the cause, then move the mailbox again.");
        return lines.join(QStringLiteral("\r\n"));
    } else {
        lines += QStringLiteral("%1 has NO mailbox now. Rehome has not changed the contents of the "
                                "old mailbox.")
                     .arg(who);
    }
    if (m_platform.Journal.Holds(guid)) {
        if (!known)
            lines += QStringLiteral("If %1 is not listed then:").arg(who);
        lines += m_platform.Journal.RestoreSteps(guid);
        lines += QStringLiteral("Fix the cause, press Refresh, and move the mailbox again.");
    }
    return lines.join(QStringLiteral("\r\n"));
}

void MailboxUser::DropUserMailbox() const {
    m_dropFailure.reset();
    try {
        const auto user = bindUser(adsi::Purpose::Drop);
        const auto mailbox = m_platform.Exchange.MailboxStoreOf(*user);
        const QString from = homeOf(*user);
        mailbox->DeleteMailbox();
        user->SetInfo();
        m_platform.Journal.Tell(platform::Event::Dropped, QStringLiteral("dropped from ") + from,
                                label());
    } catch (const std::exception& error) {
        m_dropFailure =
            std::make_unique<const DropFailure>(DropFailure{isUnanswered(error), describe(error)});
        if (m_dropFailure->unanswered)
            m_platform.Journal.Tell(platform::Event::DropUnanswered,
                                    QStringLiteral("perhaps dropped: ") + m_dropFailure->reason,
                                    label());
        else
            m_platform.Journal.Tell(platform::Event::NotDropped,
                                    QStringLiteral("not dropped: ") + m_dropFailure->reason,
                                    label());
    }
}

} // namespace rehome::mailbox
