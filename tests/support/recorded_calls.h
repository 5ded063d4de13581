#pragma once

#include "app/trace.h"

#include <QHash>

#include <algorithm>
#include <deque>
#include <functional>

namespace rehome::test {

/// The chosen call fails: alone, before or after its effect; with later ones, on its object or all.
enum class Fault { Once, AfterEffect, OnItsObject, ForEver };

/// Writes down what is asked of an engine and a probe, and has a chosen call fail.
struct RecordedCalls final : engine::Observer {
    struct Made {
        QString call;          ///< "read", "modify", ...
        QString object;        ///< its distinguished name as soon as that is known
        QString details;       ///< what is changed
        bool failed = true;    ///< until it has been answered
        bool effected = false; ///< although it failed
    };
    QStringList made;       ///< as it was asked
    std::deque<Made> log;   ///< the same, and what came of it
    Made* struck = nullptr; ///< the chosen call, once it has been made
    size_t armed = 0;       ///< the first that could be chosen
    int breakOff = 0;       ///< the object found so many from now ends its search, from 1
    std::function<void(const Made&)> meanwhile = [](const Made&) {}; ///< at each call

    /// Chooses the n-th call from here on, from 0; none where n is negative.
    void arm(Fault how, int n) {
        m_fault = how;
        m_left = n;
        armed = log.size();
    }

    bool any(const QString& call, const QString& object, bool failed,
             const QString& details = {}) const {
        return std::any_of(log.begin(), log.end(), [&](const Made& one) {
            return one.call == call && one.object == object && one.failed == failed &&
                   one.details.startsWith(details);
        });
    }
    auto underWay(const QString& call) const {
        return std::ranges::count(m_now, call, &Made::call);
    }

    void onStarted(int call, const engine::Call& started) override {
        begin(call, app::traceText(started));
    }
    void begin(int call, const QString& text) {
        made += text;
        const QString object = text.section(' ', 1, 1);
        Made& mine = log.emplace_back(
            Made{text.section(' ', 0, 0), m_names.value(object, object), text.section(' ', 2)});
        meanwhile(mine);
        if (m_left-- == 0)
            struck = &mine;
        const bool meant = &mine == struck || m_fault == Fault::ForEver ||
                           (m_fault == Fault::OnItsObject && struck && mine.call == struck->call &&
                            mine.object == struck->object);
        if (struck && meant && m_fault != Fault::AfterEffect)
            throw Error("refused");
        m_now.insert(call, &mine);
    }
    void onEntry(int call, const QString& name) override {
        if (breakOff > 0 && --breakOff == 0)
            throw Error("the search broke off");
        if (Made& mine = *m_now[call]; mine.call == "read")
            m_names.insert(std::exchange(mine.object, name), name);
    }
    void onSucceeded(int call) override {
        if (m_now[call] == struck && m_fault == Fault::AfterEffect) {
            if (struck->effected = true; struck->call == "modify")
                throw engine::OutcomeUnknown("refused after its effect");
            throw Error("refused after its effect");
        }
        m_now[call]->failed = false;
    }
    void onFinished(int call, const QString&) noexcept override { m_now.remove(call); }

private:
    QHash<int, Made*> m_now; ///< what is under way
    QHash<QString, QString> m_names;
    Fault m_fault = Fault::Once;
    int m_left = -1;
};

} // namespace rehome::test
