#pragma once

#include "main_window/mailbox_list.h"

namespace rehome::main_window {

/// Moving one mailbox: a pick from the store chooser moves the current row's. Nothing is caught
/// here.
class SingleMove {
public:
    /// What it is given must outlive it.
    SingleMove(Controls& controls, State& state, const platform::Platform& platform,
               LocalServer getLocalServer, StoreChooser& chooser, MailboxList& list)
        : m_controls(controls), m_state(state), m_platform(platform),
          m_getLocalServer(std::move(getLocalServer)), m_chooser(chooser), m_list(list) {}

    void comboStoreName_Click();

private:
    bool confirmed(const QString& picked);
    bool movesNothing(const QString& picked) const;

    Controls& m_controls;
    State& m_state;
    const platform::Platform& m_platform;
    LocalServer m_getLocalServer;
    StoreChooser& m_chooser;
    MailboxList& m_list;
};

} // namespace rehome::main_window
