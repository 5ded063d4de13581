#pragma once

#include "platform/engine/observed_engine.h"
#include "platform/error.h"

#include <QHash>

namespace rehome::test {

/// Writes down what is asked of an engine and a probe, and breaks a search off where told.
struct RecordedCalls final : engine::Observer {
    QStringList made;
    bool breakOff = false;   ///< the next object found ends its search
    QHash<int, QString> now; ///< what is under way

    int underWay(const QString& start) const {
        return int(QStringList(now.values()).filter(start).size());
    }

    void asks(int call, const QString& text) override {
        made += text;
        now.insert(call, text);
    }
    void finds(int, const QString&) override {
        if (std::exchange(breakOff, false))
            throw Error("the search broke off");
    }
    void ends(int call, const QString&) noexcept override { now.remove(call); }
};

} // namespace rehome::test
