#include "journal/move_states.h"

namespace rehome::journal {

using platform::Event;

namespace {

/// What stays of a mailbox's name when its address changes.
QString guidOf(const QString& mailbox) {
    return mailbox.section(u' ', -1);
}

/// What an event makes of a move; empty if it changes nothing, as a refused drop or creation.
QString moveAfter(Event event) {
    switch (event) {
    case Event::Dropped:
        return QStringLiteral("without a mailbox");
    case Event::DropUnanswered:
        return QStringLiteral("perhaps without a mailbox");
    case Event::Created:
        return QStringLiteral("moved");
    case Event::CreationUnanswered:
        return QStringLiteral("perhaps moved");
    default:
        return {};
    }
}

} // namespace

void MoveStates::take(Event event, const QString& mailbox) {
    const bool tries = event == Event::NotDropped || event == Event::NotCreated;
    const auto move = moveAfter(event);
    if (mailbox.isEmpty() || (m_states.count(guidOf(mailbox)) == 0 && !tries && move.isEmpty()))
        return;
    const auto [at, isNew] = m_states.try_emplace(guidOf(mailbox));
    State& state = at->second;
    if (isNew)
        m_order.push_back(mailbox);
    if (!move.isEmpty()) {
        state = {};
        state.move = move;
    } else if (event == Event::AddressRestored) {
        state.address = QStringLiteral("address restored");
    } else if (event == Event::AddressNotRestored) {
        state.address = QStringLiteral("address not restored");
    } else if (event == Event::Opened) {
        state.opening = QStringLiteral("opened");
        if (state.address == State().address)
            state.address = QStringLiteral("address unchanged");
    }
}

QStringList MoveStates::lines() const {
    QStringList lines;
    for (const QString& mailbox : m_order) {
        const State& state = m_states.at(guidOf(mailbox));
        lines += mailbox + QStringLiteral(": ") +
                 QStringList{state.move, state.opening, state.address}.join(QStringLiteral("; "));
    }
    return lines;
}

} // namespace rehome::journal
