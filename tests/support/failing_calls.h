#pragma once

#include "platform/engine/engine.h"
#include "platform/engine/exchange_probe.h"
#include "platform/error.h"

#include <QHash>

#include <algorithm>
#include <deque>

namespace rehome::test {

enum class Call { Session, Read, Find, Modify, Server, Status, Open, Record };

/// A call on an object, a distinguished name wherever it is known.
struct Made {
    Call call;
    QString object;
    QList<engine::Replacement> changes = {}; ///< of a modify or a record
    bool failed = true;                      ///< until it has succeeded
    bool late = false;                       ///< to fail after its effect

    bool sets(const char* attribute) const {
        const auto* values = replacement(attribute);
        return values && !values->isEmpty();
    }
    bool clears(const char* attribute) const {
        const auto* values = replacement(attribute);
        return values && values->isEmpty();
    }
    const QList<QByteArray>* replacement(const char* attribute) const {
        for (const auto& [name, values] : changes)
            if (name == attribute)
                return &values;
        return nullptr;
    }
};

/// How the chosen call fails: it alone, before or after its effect; it and each later one on the
/// same object; it and all later ones.
enum class Fault { Once, AfterEffect, OnItsObject, ForEver };

/// Passes everything on to an engine and a probe, keeps a log of it, and fails the chosen call.
class FailingCalls final : public engine::Engine, public engine::ExchangeProbe {
public:
    FailingCalls(engine::Engine& engine, engine::ExchangeProbe& probe)
        : m_engine(engine), m_probe(probe) {}

    std::deque<Made> made;
    /// The first that could be chosen.
    auto armed() const { return made.begin() + m_armed; }
    bool done(Call call, const QString& object, const char* sets = nullptr,
              const char* clears = nullptr) const {
        return std::any_of(made.begin(), made.end(), [&](const Made& one) {
            return one.call == call && one.object == object && !one.failed &&
                   (!sets || one.sets(sets)) && (!clears || one.clears(clears));
        });
    }
    bool failed(Call call, const QString& object) const {
        return std::any_of(made.begin(), made.end(), [&](const Made& one) {
            return one.call == call && one.object == object && one.failed;
        });
    }
    const Made* struck = nullptr; ///< the chosen call, once it has been made

    /// Chooses the n-th call from here on, from 0.
    void arm(Fault fault, int n) {
        m_fault = fault;
        m_left = n;
        m_armed = qptrdiff(made.size());
        struck = nullptr;
    }
    void disarm() { m_left = -1, m_fault = Fault::Once; }

    template <class Action>
    void pass(Made call, Action&& action) {
        Made& mine = begins(std::move(call));
        action();
        ends(mine);
    }

    std::unique_ptr<engine::Session> openSession() override {
        std::unique_ptr<engine::Session> session;
        pass({Call::Session, {}},
             [&] { session = std::make_unique<Through>(*this, m_engine.openSession()); });
        return session;
    }
    void checkServer(const QString& name) override {
        pass({Call::Server, name}, [&] { m_probe.checkServer(name); });
    }
    qint16 storeStatus(const QString& name) override {
        qint16 status = 0;
        pass({Call::Status, name}, [&] { status = m_probe.storeStatus(name); });
        return status;
    }
    void openMailbox(const QString& name) override {
        pass({Call::Open, name}, [&] { m_probe.openMailbox(name); });
    }

private:
    struct Through final : engine::Session {
        Through(FailingCalls& owner, std::unique_ptr<engine::Session> passedTo)
            : calls(owner), session(std::move(passedTo)) {}
        std::unique_ptr<engine::Entries> search(const engine::SearchRequest& request) override {
            return std::make_unique<Found>(calls, *session, request);
        }
        void modify(const QString& name, const QList<engine::Replacement>& changes) override {
            calls.pass({Call::Modify, calls.m_names.value(name, name), changes},
                       [&] { session->modify(name, changes); });
        }
        FailingCalls& calls;
        std::unique_ptr<engine::Session> session;
    };

    struct Found final : engine::Entries {
        Found(FailingCalls& owner, engine::Session& session, const engine::SearchRequest& asked)
            : calls(owner), request(asked), single(asked.scope == engine::Scope::Base),
              mine(calls.begins(
                  {single ? Call::Read : Call::Find, calls.m_names.value(asked.base, asked.base)})),
              entries(session.search(asked)) {}
        std::optional<engine::Entry> next() override {
            auto entry = entries->next();
            if (entry && single)
                calls.m_names.insert(request.base, mine.object = entry->distinguishedName);
            if (!entry || single)
                calls.ends(mine);
            return entry;
        }
        FailingCalls& calls;
        engine::SearchRequest request;
        bool single; ///< there is no second entry to wait for
        Made& mine;
        std::unique_ptr<engine::Entries> entries;
    };

    Made& begins(Made call) {
        Made& mine = made.emplace_back(std::move(call));
        const bool chosen = m_left-- == 0;
        if (chosen)
            struck = &mine;
        const bool again = !chosen && struck && m_left < 0 &&
                           (m_fault == Fault::ForEver ||
                            (m_fault == Fault::OnItsObject && mine.call == struck->call &&
                             mine.object == struck->object));
        mine.late = chosen && m_fault == Fault::AfterEffect;
        if (again || (chosen && !mine.late))
            throw Error("refused");
        return mine;
    }
    void ends(Made& mine) {
        if (mine.late)
            throw Error("refused after its effect");
        mine.failed = false;
    }

    engine::Engine& m_engine;
    engine::ExchangeProbe& m_probe;
    QHash<QString, QString> m_names; ///< by what was asked for
    Fault m_fault = Fault::Once;
    int m_left = -1;
    qptrdiff m_armed = 0;
};

} // namespace rehome::test
