#pragma once

#include "main_window/mailbox_list.h"

namespace rehome::main_window {

/// Moving one mailbox: the grid's events keep the store chooser over the current row, and a pick
/// from it moves that row's mailbox. Nothing is caught here.
class SingleMove {
public:
    /// What it is given must outlive it.
    SingleMove(Controls& controls, State& state, const platform::Platform& platform,
               LocalServer getLocalServer, MailboxList& list)
        : m_controls(controls), m_state(state), m_platform(platform),
          m_getLocalServer(std::move(getLocalServer)), m_list(list) {}

    void msfgMain_Click();
    void msfgMain_MouseDown();
    void msfgMain_MouseUp();
    void msfgMain_Scroll();
    void msfgMain_ReleasedOutside();
    void comboStoreName_Click();
    void comboStoreName_TypedInVain();

private:
    bool confirmed(const QString& picked);
    bool movesNothing(const QString& picked) const;

    Controls& m_controls;
    State& m_state;
    const platform::Platform& m_platform;
    LocalServer m_getLocalServer;
    MailboxList& m_list;
};

} // namespace rehome::main_window
