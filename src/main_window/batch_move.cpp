#include "main_window/batch_move.h"

#include "main_window/source_choice.h"
#include "platform/shown_text.h"
#include "platform/text_case.h"

namespace rehome::main_window {

namespace {

bool nothingPicked(const QString& store) {
    return store.isEmpty() || store == clickToSelect();
}

/// What a store list shows.
QString picked(const QString& store) {
    return store.isEmpty() ? clickToSelect() : store;
}

} // namespace

void BatchMove::rdoALL_Click() {
    setSource(Source::All, m_state, m_controls);
}

void BatchMove::rdoCriteria_Click() {
    setSource(Source::Criteria, m_state, m_controls);
}

void BatchMove::rdoFromStore_Click() {
    setSource(Source::FromStore, m_state, m_controls);
}

void BatchMove::comboSourceMBx_Click() {
    m_state.SourceStoreName = m_controls.comboSourceMBx->Text();
}

void BatchMove::comboDestMBx_Click() {
    m_state.DestStoreName = m_controls.comboDestMBx->Text();
}

void BatchMove::comboSourceMBx_TypedInVain() {
    m_controls.comboSourceMBx->setText(picked(m_state.SourceStoreName));
}

void BatchMove::comboDestMBx_TypedInVain() {
    m_controls.comboDestMBx->setText(picked(m_state.DestStoreName));
}

void BatchMove::refuse(const QString& text) {
    m_platform.Desktop.Show({text});
    m_controls.enableInOrder(*m_controls.btnMove, *m_controls.btnRefresh);
}

bool BatchMove::confirmed() {
    return m_platform.Desktop.Show(
               {QStringLiteral("Are you Sure You want to Move selected MailBoxes to -\r\n\r\n-> ") +
                    platform::shownText(m_state.DestStoreName),
                platform::Buttons::YesNo, platform::Icon::None,
                QStringLiteral(" Move Mailbox ")}) != platform::Answer::No;
}

bool BatchMove::qualifies(const mailbox::MailboxUser& user, const Choice& choice) const {
    // Who is there already stays.
    if (platform::areSameInCapitals(user.GetSourceStore(), m_state.DestStoreName) ||
        mailbox::isOn(user, m_state.DestStoreName, m_state.StoreList))
        return false;
    switch (choice.mode) {
    case Source::All:
        return true;
    case Source::Criteria:
        return user.GetSourceStoreState() == choice.status;
    case Source::FromStore:
        return platform::areSameInCapitals(user.GetSourceStore(), m_state.SourceStoreName);
    }
    return false;
}

BatchMove::Outcome BatchMove::moveAll(const Choice& choice) {
    std::vector<std::shared_ptr<const mailbox::MailboxUser>> chosen;
    for (const auto& user : m_state.GridMailboxes)
        if (qualifies(*user, choice))
            chosen.push_back(user);
    Outcome outcome{qint16(chosen.size())};
    m_platform.Journal.Expect(platform::Work::Moves, outcome.attempted);
    // A mailbox that cannot be moved is counted, and the run goes on: the next one may well move.
    for (const auto& user : chosen)
        if (mailbox::MoveMailbox2(user, m_state.DestStoreName, m_state.StoreList,
                                  m_state.MovedMailboxes))
            ++outcome.moved;
    return outcome;
}

QString BatchMove::report(const Outcome& outcome) const {
    if (outcome.attempted == 0)
        return QStringLiteral("No MailBox found in ") +
               platform::shownText(m_state.SourceStoreName);
    if (outcome.moved == outcome.attempted)
        return QString::number(outcome.moved) + QStringLiteral(" MailBoxes Moved Successfully");
    return QStringLiteral("ERROR : Unable to move ") +
           QString::number(outcome.attempted - outcome.moved) + QStringLiteral(" MailBoxes of ") +
           QString::number(outcome.attempted);
}

void BatchMove::btnMove_Click() {
    m_controls.disableInOrder(*m_controls.btnMove, *m_controls.btnRefresh);
    if (nothingPicked(m_state.DestStoreName))
        return refuse(QStringLiteral("Please Select the Destination MailStore"));
    const Choice choice{m_state.SourceMode, m_controls.comboStatus->Text()};
    if (!confirmed())
        return m_controls.enableInOrder(*m_controls.btnMove, *m_controls.btnRefresh);
    if (choice.mode == Source::FromStore && nothingPicked(m_state.SourceStoreName))
        return refuse(QStringLiteral("Please Select the Source MailStore"));

    m_platform.Desktop.Show({report(moveAll(choice))});
    m_controls.enableInOrder(*m_controls.btnMove, *m_controls.btnRefresh);
    m_list.RefreshIt();
}

} // namespace rehome::main_window
