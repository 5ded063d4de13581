#include "journal/move_states.h"

#include <QStringList>

namespace rehome::journal {

using platform::Event;

namespace {

const QString Moved = QStringLiteral("moved");
const QString WasOpened = QStringLiteral("opened");
const QString Unchanged = QStringLiteral("address unchanged");
const QString Restored = QStringLiteral("address restored");

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
        return Moved;
    case Event::CreationUnanswered:
        return QStringLiteral("perhaps moved");
    default:
        return {};
    }
}

} // namespace

bool MoveStates::State::isWell() const {
    return move == Moved && opening == WasOpened && (address == Unchanged || address == Restored);
}

QString MoveStates::State::text() const {
    return QStringList{move, opening, address}.join(QStringLiteral("; "));
}

MoveStates::State& MoveStates::reach(const QString& mailbox) {
    const auto [at, isNew] = m_states.try_emplace(guidOf(mailbox));
    if (isNew)
        m_order.push_back(mailbox);
    return at->second;
}

void MoveStates::take(Event event, const QString& mailbox) {
    const bool tries = event == Event::NotDropped || event == Event::NotCreated;
    const auto move = moveAfter(event);
    if (mailbox.isEmpty() || (m_states.count(guidOf(mailbox)) == 0 && !tries && move.isEmpty()))
        return;
    State& state = reach(mailbox);
    if (!move.isEmpty()) {
        state = {};
        state.move = move;
    } else if (event == Event::AddressRestored) {
        state.address = Restored;
    } else if (event == Event::AddressNotRestored) {
        state.address = QStringLiteral("address not restored");
    } else if (event == Event::Opened) {
        state.opening = WasOpened;
        if (state.address == State().address)
            state.address = Unchanged;
    }
}

void MoveStates::takeSummary(const QString& mailbox, const QString& text) {
    const QStringList parts = text.split(QStringLiteral("; "));
    if (parts.size() == 3)
        reach(mailbox) = {parts[0], parts[1], parts[2]};
}

void MoveStates::takeInterrupted(const QString& mailbox) {
    reach(mailbox) = {QStringLiteral("perhaps without a mailbox"), State().opening,
                      State().address};
}

const MoveStates::State* MoveStates::find(const QString& mailbox) const {
    const auto found = m_states.find(guidOf(mailbox));
    return found == m_states.end() ? nullptr : &found->second;
}

} // namespace rehome::journal
