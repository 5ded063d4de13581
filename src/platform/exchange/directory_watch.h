#pragma once

#include "platform/engine/engine.h"

#include <QString>

namespace rehome::exchange {

/// An engine that wraps another and remembers when the directory itself fails while the stores are
/// enumerated. A server whose enumeration fails is taken for one that is down, and its mailboxes
/// for unreachable; where it was the directory that failed, such a list would be false. So the
/// search that lists the mailboxes, the next one of the domain's subtree, throws that failure.
class DirectoryWatch final : public engine::Engine {
public:
    /// `engine` must outlive it.
    explicit DirectoryWatch(engine::Engine& engine) : m_engine(engine) {}

    [[nodiscard]] std::unique_ptr<engine::Session> openSession() override;
    /// An enumeration begins: what was remembered is forgotten.
    void begin() noexcept { m_failure.clear(); }

private:
    class WatchedSession;
    class WatchedEntries;
    template <class Action>
    auto watched(const Action& action);

    engine::Engine& m_engine;
    QString m_failure; ///< the first since then; empty: none
};

} // namespace rehome::exchange
