#pragma once

#include "platform/engine/engine.h"
#include "platform/engine/exchange_probe.h"
#include "platform/engine/mailbox_opener.h"

namespace rehome::engine {

/// A call of an engine, a probe or an opener.
struct Call {
    enum class Verb { OpenSession, Search, Modify, CheckServer, GetStoreStatus, OpenMailbox };
    Verb verb;
    QString object{};        ///< a DN or "<GUID=...>"; empty: the rootDSE, or no object
    QString server{};        ///< the domain controller that is named; empty: none
    SearchRequest request{}; ///< of Search
    QList<Change> changes{}; ///< of Modify
};

/// Observes all calls, in their order. `number` is that of the call: searches and sessions are
/// under way while other calls are made.
class Observer {
public:
    virtual ~Observer() = default;

    /// Called before the call is made. If it throws, the call is not made and fails with that
    /// exception.
    virtual void onStarted(int number, const Call& call) = 0;
    /// Called for each entry of a search. If it throws, next() does.
    virtual void onEntry(int number, const QString& distinguishedName) = 0;
    /// Called after success; for a search, after its last entry. If it throws, the call fails with
    /// that exception, although it has had its effect.
    virtual void onSucceeded(int number) { static_cast<void>(number); }
    /// Called at the end. `outcome` is "done", "failed: " and the reason, "given up" for a search
    /// that was not read to its end, or what a probe or an opener has returned.
    virtual void onFinished(int number, const QString& outcome) noexcept = 0;
};

/// Passes all calls on to an engine, a probe and an opener, and reports them to an observer. All
/// four must outlive it. Throws what they and the observer throw.
class ObservedEngine final : public Engine, public ExchangeProbe, public MailboxOpener {
public:
    ObservedEngine(Engine& engine, ExchangeProbe& probe, MailboxOpener& opener, Observer& observer)
        : m_engine(engine), m_probe(probe), m_opener(opener), m_observer(observer) {}

    std::unique_ptr<Session> openSession() override;
    QStringList attributes() const override { return m_probe.attributes(); }
    void beginChecks(const std::vector<Entry>& servers) override { m_probe.beginChecks(servers); }
    void checkServer(const Entry& server) override;
    qint16 storeStatus(const Entry& store) override;
    void beginRound() noexcept override { m_opener.beginRound(); }
    QString open(Session& directory, const Mailbox& mailbox) override;

private:
    class ObservedCall;
    class ObservedEntries;
    class ObservedSession;

    Engine& m_engine;
    ExchangeProbe& m_probe;
    MailboxOpener& m_opener;
    Observer& m_observer;
    int m_calls = 0;
};

} // namespace rehome::engine
