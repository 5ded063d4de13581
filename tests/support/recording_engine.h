#pragma once

#include "platform/engine/engine.h"
#include "platform/engine/exchange_probe.h"
#include "platform/error.h"

namespace rehome::test {

/// Passes everything on to an engine and a probe, writes down what is asked of them, and fails
/// where told.
class RecordingEngine final : public engine::Engine, public engine::ExchangeProbe {
public:
    RecordingEngine(engine::Engine& engine, engine::ExchangeProbe& probe)
        : m_engine(engine), m_probe(probe) {}

    QStringList made;     ///< as "read NAME", "find BASE FILTER ATTRIBUTES", "modify NAME A=V;…"
    QString failing;      ///< a call that contains this fails
    QList<int> which;     ///< only these of them, counted from 0, where it is not empty
    int failings = 0;     ///< how many have
    int entriesLeft = -1; ///< a search breaks off after so many entries, where it is not negative
    int searchesUnderWay = 0;
    int sessions = 0; ///< open now

    std::unique_ptr<engine::Session> openSession() override {
        call("session");
        return std::make_unique<Session>(*this, m_engine.openSession());
    }
    void checkServer(const QString& name) override {
        call("server " + name);
        m_probe.checkServer(name);
    }
    qint16 storeStatus(const QString& name) override {
        call("status " + name);
        return m_probe.storeStatus(name);
    }
    void openMailbox(const QString& name) override {
        call("open " + name);
        m_probe.openMailbox(name);
    }

private:
    void call(const QString& text) {
        made += text;
        if (failing.isEmpty() || !text.contains(failing))
            return;
        if (which.isEmpty() || which.contains(m_matched++)) {
            ++failings;
            throw Error("refused: " + text);
        }
    }

    /// One more for as long as it lives.
    struct Counted {
        explicit Counted(int& counter) : count(++counter) {}
        ~Counted() { --count; }
        Counted(const Counted&) = delete;
        int& count;
    };
    struct Entries final : engine::Entries {
        Entries(RecordingEngine& of, std::unique_ptr<engine::Entries> entries)
            : recorder(of), inner(std::move(entries)) {}
        std::optional<engine::Entry> next() override {
            if (recorder.entriesLeft >= 0 && recorder.entriesLeft-- == 0)
                throw Error("the search broke off");
            return inner->next();
        }
        RecordingEngine& recorder;
        std::unique_ptr<engine::Entries> inner;
        Counted counted{recorder.searchesUnderWay};
    };
    struct Session final : engine::Session {
        Session(RecordingEngine& of, std::unique_ptr<engine::Session> session)
            : recorder(of), inner(std::move(session)) {}
        std::unique_ptr<engine::Entries> search(const engine::SearchRequest& request) override {
            const auto& [base, scope, filter, attributes] = request;
            recorder.call(scope == engine::Scope::Base
                              ? "read " + base
                              : "find " + base + ' ' + filter + ' ' + attributes.join(','));
            return std::make_unique<Entries>(recorder, inner->search(request));
        }
        void modify(const QString& name, const QList<engine::Replacement>& all) override {
            QStringList changes;
            for (const auto& [attribute, values] : all)
                changes += attribute + '=' + QString::fromUtf8(values.join(','));
            recorder.call("modify " + name + ' ' + changes.join(';'));
            inner->modify(name, all);
        }
        RecordingEngine& recorder;
        std::unique_ptr<engine::Session> inner;
        Counted counted{recorder.sessions};
    };

    engine::Engine& m_engine;
    engine::ExchangeProbe& m_probe;
    int m_matched = 0;
};

} // namespace rehome::test
