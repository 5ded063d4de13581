#pragma once

#include "platform/journal.h"

#include <QString>

#include <map>
#include <vector>

namespace rehome::journal {

/// What has become of each mailbox that a move was tried on, from the events about it.
class MoveStates {
public:
    struct State {
        QString move = QStringLiteral("not moved");
        QString opening = QStringLiteral("not opened");
        QString address = QStringLiteral("address not checked");

        /// True if the mailbox is on its new store and opens, with its address.
        bool isWell() const;
        /// The text of a summary line.
        QString text() const;
    };

    void take(platform::Event event, const QString& mailbox);
    /// The same from a summary, which counts more than the events before it.
    void takeSummary(const QString& mailbox, const QString& text);
    /// Notes that a mailbox was recorded and has no later event.
    void takeInterrupted(const QString& mailbox);

    /// The mailboxes that a move was tried on, as they were called first, in that order.
    const std::vector<QString>& mailboxes() const { return m_order; }
    /// Of one of them, whatever its address by now; null of any other.
    const State* find(const QString& mailbox) const;

private:
    State& reach(const QString& mailbox);

    std::map<QString, State> m_states; ///< by GUID
    std::vector<QString> m_order;      ///< as they were called first
};

} // namespace rehome::journal
