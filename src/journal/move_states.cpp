#include "journal/move_states.h"

namespace rehome::journal {

using platform::Event;

namespace {

/// What stays of a mailbox's name when its address changes.
QString guidOf(const QString& mailbox) {
    return mailbox.section(u' ', -1);
}

} // namespace

void MoveStates::take(Event event, const QString& mailbox) {
    const bool drops =
        event == Event::Dropped || event == Event::NotDropped || event == Event::DropUnanswered;
    const bool creates =
        event == Event::Created || event == Event::NotCreated || event == Event::CreationUnanswered;
    const bool known = m_states.count(guidOf(mailbox)) > 0;
    if (mailbox.isEmpty() || (!known && !drops && !creates))
        return;
    if (!known)
        m_order.push_back(mailbox);
    State& state = m_states[guidOf(mailbox)];
    if (drops) { // a move begins
        state = {};
        state.dropped = event == Event::Dropped          ? Outcome::Yes
                        : event == Event::DropUnanswered ? Outcome::Perhaps
                                                         : Outcome::No;
    } else if (creates) {
        state.created = event == Event::Created              ? Outcome::Yes
                        : event == Event::CreationUnanswered ? Outcome::Perhaps
                                                             : Outcome::No;
    } else if (event == Event::AddressRestored) {
        state.address = QStringLiteral("address restored");
    } else if (event == Event::AddressNotRestored) {
        state.address = QStringLiteral("address not restored");
    } else if (event == Event::Opened) {
        state.opened = true;
        if (state.address == State().address)
            state.address = QStringLiteral("address unchanged");
    }
}

QString MoveStates::move(const State& state) {
    if (state.created != Outcome::No)
        return state.created == Outcome::Yes ? QStringLiteral("moved")
                                             : QStringLiteral("perhaps moved");
    switch (state.dropped) {
    case Outcome::Yes:
        return QStringLiteral("without a mailbox");
    case Outcome::Perhaps:
        return QStringLiteral("perhaps without a mailbox");
    case Outcome::No:
        break;
    }
    return QStringLiteral("not moved");
}

QStringList MoveStates::lines() const {
    QStringList lines;
    for (const QString& mailbox : m_order) {
        const State& state = m_states.at(guidOf(mailbox));
        const QString opening =
            state.opened ? QStringLiteral("opened") : QStringLiteral("not opened");
        lines += mailbox + QStringLiteral(": ") +
                 QStringList{move(state), opening, state.address}.join(QStringLiteral("; "));
    }
    return lines;
}

} // namespace rehome::journal
