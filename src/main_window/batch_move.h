#pragma once

#include "main_window/mailbox_list.h"

namespace rehome::main_window {

/// Moves many mailboxes onto one store.
class BatchMove {
public:
    /// Everything must outlive it. Moved mailboxes are added to `MovedMailboxes`.
    BatchMove(Controls& controls, const platform::Platform& platform,
              const BatchSelection& selection, MailboxList& list,
              mailbox::Mailboxes& MovedMailboxes)
        : m_controls(controls), m_platform(platform), m_selection(selection), m_list(list),
          m_movedMailboxes(MovedMailboxes) {}

    /// Asks, moves, reports and refreshes the list. Throws Error as MoveMailbox2 and RefreshIt do.
    void btnMove_Click();

private:
    struct Outcome {
        qint16 attempted = 0;
        qint16 moved = 0;
    };

    /// Shows the message and enables the buttons.
    void refuse(const QString& text);
    bool isConfirmed(const BatchOrder& order);
    Outcome move(const BatchOrder& order);
    static QString report(const BatchOrder& order, const Outcome& outcome);

    Controls& m_controls;
    const platform::Platform& m_platform;
    const BatchSelection& m_selection;
    MailboxList& m_list;
    mailbox::Mailboxes& m_movedMailboxes;
};

} // namespace rehome::main_window
