#include "journal/move_states.h"

namespace rehome::journal {

using platform::Event;

namespace {

/// What stays of a mailbox's name when its address changes.
QString guidOf(const QString& mailbox) {
    return mailbox.section(u' ', -1);
}

} // namespace

void MoveStates::take(Event event, const QString& text, const QString& mailbox) {
    const bool known = m_states.count(guidOf(mailbox)) > 0;
    const bool moves = event == Event::Dropped || event == Event::DropRefused ||
                       event == Event::Created || event == Event::CreationFailed;
    if (mailbox.isEmpty() || (!known && !moves))
        return;
    if (!known)
        m_order.push_back(mailbox);
    State& state = m_states[guidOf(mailbox)];
    switch (event) {
    case Event::Dropped:
    case Event::DropRefused:
        state = {text, QStringLiteral("not opened"), {}}; // a second move begins
        break;
    case Event::Created:
    case Event::CreationFailed:
        state.creation = text;
        break;
    case Event::AddressRestored:
    case Event::AddressNotRestored:
        state.address = text;
        break;
    case Event::Opened:
        if (state.address.isEmpty())
            state.address = QStringLiteral("address as before");
        state.opening = text;
        break;
    case Event::NotOpened:
        state.opening = text;
        break;
    case Event::Remark:
    case Event::Listed:
    case Event::GivenUp:
        break;
    }
}

QStringList MoveStates::lines() const {
    QStringList lines;
    for (const QString& mailbox : m_order) {
        const State& state = m_states.at(guidOf(mailbox));
        const QString address =
            state.address.isEmpty() ? QStringLiteral("address not restored") : state.address;
        lines += mailbox + QStringLiteral(": ") +
                 QStringList{state.creation, state.opening, address}.join(QStringLiteral("; "));
    }
    return lines;
}

} // namespace rehome::journal
