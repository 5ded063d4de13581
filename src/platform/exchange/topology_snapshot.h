#pragma once

#include "platform/engine/engine.h"
#include "platform/engine/exchange_probe.h"

#include <QHash>
#include <QSet>

#include <vector>

namespace rehome::exchange {

/// A layer over an engine that answers the requests of an enumeration for servers, storage groups
/// and mailbox stores from one search, because each request would be a round trip of its own.
///
/// 1. The search is made when the first of these objects is read, and begins the servers' checks.
/// 2. Each request is answered from the search once. The second time, and for an object that the
///    search did not return, it goes to the directory.
/// 3. If the search fails, all requests go to the directory.
class TopologySnapshot final : public engine::Engine {
public:
    /// Both must outlive it.
    TopologySnapshot(engine::Engine& engine, engine::ExchangeProbe& probe)
        : m_engine(engine), m_probe(probe) {}

    [[nodiscard]] std::unique_ptr<engine::Session> openSession() override;

    /// Begins an enumeration, and cancels the servers' checks of the last one. It ends when the
    /// domain is searched for mailboxes.
    void begin() noexcept;
    /// Ends the enumeration: all requests go to the directory.
    void end() noexcept;

private:
    class AnsweringSession;
    class Answer;
    enum class Phase { None, Begun, Read };

    QStringList attributes() const;
    void read(engine::Session& session);
    bool isBelowBase(const QString& name) const;
    std::unique_ptr<engine::Entries> answer(const engine::SearchRequest& request);

    engine::Engine& m_engine;
    engine::ExchangeProbe& m_probe;
    QString m_base; ///< below which the servers were searched for last
    Phase m_phase = Phase::None;
    std::vector<engine::Entry> m_objects; ///< in the order in which they were sent
    QHash<QString, size_t> m_places;      ///< in m_objects, by distinguished name
    QSet<QString> m_answered;
};

} // namespace rehome::exchange
