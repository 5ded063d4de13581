#include "main_window/batch_move.h"

#include "platform/shown_text.h"
#include "platform/text_case.h"

namespace rehome::main_window {

namespace {

bool isNonePicked(const QString& store) {
    return store.isEmpty() || store == clickToSelect();
}

bool qualifies(const mailbox::MailboxUser& user, const BatchOrder& order,
               const topology::StoreCatalogue& StoreList) {
    // A mailbox that is already on the destination is not moved.
    if (platform::areSameInCapitals(user.GetSourceStore(), order.DestStoreName) ||
        mailbox::isOn(user, order.DestStoreName, StoreList))
        return false;
    switch (order.SourceMode) {
    case Source::All:
        return true;
    case Source::Criteria:
        return user.GetSourceStoreState() == order.storeState;
    case Source::FromStore:
        return platform::areSameInCapitals(user.GetSourceStore(), order.SourceStoreName);
    }
    return false;
}

} // namespace

void BatchMove::refuse(const QString& text) {
    m_platform.Desktop.Show({text});
    m_controls.enableInOrder(*m_controls.btnMove, *m_controls.btnRefresh);
}

bool BatchMove::isConfirmed(const BatchOrder& order) {
    return m_platform.Desktop.Show(
               {QStringLiteral("Are you Sure You want to Move selected MailBoxes to -\r\n\r\n-> ") +
                    platform::shownText(order.DestStoreName),
                platform::Buttons::YesNo, platform::Icon::None,
                QStringLiteral(" Move Mailbox ")}) != platform::Answer::No;
}

BatchMove::Outcome BatchMove::move(const BatchOrder& order) {
    const topology::StoreCatalogue& StoreList = m_list.state().StoreList;
    std::vector<std::shared_ptr<const mailbox::MailboxUser>> chosen;
    for (const auto& user : m_list.state().GridMailboxes)
        if (qualifies(*user, order, StoreList))
            chosen.push_back(user);
    Outcome outcome{qint16(chosen.size())};
    m_platform.Journal.Expect(platform::Work::Moves, outcome.attempted);
    // A mailbox that cannot be moved is counted; the next one may well move.
    for (const auto& user : chosen)
        if (mailbox::MoveMailbox2(user, order.DestStoreName, StoreList, m_movedMailboxes))
            ++outcome.moved;
    return outcome;
}

QString BatchMove::report(const BatchOrder& order, const Outcome& outcome) {
    if (outcome.attempted == 0)
        return QStringLiteral("No MailBox found in ") + platform::shownText(order.SourceStoreName);
    if (outcome.moved == outcome.attempted)
        return QString::number(outcome.moved) + QStringLiteral(" MailBoxes Moved Successfully");
    return QStringLiteral("ERROR : Unable to move ") +
           QString::number(outcome.attempted - outcome.moved) + QStringLiteral(" MailBoxes of ") +
           QString::number(outcome.attempted);
}

void BatchMove::btnMove_Click() {
    m_controls.disableInOrder(*m_controls.btnMove, *m_controls.btnRefresh);
    // Taken before the question: accessibility clients reach the controls behind a message box.
    const BatchOrder order = m_selection.order();
    if (isNonePicked(order.DestStoreName))
        return refuse(QStringLiteral("Please Select the Destination MailStore"));
    if (!isConfirmed(order))
        return m_controls.enableInOrder(*m_controls.btnMove, *m_controls.btnRefresh);
    if (order.SourceMode == Source::FromStore && isNonePicked(order.SourceStoreName))
        return refuse(QStringLiteral("Please Select the Source MailStore"));

    m_platform.Desktop.Show({report(order, move(order))});
    m_controls.enableInOrder(*m_controls.btnMove, *m_controls.btnRefresh);
    m_list.RefreshIt();
}

} // namespace rehome::main_window
