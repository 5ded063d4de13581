#include "platform/exchange/person.h"

#include "platform/engine/escape.h"
#include "platform/error.h"
#include "platform/exchange/opening.h"

namespace rehome::exchange {

namespace {

/// Opens the mailbox on its store when a folder is asked for.
class PersonMailbox final : public platform::IMailbox {
public:
    PersonMailbox(engine::Entry user, engine::ExchangeProbe& probe)
        : m_user(std::move(user)), m_probe(probe) {}

    QString FolderLocation() override {
        const QString store = m_user.text(QStringLiteral("homeMDB"));
        if (store.isEmpty())
            throw Error(QStringLiteral("%1 has no mailbox.").arg(m_user.distinguishedName));
        if (m_probe.storeStatus(store) != 0)
            throw Error(QStringLiteral("The mailbox of %1 cannot be opened: its store %2 is not "
                                       "online.")
                            .arg(m_user.distinguishedName, store));
        m_probe.openMailbox(m_user.distinguishedName);
        return QStringLiteral("mailbox:%1/Inbox").arg(m_user.text(QStringLiteral("mailNickname")));
    }

private:
    engine::Entry m_user;
    engine::ExchangeProbe& m_probe;
};

} // namespace

void PersonObject::Open(const QString& address, const platform::OpenArguments& arguments) {
    m_user.reset();
    requireStatedArguments(arguments);
    const QString scheme = QStringLiteral("mailto:");
    if (!address.startsWith(scheme) || address.size() == scheme.size())
        throw Error(
            QStringLiteral("\"%1\" is not \"mailto:\" and an e-mail address.").arg(address));
    const QString mail = address.mid(scheme.size());
    const QString escaped = engine::filterValue(mail);

    const auto root = m_directory.BindObject(QStringLiteral("LDAP://RootDSE"));
    const QString context = QStringLiteral("defaultNamingContext");
    engine::SearchRequest request;
    request.base = platform::toText({context, QStringLiteral("RootDSE"), root->Get(context)});
    request.scope = engine::Scope::Subtree;
    request.filter = QStringLiteral("(&(objectCategory=person)(objectClass=user)"
                                    "(|(proxyAddresses=smtp:%1)(mail=%1)))")
                         .arg(escaped);
    request.attributes = QStringList{QStringLiteral("homeMDB"), QStringLiteral("mailNickname")};
    const auto entries = m_directory.session()->search(request);
    auto user = entries->next();
    if (!user)
        throw Error(QStringLiteral("Nobody has the e-mail address %1.").arg(mail));
    if (const auto other = entries->next())
        throw Error(QStringLiteral("The e-mail address %1 belongs to %2 and to %3; one of them "
                                   "must give it up.")
                        .arg(mail, user->distinguishedName, other->distinguishedName));
    m_user = std::move(user);
}

std::unique_ptr<platform::IMailbox> PersonObject::Mailbox() {
    if (!m_user)
        throw Error(QStringLiteral("The person has not been opened."));
    return std::make_unique<PersonMailbox>(*m_user, m_probe);
}

} // namespace rehome::exchange
