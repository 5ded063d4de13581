#pragma once

#include "platform/engine/mailbox_opener.h"
#include "platform/journal.h"

#include <QSet>

namespace rehome::http {

/// For servers that the directory shows to offer no mailboxes over HTTP: takes the state of the
/// store in the directory for all that can be known, and writes that into the journal, once for
/// each mailbox.
class DirectoryOnlyOpener final : public engine::MailboxOpener {
public:
    /// The journal must outlive it.
    explicit DirectoryOnlyOpener(platform::Journal& journal) : m_journal(journal) {}

    void beginRound() noexcept override {}
    QString open(engine::Session& directory, const engine::Mailbox& mailbox) override;

private:
    platform::Journal& m_journal;
    QSet<QString> m_told;
};

} // namespace rehome::http
