#pragma once

#include "platform/engine/mailbox_opener.h"
#include "platform/journal.h"

#include <QSet>

namespace rehome::http {

/// For servers that offer no mailboxes over HTTP, or not over https: takes the home in the
/// directory for all that can be known, and writes that into the journal, once for each mailbox. It
/// counts only a mailbox that this run has moved there: of any other, nothing has been seen to
/// change.
class DirectoryOnlyOpener final : public engine::MailboxOpener {
public:
    enum class Why {
        NoVirtualDirectory,
        NoHttps ///< the directory shows no secure binding, and the port refuses connections
    };

    /// The journal must outlive it.
    explicit DirectoryOnlyOpener(platform::Journal& journal) : m_journal(journal) {}

    void beginRound() noexcept override {}
    QString open(engine::Session& directory, const engine::Mailbox& mailbox) override;
    /// Stands for the location of a folder. Throws Error if the mailbox does not count.
    QString count(const engine::Mailbox& mailbox, Why why);

private:
    platform::Journal& m_journal;
    QSet<QString> m_told;
};

} // namespace rehome::http
