#include "platform/exchange/person.h"

#include "platform/engine/escape.h"
#include "platform/error.h"
#include "platform/exchange/object_reader.h"

namespace rehome::exchange {

namespace {

QStringList smtpAddresses(const engine::Entry& user) {
    const QString scheme = QStringLiteral("smtp:");
    QStringList addresses;
    for (const QByteArray& value : user.values(QStringLiteral("proxyAddresses")))
        if (const QString proxy = QString::fromUtf8(value);
            proxy.startsWith(scheme, Qt::CaseInsensitive))
            addresses += proxy.mid(scheme.size());
    return addresses;
}

} // namespace

QString IMailbox::FolderLocation() {
    const QString& store = m_mailbox.store;
    if (store.isEmpty())
        throw Error(QStringLiteral("%1 has no mailbox.").arg(m_mailbox.user));
    if (!m_round.states.contains(store))
        m_round.states.insert(
            store, m_probe.storeStatus(readObject(*m_directory, store, mailboxStoreKind(),
                                                  QStringList{QStringLiteral("distinguishedName")} +
                                                      m_probe.attributes())));
    if (m_round.states.value(store) != 0)
        throw Error(QStringLiteral("The mailbox of %1 cannot be opened: its store %2 is not "
                                   "online.")
                        .arg(m_mailbox.user, store));
    return m_opener.open(*m_directory, m_mailbox);
}

void Person::Open(const QString& address, const OpenArguments& arguments) {
    m_user.reset();
    requireStatedArguments(arguments);
    const QString scheme = QStringLiteral("mailto:");
    if (!address.startsWith(scheme) || address.size() == scheme.size())
        throw Error(
            QStringLiteral("\"%1\" is not \"mailto:\" and an e-mail address.").arg(address));
    const QString mail = address.mid(scheme.size());
    const QString escaped = engine::filterValue(mail);

    if (m_round.domain.isEmpty()) {
        const auto root = m_directory.BindObject(QStringLiteral("LDAP://RootDSE"));
        m_round.domain = root->GetText(QStringLiteral("defaultNamingContext"));
    }
    engine::SearchRequest request;
    request.base = m_round.domain;
    request.scope = engine::Scope::Subtree;
    request.filter = QStringLiteral("(&(objectCategory=person)(objectClass=user)"
                                    "(|(proxyAddresses=smtp:%1)(mail=%1)))")
                         .arg(escaped);
    request.attributes = homeAttributeNames() + QStringList{QStringLiteral("objectGUID")};
    m_user = m_changes.findCurrent([&](const QString& server) {
        request.server = server;
        return findOne(request, mail);
    });
    m_address = mail;
}

engine::Entry Person::findOne(const engine::SearchRequest& request, const QString& mail) {
    const auto entries = m_directory.session()->search(request);
    auto user = entries->next();
    if (!user)
        throw Error(QStringLiteral("Nobody has the e-mail address %1.").arg(mail));
    if (const auto other = entries->next())
        throw Error(QStringLiteral("The e-mail address %1 belongs to %2 and to %3; one of them "
                                   "must give it up.")
                        .arg(mail, user->distinguishedName, other->distinguishedName));
    return std::move(*user);
}

IMailbox Person::Mailbox() {
    if (!m_user)
        throw Error(QStringLiteral("The person has not been opened."));
    const QString store = m_user->text(QStringLiteral("homeMDB"));
    // Store, storage group and information store stand below their server.
    return {{m_user->distinguishedName, QStringList{m_address} + smtpAddresses(*m_user), store,
             engine::parentName(store, 3), m_changes.hasGivenHome(*m_user)},
            m_directory.session(),
            m_probe,
            m_opener,
            m_round};
}

} // namespace rehome::exchange
