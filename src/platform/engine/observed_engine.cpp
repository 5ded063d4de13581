#include "platform/engine/observed_engine.h"

#include "platform/error.h"

namespace rehome::engine {

using namespace Qt::Literals::StringLiterals;

/// One call, from its start to its end.
class ObservedEngine::ObservedCall {
public:
    ObservedCall(ObservedEngine& engine, const Call& call)
        : m_observer(engine.m_observer), m_number(++engine.m_calls) {
        m_observer.onStarted(m_number, call);
    }
    ~ObservedCall() { m_observer.onFinished(m_number, m_outcome); }
    ObservedCall(const ObservedCall&) = delete;
    ObservedCall& operator=(const ObservedCall&) = delete;

    template <class Action>
    auto run(Action&& action) {
        try {
            return action();
        } catch (const std::exception& error) {
            m_outcome = u"failed: "_s + describe(error);
            throw;
        }
    }
    void succeed() {
        run([&] { m_observer.onSucceeded(m_number); });
    }
    void found(const QString& distinguishedName) {
        m_observer.onEntry(m_number, distinguishedName);
    }
    void setOutcome(const QString& outcome) { m_outcome = outcome; }

private:
    Observer& m_observer;
    int m_number;
    QString m_outcome = u"done"_s;
};

class ObservedEngine::ObservedEntries final : public Entries {
public:
    ObservedEntries(ObservedEngine& engine, Session& session, const SearchRequest& request)
        : m_call(engine, {Call::Verb::Search, request.base, request.server, request}),
          m_entries(m_call.run([&] { return session.search(request); })),
          m_single(request.scope == Scope::Base) {
        m_call.setOutcome(u"given up"_s);
    }
    std::optional<Entry> next() override {
        auto entry = m_call.run([&] { return m_entries->next(); });
        if (entry)
            m_call.found(entry->distinguishedName);
        if (!entry || m_single) {
            const bool isNamed = entry && !entry->server.isEmpty();
            m_call.setOutcome(isNamed ? u"done at "_s + entry->server : u"done"_s);
            m_call.succeed();
        }
        return entry;
    }

private:
    ObservedCall m_call;
    std::unique_ptr<Entries> m_entries;
    const bool m_single; ///< there is no second entry to wait for
};

class ObservedEngine::ObservedSession final : public Session {
public:
    explicit ObservedSession(ObservedEngine& engine)
        : m_engine(engine), m_call(engine, {Call::Verb::OpenSession}),
          m_session(m_call.run([&] { return engine.m_engine.openSession(); })) {
        m_call.succeed();
    }

    std::unique_ptr<Entries> search(const SearchRequest& request) override {
        return std::make_unique<ObservedEntries>(m_engine, *m_session, request);
    }
    void modify(const QString& name, const QList<Change>& changes, const QString& server) override {
        ObservedCall call(m_engine, {Call::Verb::Modify, name, server, {}, changes});
        call.run([&] { m_session->modify(name, changes, server); });
        call.succeed();
    }

private:
    ObservedEngine& m_engine;
    ObservedCall m_call;
    std::unique_ptr<Session> m_session;
};

std::unique_ptr<Session> ObservedEngine::openSession() {
    return std::make_unique<ObservedSession>(*this);
}

void ObservedEngine::checkServer(const Entry& server) {
    ObservedCall call(*this, {Call::Verb::CheckServer, server.distinguishedName});
    call.run([&] { m_probe.checkServer(server); });
    call.succeed();
}

qint16 ObservedEngine::storeStatus(const Entry& store) {
    ObservedCall call(*this, {Call::Verb::GetStoreStatus, store.distinguishedName});
    const qint16 status = call.run([&] { return m_probe.storeStatus(store); });
    call.setOutcome(QString::number(status));
    call.succeed();
    return status;
}

QString ObservedEngine::open(Session& directory, const Mailbox& mailbox) {
    ObservedCall call(*this, {Call::Verb::OpenMailbox, mailbox.user});
    const QString location = call.run([&] { return m_opener.open(directory, mailbox); });
    call.setOutcome(location);
    call.succeed();
    return location;
}

} // namespace rehome::engine
