#pragma once

#include "platform/engine/engine.h"
#include "platform/journal.h"

#include <QString>

namespace rehome::exchange {

/// A layer over an engine that notices if the directory itself fails during an enumeration. The
/// list would then show mailboxes as unreachable although their servers are up. So the search that
/// lists the mailboxes, which is the next one of the domain's subtree, throws that failure. The
/// watch also logs the domain controller in use whenever it changes.
class DirectoryWatch final : public engine::Engine {
public:
    /// Both must outlive it.
    DirectoryWatch(engine::Engine& engine, platform::Journal& journal)
        : m_engine(engine), m_journal(journal) {}

    [[nodiscard]] std::unique_ptr<engine::Session> openSession() override;
    /// Begins an enumeration, which ends with the search that lists the mailboxes. Forgets earlier
    /// failures.
    void begin() noexcept {
        m_failure.clear();
        m_enumerating = true;
    }
    /// Returns the domain controller that sent the last list of mailboxes; empty if it has no name.
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
    QString m_failure;           ///< the first of the enumeration; empty: none
    bool m_enumerating = false;
};

} // namespace rehome::exchange
