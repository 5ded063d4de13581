#pragma once

#include "main_window/batch_move.h"
#include "main_window/single_move.h"

#include <QWidget>

namespace rehome::main_window {

/// The tool's only window. It owns what outlives a single operation, wires the controls' events to
/// the operations and closes the tool.
class frmMain final : public QWidget {
    Q_OBJECT

public:
    /// `platform` must outlive the window; `caption` is its title.
    frmMain(const platform::Platform& platform, const QString& caption);
    ~frmMain() override;

    /// Finds the directory, opens the connection and fills the window, which is to be shown
    /// afterwards. Throws Error.
    void Form_Load();

    /// Has the moved mailboxes repopulated, sums up and ends the process. The flag is ignored.
    /// Returns only where it is under way already.
    void Form_Unload(qint16& Cancel);

    const DirectoryState& directory() const { return m_directory; }
    const StoreChooser& chooser() const { return m_chooser; }
    const BatchSelection& selection() const { return m_selection; }
    const MailboxList& list() const { return m_list; }
    /// Of the whole run, keyed by ID.
    const mailbox::Mailboxes& MovedMailboxes() const { return m_movedMailboxes; }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    /// Makes the chooser follow the grid; a second call changes nothing.
    void HookGridWindow();
    void GridWindowProc();
    void btnRefresh_Click();
    void btnExit_Click();

    void wireEvents();
    void finishMovedMailboxes(QString& summary);
    /// Runs a handler unless the tool is closing.
    template <class Handler>
    void handle(Handler&& handler);
    /// The same for what a person asks for, which does not count behind a modal box: an
    /// accessibility client reaches the window there.
    template <class Handler>
    void command(Handler&& handler);

    const platform::Platform& m_platform;
    DirectoryState m_directory;
    mailbox::Mailboxes m_movedMailboxes;
    Controls m_controls;
    StoreChooser m_chooser;
    BatchSelection m_selection;
    MailboxList m_list;
    SingleMove m_singleMove;
    BatchMove m_batchMove;
    bool m_hookInstalled = false;
    bool m_closing = false;
};

} // namespace rehome::main_window
