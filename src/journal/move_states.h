#pragma once

#include "platform/journal.h"

#include <QStringList>

#include <map>
#include <vector>

namespace rehome::journal {

/// What has become of each mailbox that a move was tried on, from the events about it.
class MoveStates {
public:
    void take(platform::Event event, const QString& mailbox);

    /// A line for each mailbox that a move was tried on, in the order of the first try; empty where
    /// there was none.
    QStringList lines() const;

private:
    struct State {
        QString move = QStringLiteral("not moved");
        QString opening = QStringLiteral("not opened");
        QString address = QStringLiteral("address not checked");
    };

    std::map<QString, State> m_states; ///< by GUID
    std::vector<QString> m_order;      ///< as they were called first
};

} // namespace rehome::journal
