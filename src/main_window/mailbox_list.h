#pragma once

#include "listing/mailbox_reader.h"
#include "main_window/store_chooser.h"
#include "topology/stores.h"

#include <functional>
#include <utility>

namespace rehome::main_window {

/// Gives the local server's name. May throw Error.
using LocalServer = std::function<QString()>;

/// Lists every mailbox with its store and that store's state.
class MailboxList {
public:
    /// What it is given must outlive it.
    MailboxList(Controls& controls, State& state, const platform::Platform& platform,
                LocalServer getLocalServer, StoreChooser& chooser)
        : m_controls(controls), m_state(state), m_platform(platform),
          m_getLocalServer(std::move(getLocalServer)), m_chooser(chooser), m_stores(platform) {}

    /// Rebuilds all that the window shows; the checked source stays chosen. Throws Error where the
    /// servers cannot be found or the grid cannot be prepared; any later failure is shown and
    /// leaves the rows listed so far, with Refresh and Move disabled.
    void RefreshIt();
    /// To the journal: which domains are not listed.
    void tellOtherDomains();
    /// To the journal: how many mailboxes are on unreachable servers, by the list.
    void tellWhoRemains();

private:
    void InitGUI();
    void listStores(const QString& localServer);
    /// Why no mailbox can be moved, where that is so.
    void tellWhatIsMissing(const QString& localServer);
    void listMailboxes();
    /// Adds a row as far as it was read.
    void show(const listing::Row& row);
    void finish(const topology::KeyedCollection<QString>& sourceStores);

    Controls& m_controls;
    State& m_state;
    const platform::Platform& m_platform;
    LocalServer m_getLocalServer;
    StoreChooser& m_chooser;
    topology::StoreEnumeration m_stores;
};

} // namespace rehome::main_window
