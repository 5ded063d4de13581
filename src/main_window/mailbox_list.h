#pragma once

#include "listing/mailbox_reader.h"
#include "mailbox/moves.h"
#include "main_window/batch_selection.h"
#include "main_window/store_chooser.h"
#include "topology/stores.h"

namespace rehome::main_window {

/// The directory, as the window opens it once.
struct DirectoryState {
    QString DefaultNamingContext; ///< the rootDSE's "defaultNamingContext"
    QString ConfigNamingContext;  ///< the rootDSE's "configurationNamingContext"
    std::unique_ptr<adsi::Connection> DirConnection;
};

/// What the last refresh has found.
struct ListState {
    topology::KeyedCollection<QString> ServerNames;
    topology::KeyedCollection<QString> ServerDNs; ///< keyed by server name
    topology::StoreCatalogue StoreList;
    mailbox::ListedMailboxes GridMailboxes;
    qint16 MailboxRowCount = 0; ///< includes a row that could not be read to its end
};

/// Lists every mailbox with its store and that store's state.
class MailboxList {
public:
    /// Everything must outlive it. `directory` must be open before the list is refreshed.
    MailboxList(Controls& controls, const DirectoryState& directory,
                const platform::Platform& platform, StoreChooser& chooser,
                BatchSelection& selection)
        : m_controls(controls), m_directory(directory), m_platform(platform), m_chooser(chooser),
          m_selection(selection), m_stores(platform) {}

    const ListState& state() const { return m_state; }
    /// The local computer's name. Throws Error if it has none.
    QString GetLocalServer() const { return m_platform.Network.ComputerName(); }

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
    const DirectoryState& m_directory;
    const platform::Platform& m_platform;
    StoreChooser& m_chooser;
    BatchSelection& m_selection;
    topology::StoreEnumeration m_stores;
    ListState m_state;
};

} // namespace rehome::main_window
