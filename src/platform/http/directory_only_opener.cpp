#include "platform/http/directory_only_opener.h"

namespace rehome::http {

using namespace Qt::Literals::StringLiterals;

QString DirectoryOnlyOpener::open(engine::Session&, const engine::Mailbox& mailbox) {
    if (!m_told.contains(mailbox.user)) {
        m_told.insert(mailbox.user);
        m_journal.Tell(platform::Event::Remark,
                       u"the mailbox of %1 counts as repopulated without having been opened: no "
                       "HTTP virtual server of %2 has a virtual directory"_s.arg(mailbox.user,
                                                                                 mailbox.server));
    }
    return u"directory:"_s + mailbox.user;
}

} // namespace rehome::http
