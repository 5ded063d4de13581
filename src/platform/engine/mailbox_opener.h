#pragma once

#include "platform/engine/engine.h"

#include <QString>

namespace rehome::engine {

/// A mailbox, as read from the directory. Strings are DNs if nothing else is said.
struct Mailbox {
    QString user;
    QStringList addresses; ///< SMTP addresses of the user, the one to use first; not empty
    QString store;         ///< online, according to the probe
    QString server;        ///< the server of the store
    bool movedByRun;       ///< this run has put it on that store
};

/// Opens mailboxes on their stores, in rounds: within a round, each mailbox is tried at most once.
class MailboxOpener {
public:
    virtual ~MailboxOpener() = default;

    /// Begins a round: forgets what was read of servers, and restarts the round's time limit.
    virtual void beginRound() noexcept = 0;
    /// Opens a folder and returns its URL, not empty. Reads what it needs of the server from
    /// `directory`. May block for up to 4.5 s, and may end the process. Throws Error if the mailbox
    /// does not open yet.
    [[nodiscard]] virtual QString open(Session& directory, const Mailbox& mailbox) = 0;
};

} // namespace rehome::engine
