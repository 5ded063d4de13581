#pragma once

#include "platform/engine/engine.h"

#include <QString>

namespace rehome::engine {

/// A mailbox as the directory tells it. Names are distinguished names unless told otherwise.
struct Mailbox {
    QString user;
    QStringList addresses; ///< SMTP addresses of the user, the one to use first; not empty
    QString store;         ///< online, as far as the directory and the probe know
    QString server;        ///< the one that holds the store
    bool movedByRun;       ///< this run has put it on that store
};

/// What opens mailboxes on their stores. Attempts come in rounds: within one, each mailbox is asked
/// for at most once.
class MailboxOpener {
public:
    virtual ~MailboxOpener() = default;

    /// A round begins. What the directory told of servers is forgotten, and time counts anew.
    virtual void beginRound() noexcept = 0;
    /// The location of a folder of the mailbox, not empty. Throws Error while it cannot be opened.
    /// What has to be known of its server is read from `directory`.
    [[nodiscard]] virtual QString open(Session& directory, const Mailbox& mailbox) = 0;
};

} // namespace rehome::engine
