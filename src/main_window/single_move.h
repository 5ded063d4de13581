#pragma once

#include "main_window/mailbox_list.h"

namespace rehome::main_window {

/// Moving one mailbox: a pick from the store chooser moves the current row's. Nothing is caught
/// here.
class SingleMove {
public:
    /// Everything must outlive it. A moved mailbox is added to `MovedMailboxes`.
    SingleMove(Controls& controls, const platform::Platform& platform, StoreChooser& chooser,
               MailboxList& list, mailbox::Mailboxes& MovedMailboxes)
        : m_controls(controls), m_platform(platform), m_chooser(chooser), m_list(list),
          m_movedMailboxes(MovedMailboxes) {}

    void comboStoreName_Click();

private:
    bool confirmed(const QString& picked);
    bool movesNothing(const QString& picked) const;

    Controls& m_controls;
    const platform::Platform& m_platform;
    StoreChooser& m_chooser;
    MailboxList& m_list;
    mailbox::Mailboxes& m_movedMailboxes;
};

} // namespace rehome::main_window
