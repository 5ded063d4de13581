#pragma once

#include "platform/engine/observed_engine.h"
#include "platform/error.h"

#include <algorithm>
#include <deque>
#include <map>

namespace rehome::test {

/// How the chosen call fails: it alone, before or after its effect; it and each later one on the
/// same object; it and all later ones.
enum class Fault { Once, AfterEffect, OnItsObject, ForEver };

/// A log of all calls, of which the chosen one fails.
struct FailingCalls final : engine::Observer {
    struct Made {
        QString call;       ///< "read", "modify", ...
        QString object;     ///< its distinguished name as soon as that is known
        QString details;    ///< what is changed
        bool failed = true; ///< until it has been answered
    };
    std::deque<Made> made;
    const Made* struck = nullptr; ///< the chosen call, once it has been made
    size_t armed = 0;             ///< the first that could be chosen

    /// Chooses the n-th call from here on, from 0.
    void arm(Fault how, int n) {
        m_fault = how;
        m_left = n;
        armed = made.size();
    }
    void disarm() { m_fault = Fault::Once; }

    bool any(const QString& call, const QString& object, bool failed,
             const QString& details = {}) const {
        return std::any_of(made.begin(), made.end(), [&](const Made& one) {
            return one.call == call && one.object == object && one.failed == failed &&
                   one.details.startsWith(details);
        });
    }

    void asks(int call, const QString& text) override {
        const QString object = text.section(' ', 1, 1);
        Made& mine = made.emplace_back(
            Made{text.section(' ', 0, 0), m_names.value(object, object), text.section(' ', 2)});
        m_calls[call] = &mine;
        const bool chosen = m_left-- == 0;
        if (chosen)
            struck = &mine;
        else if (!struck || m_fault < Fault::OnItsObject)
            return;
        else if (m_fault == Fault::OnItsObject &&
                 (mine.call != struck->call || mine.object != struck->object))
            return;
        if (m_fault != Fault::AfterEffect)
            throw Error("refused");
    }
    void finds(int call, const QString& name) override {
        Made& mine = *m_calls[call];
        if (mine.call == "read")
            m_names.insert(std::exchange(mine.object, name), name);
    }
    void answers(int call) override {
        if (m_calls[call] == struck && m_fault == Fault::AfterEffect && m_calls[call]->failed)
            throw Error("refused after its effect");
        m_calls[call]->failed = false;
    }
    void ends(int, const QString&) noexcept override {}

private:
    std::map<int, Made*> m_calls;
    QHash<QString, QString> m_names;
    Fault m_fault = Fault::Once;
    int m_left = -1;
};

} // namespace rehome::test
