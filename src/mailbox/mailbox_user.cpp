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

/// Packs strings into one piece of memory, each as its length and its UTF-8. The format is that of
/// QDataStream for QByteArray in native byte order, which costs more to write.
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

/// Unpacks them, at most `max`.
QStringList unpacked(const QByteArray& pieces,
                     qsizetype max = std::numeric_limits<qsizetype>::max()) {
    QDataStream stream(pieces);
    stream.setByteOrder(QDataStream::ByteOrder(QSysInfo::ByteOrder));
    QStringList texts;
    while (!stream.atEnd() && texts.size() < max) {
        QByteArray utf8;
        stream >> utf8;
        texts += QString::fromUtf8(utf8);
    }
    return texts;
}

bool isUnanswered(const std::exception& error) {
    return dynamic_cast<const engine::OutcomeUnknown*>(&error) != nullptr;
}

/// Returns the store that holds the user's mailbox, empty if there is none.
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

std::unique_ptr<adsi::IADsUser> MailboxUser::bindUser(exchange::Purpose purpose) const {
    QString guid = GetID();
    guid.remove(u'{').remove(u'}');
    return m_platform.Directory.BindUser(QStringLiteral("LDAP://<GUID=") + guid + u'>',
                                         m_platform.Changes.attributesFor(purpose),
                                         m_platform.Changes.serverFor(m_guid, purpose));
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
    const auto user = bindUser(exchange::Purpose::Look);
    try {
        return user->EmailAddress();
    } catch (const std::exception&) {
        return QString();
    }
}

void MailboxUser::UpdateEmail() const {
    try {
        const auto user = bindUser(exchange::Purpose::Change);
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
    const auto tell = [&](platform::Event event, const QString& text) {
        m_platform.Journal.Tell(event, text, label());
    };
    try {
        const auto user = bindUser(exchange::Purpose::Change);
        const auto mailbox = m_platform.Exchange.MailboxStoreOf(*user);
        mailbox->CreateMailbox(QStringLiteral("LDAP://") + newHomeMDB);
        user->SetInfo();
        tell(platform::Event::Created,
             QStringLiteral("created on ") + newHomeMDB + m_platform.Changes.where(m_guid));
        return true;
    } catch (const std::exception& error) {
        const QString reason = describe(error);
        const QString text = QStringLiteral("created on %1: %2").arg(newHomeMDB, reason);
        if (isUnanswered(error))
            tell(platform::Event::CreationUnanswered, QStringLiteral("perhaps ") + text);
        else
            tell(platform::Event::NotCreated, QStringLiteral("not ") + text);
        m_platform.Desktop.Show({QStringLiteral("Failed to create mailbox on new location:") +
                                     reason + QStringLiteral("\r\n\r\n") +
                                     stateAfterFailure(newHomeMDB),
                                 platform::Buttons::Ok, platform::Icon::Critical, QString()});
        return false;
    }
}

QString MailboxUser::stateAfterFailure(const QString& newHomeMDB) const {
    const QString who = platform::shownText(GetMail());
    QStringList lines;
    if (const auto failure = m_platform.Changes.dropFailure(m_guid))
        lines += (failure->unanswered ? QStringLiteral("%1 was perhaps dropped: %2")
                                      : QStringLiteral("%1 was not dropped: %2"))
                     .arg(who, failure->reason);
    std::optional<QString> home;
    try {
        home = homeOf(*bindUser(exchange::Purpose::Look));
    } catch (const std::exception& error) {
        lines += QStringLiteral("It is not known whether %1 has a mailbox now: %2")
                     .arg(who, describe(error));
        if (m_platform.Changes.isLeftWithoutHome(m_guid))
            lines += QStringLiteral("This run left %1 without a mailbox%2.")
                         .arg(who, m_platform.Changes.where(m_guid));
        // The list is read as soon as the box is closed.
        lines.append(QStringLiteral("If your Kerberos ticket has expired, run kinit before you "
                                    "press OK."));
    }
    const QString unanswered = m_platform.Changes.unansweredChange(m_guid);
    if (home && !home->isEmpty()) {
        lines += QStringLiteral("%1 has a mailbox on %2.").arg(who, *home);
        if (!unanswered.isEmpty())
            lines += QStringLiteral("%1: ").arg(who) + unanswered;
        else if (!platform::areSameInCapitals(*home, newHomeMDB))
            lines += QStringLiteral("Fix the cause, then move the mailbox again.");
        return lines.join(QStringLiteral("\r\n"));
    }
    if (home)
        lines +=
            QStringLiteral("%1 has NO mailbox now%2. Rehome has not changed the contents of the "
                           "old mailbox.")
                .arg(who, m_platform.Changes.where(m_guid));
    if (!unanswered.isEmpty())
        lines += QStringLiteral("%1: ").arg(who) + unanswered;
    else if (!home)
        lines += QStringLiteral("Wait until the domain controller responds, then press Refresh. If "
                                "%1 is listed then, move the mailbox again. Otherwise:")
                     .arg(who);
    const QByteArray guid = platform::octetsFromGuid(m_guid);
    if (m_platform.Journal.Holds(guid))
        lines += m_platform.Journal.RestoreSteps(
            guid, m_platform.Changes.serverFor(m_guid, exchange::Purpose::Change));
    if (home && unanswered.isEmpty())
        lines += QStringLiteral("Fix the cause, press Refresh, and move the mailbox again.");
    return lines.join(QStringLiteral("\r\n"));
}

void MailboxUser::requireListedHome(adsi::IADsUser& user) const {
    const QString home = homeOf(user);
    const bool listed = m_sourceStoreDN.isEmpty()
                            ? topology::StoreFullNameFromDN(home) == m_sourceStore
                            : platform::areSameInCapitals(home, m_sourceStoreDN);
    if (!home.isEmpty() && !listed)
        throw Error(m_platform.Changes.homeIsAnother(m_guid, GetMail(), home,
                                                     m_platform.Exchange.ListedAt()));
}

void MailboxUser::DropUserMailbox() const {
    m_platform.Changes.noteDrop(m_guid, {});
    const auto tell = [&](platform::Event event, const QString& text) {
        m_platform.Journal.Tell(event, text, label());
    };
    try {
        const auto user = bindUser(exchange::Purpose::Drop);
        const auto mailbox = m_platform.Exchange.MailboxStoreOf(*user);
        const QString from = homeOf(*user);
        requireListedHome(*user);
        mailbox->DeleteMailbox();
        user->SetInfo();
        tell(platform::Event::Dropped,
             QStringLiteral("dropped from ") + from + m_platform.Changes.where(m_guid));
    } catch (const std::exception& error) {
        const exchange::UserChanges::DropFailure failure{isUnanswered(error), describe(error)};
        m_platform.Changes.noteDrop(m_guid, failure);
        if (failure.unanswered)
            tell(platform::Event::DropUnanswered,
                 QStringLiteral("perhaps dropped: ") + failure.reason);
        else
            tell(platform::Event::NotDropped, QStringLiteral("not dropped: ") + failure.reason);
    }
}

} // namespace rehome::mailbox
