#pragma once

#include "platform/engine/observed_engine.h"
#include "platform/error.h"

#include <QHash>

namespace rehome::test {

/// Writes down what is asked of an engine and a probe, and makes it fail where told.
struct RecordedCalls final : engine::Observer {
    QStringList made;
    QString failing;         ///< a call that contains this fails
    QList<int> which;        ///< only these of them, counted from 0, where it is not empty
    int failings = 0;        ///< how many have
    bool breakOff = false;   ///< the next object found ends its search
    QHash<int, QString> now; ///< what is under way

    int underWay(const QString& start) const {
        return int(QStringList(now.values()).filter(start).size());
    }

    void asks(int call, const QString& text) override {
        made += text;
        if (!failing.isEmpty() && text.contains(failing) &&
            (which.isEmpty() || which.contains(m_matched++))) {
            ++failings;
            throw Error("refused: " + text);
        }
        now.insert(call, text);
    }
    void finds(int, const QString&) override {
        if (std::exchange(breakOff, false))
            throw Error("the search broke off");
    }
    void ends(int call, const QString&) noexcept override { now.remove(call); }

private:
    int m_matched = 0;
};

} // namespace rehome::test
