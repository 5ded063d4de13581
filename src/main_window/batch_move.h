#pragma once

#include "main_window/mailbox_list.h"

namespace rehome::main_window {

/// Moving many mailboxes onto one store. Nothing is caught here.
class BatchMove {
public:
    /// What it is given must outlive it.
    BatchMove(Controls& controls, State& state, const platform::Platform& platform,
              MailboxList& list)
        : m_controls(controls), m_state(state), m_platform(platform), m_list(list) {}

    void rdoALL_Click();
    void rdoCriteria_Click();
    void rdoFromStore_Click();
    void comboSourceMBx_Click();
    void comboDestMBx_Click();
    void comboSourceMBx_TypedInVain();
    void comboDestMBx_TypedInVain();
    void btnMove_Click();

private:
    /// Which mailboxes, as it stood when the move was asked for: an accessibility client reaches
    /// the options behind a message, too.
    struct Choice {
        Source mode;
        QString status;
    };
    struct Outcome {
        qint16 attempted = 0;
        qint16 moved = 0;
    };

    /// Shows the message and makes the buttons usable again.
    void refuse(const QString& text);
    bool confirmed();
    bool qualifies(const mailbox::MailboxUser& user, const Choice& choice) const;
    Outcome moveAll(const Choice& choice);
    QString report(const Outcome& outcome) const;

    Controls& m_controls;
    State& m_state;
    const platform::Platform& m_platform;
    MailboxList& m_list;
};

} // namespace rehome::main_window
