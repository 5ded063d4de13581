#include "platform/http/directory_only_opener.h"

#include "platform/error.h"

namespace rehome::http {

using namespace Qt::Literals::StringLiterals;

QString DirectoryOnlyOpener::open(engine::Session&, const engine::Mailbox& mailbox) {
    return count(mailbox, Why::NoVirtualDirectory);
}

QString DirectoryOnlyOpener::count(const engine::Mailbox& mailbox, Why why) {
    const QString reason =
        (why == Why::NoHttps
             ? u"%1 offers no https: its HTTP virtual servers have no secure binding "
               "(msExchSecureBindings), and its TCP port 443 refuses connections"_s
             : u"no HTTP virtual server of %1 has a virtual directory"_s)
            .arg(mailbox.server);
    if (!mailbox.movedByRun)
        throw Error(u"The mailbox of %1 cannot be opened: %2. It does not count without that, for "
                    "this run has not moved it there."_s.arg(mailbox.user, reason));
    if (!m_told.contains(mailbox.user)) {
        m_told.insert(mailbox.user);
        m_journal.Tell(platform::Event::Remark,
                       u"the mailbox of %1 counts as repopulated without having been opened: "
                       "%2"_s.arg(mailbox.user, reason));
    }
    return u"directory:"_s + mailbox.user;
}

} // namespace rehome::http
