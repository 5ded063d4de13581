#include "platform/embedded/embedded_opener.h"

#include "platform/embedded/rehearsal_attributes.h"
#include "platform/error.h"

using namespace Qt::StringLiterals;

namespace rehome::embedded {

QString EmbeddedOpener::open(engine::Session&, const engine::Mailbox& mailbox) {
    const auto user = m_organisation.object(mailbox.user);
    if (!user)
        throw Error(u"There is no object \"%1\"."_s.arg(mailbox.user));
    const auto after = rehearsalAttributes(*user).opensAfter;
    const int creation = m_organisation.mailboxCreations(mailbox.user);
    const auto now = std::chrono::steady_clock::now();

    auto attempt = m_attempts.find(user->distinguishedName);
    if (attempt == m_attempts.end() || attempt->creation != creation)
        attempt = m_attempts.insert(user->distinguishedName, {creation, now});
    if (!after || now - attempt->first < *after)
        throw Error(u"The mailbox of %1 does not open yet."_s.arg(user->distinguishedName));
    return u"mailbox:%1/Inbox"_s.arg(mailbox.addresses.constFirst());
}

} // namespace rehome::embedded
