#pragma once

#include "platform/engine/engine.h"
#include "platform/journal.h"

#include <QString>

namespace rehome::exchange {

/// An engine that wraps another and remembers when the directory itself fails while the stores are
/// enumerated. A server whose enumeration fails is taken for one that is down, and its mailboxes
/// for unreachable; if it was the directory that failed, such a list would be false. So the search
/// that lists the mailboxes, the next one of the domain's subtree, throws that failure. It also
/// tells the journal which domain controller is in use, whenever that changes.
class DirectoryWatch final : public engine::Engine {
public:
    /// Both must outlive it.
    DirectoryWatch(engine::Engine& engine, platform::Journal& journal)
        : m_engine(engine), m_journal(journal) {}

    [[nodiscard]] std::unique_ptr<engine::Session> openSession() override;
    /// An enumeration begins: what was remembered is forgotten. It ends when the mailboxes are
    /// listed; what fails afterwards is not remembered.
    void begin() noexcept {
        m_failure.clear();
        m_enumerating = true;
    }
    /// The domain controller that the last list of mailboxes came from; empty if it has no name.
    const QString& listedAt() const { return m_listedAt; }

private:
    class WatchedSession;
    class WatchedEntries;
    template <class Action>
    auto watched(const Action& action);
    void noteServer(const QString& server);

    engine::Engine& m_engine;
    platform::Journal& m_journal;
    QString m_inUse, m_listedAt; ///< domain controllers
    QString m_failure;           ///< the first since then; empty: none
    bool m_enumerating = false;
};

} // namespace rehome::exchange
