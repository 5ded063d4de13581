#pragma once

#include "platform/engine/engine.h"
#include "platform/engine/exchange_probe.h"

#include <QHash>
#include <QSet>

#include <vector>

namespace rehome::exchange {

/// An engine that wraps another and answers what an enumeration asks about servers, storage groups
/// and mailbox stores from one search: asked one by one, each server and each group is a round
/// trip, and domain controllers may be far away. The search is made when the first of them is read,
/// and begins the servers' checks. Each question is answered so once; asked again, or about an
/// object that the search did not bring, it goes to the directory, as all do if the search fails.
class TopologySnapshot final : public engine::Engine {
public:
    /// Both must outlive it.
    TopologySnapshot(engine::Engine& engine, engine::ExchangeProbe& probe)
        : m_engine(engine), m_probe(probe) {}

    [[nodiscard]] std::unique_ptr<engine::Session> openSession() override;

    /// An enumeration begins. It ends when the domain is searched for mailboxes.
    void begin() noexcept;
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
