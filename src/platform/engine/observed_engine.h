#pragma once

#include "platform/engine/engine.h"
#include "platform/engine/exchange_probe.h"
#include "platform/engine/mailbox_opener.h"

namespace rehome::engine {

/// Is told all that is asked of a directory and of Exchange, in order, and what comes of it. `call`
/// numbers the calls: searches and sessions are under way while other calls are made.
class Observer {
public:
    virtual ~Observer() = default;

    /// A call is to be made: "session", "read NAME", "find BASE FILTER ATTRIBUTES", "modify NAME
    /// ATTRIBUTE=VALUE,VALUE;…" ("+=" where values are added, "-=" where they are deleted), "server
    /// NAME", "status NAME" or "open NAME"; " at SERVER" ends a search or a modify that is for one.
    /// Where this throws, the call fails so and is not made.
    virtual void asks(int call, const QString& text) = 0;
    /// A search has found an object. Where this throws, the search breaks off.
    virtual void finds(int call, const QString& distinguishedName) = 0;
    /// What was asked has been done, a search read to its end. Where this throws, the call fails so
    /// after its effect.
    virtual void answers(int call) { static_cast<void>(call); }
    /// The call is over: "done", "failed: " and the reason, "given up" for a search that was not
    /// read to its end, or what a probe or an opener has answered.
    virtual void ends(int call, const QString& how) noexcept = 0;
};

/// Passes everything on to an engine, a probe and an opener, and tells an observer. All four must
/// outlive it.
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
    class Call;
    class ObservedEntries;
    class ObservedSession;

    Engine& m_engine;
    ExchangeProbe& m_probe;
    MailboxOpener& m_opener;
    Observer& m_observer;
    int m_calls = 0;
};

} // namespace rehome::engine
