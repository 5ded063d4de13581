#include "main_window/single_move.h"

#include "main_window/columns.h"
#include "platform/shown_text.h"
#include "platform/text_case.h"

namespace rehome::main_window {

bool SingleMove::movesNothing(const QString& picked) const {
    const QString shown = m_controls.msfgMain->Text();
    if (picked == shown || picked.isEmpty())
        return true;
    const auto* user = m_list.state().GridMailboxes.find(m_controls.msfgMain->Row());
    // Texts that differ in letter case alone are left to the comparison above.
    return user && !platform::areSameInCapitals(picked, shown) &&
           mailbox::isOn(**user, picked, m_list.state().StoreList);
}

bool SingleMove::confirmed(const QString& picked) {
    FlexGrid& grid = *m_controls.msfgMain;
    grid.setCol(DisplayNameColumn);
    const QString name = platform::shownText(grid.Text());
    grid.setCol(StoreColumn);
    const QString from = platform::shownText(grid.Text());
    const QString lineBreak = QStringLiteral("\r\n");
    return m_platform.Desktop.Show({QStringLiteral("Are you sure you want to move ") + name +
                                        QStringLiteral(" from ") + lineBreak +
                                        QStringLiteral("-> ") + from + lineBreak +
                                        QStringLiteral("\t\t- TO -") + lineBreak +
                                        QStringLiteral("-> ") + platform::shownText(picked),
                                    platform::Buttons::YesNo, platform::Icon::None,
                                    QStringLiteral(" Move Mailbox ")}) != platform::Answer::No;
}

void SingleMove::comboStoreName_Click() {
    FlexGrid& grid = *m_controls.msfgMain;
    ListCombo& list = *m_controls.comboStoreName;
    m_chooser.hide();
    grid.setCol(StoreColumn);
    if (list.Text().isEmpty())
        list.setText(grid.Text());
    const QString picked = list.Text();
    if (movesNothing(picked))
        return;

    const QString server = picked.section(u':', 0, 0);
    if (server != m_list.GetLocalServer()) {
        m_platform.Desktop.Show(
            {QStringLiteral("Moving mailbox to remote server prohibited, disaster recovery utility "
                            "can only restore to local stores"),
             platform::Buttons::Ok, platform::Icon::Exclamation, QString()});
        return;
    }
    // The heading row, or a row that a failed refresh left half written: there is nothing to move.
    const auto* found = m_list.state().GridMailboxes.find(grid.Row());
    const auto user = found ? *found : nullptr;
    if (!user || !confirmed(picked))
        return;

    if (mailbox::MoveMailbox2(user, picked, m_list.state().StoreList, m_movedMailboxes))
        m_platform.Desktop.Show({QStringLiteral("MailBox moved successfully"),
                                 platform::Buttons::Ok, platform::Icon::None,
                                 QStringLiteral("Mailbox move")});
    else
        m_platform.Desktop.Show({QStringLiteral("Failed to move mailbox")});
    grid.setCol(StoreColumn);
    m_list.RefreshIt();
}

} // namespace rehome::main_window
