#include "main_window/main_window.h"

#include "platform/shown_text.h"
#include "repopulation/recreate_status.h"

#include <QApplication>
#include <QCloseEvent>

namespace rehome::main_window {

frmMain::frmMain(const platform::Platform& platform, const QString& caption)
    : m_platform(platform), m_controls(*this), m_chooser(*this, m_controls),
      m_selection(m_controls), m_list(m_controls, m_directory, platform, m_chooser, m_selection),
      m_singleMove(m_controls, platform, m_chooser, m_list, m_movedMailboxes),
      m_batchMove(m_controls, platform, m_selection, m_list, m_movedMailboxes) {
    setObjectName(QStringLiteral("frmMain"));
    setWindowTitle(caption);
    wireEvents();
}

frmMain::~frmMain() {
    // The controls outlive the parts that handle their events.
    m_closing = true;
}

template <class Handler>
void frmMain::handle(Handler&& handler) {
    if (!m_closing)
        platform::runHandler(m_platform.Desktop, handler);
}

template <class Handler>
void frmMain::command(Handler&& handler) {
    if (!QApplication::activeModalWidget())
        handle(handler);
}

void frmMain::wireEvents() {
    const auto on = [this](auto* control, auto signal, auto& part, auto handler) {
        connect(control, signal, this,
                [this, &part, handler] { handle([&] { (part.*handler)(); }); });
    };
    on(m_controls.msfgMain, &FlexGrid::Click, m_chooser, &StoreChooser::msfgMain_Click);
    on(m_controls.msfgMain, &FlexGrid::MouseDown, m_chooser, &StoreChooser::msfgMain_MouseDown);
    on(m_controls.msfgMain, &FlexGrid::MouseUp, m_chooser, &StoreChooser::msfgMain_MouseUp);
    on(m_controls.msfgMain, &FlexGrid::Scroll, m_chooser, &StoreChooser::msfgMain_Scroll);
    on(m_controls.msfgMain, &FlexGrid::ReleasedOutside, m_chooser,
       &StoreChooser::msfgMain_ReleasedOutside);
    on(m_controls.comboStoreName, &ListCombo::TextDiscarded, m_chooser,
       &StoreChooser::comboStoreName_TextDiscarded);
    on(m_controls.comboStoreName, &ListCombo::Click, m_singleMove,
       &SingleMove::comboStoreName_Click);
    on(m_controls.comboSourceMBx, &ListCombo::TextDiscarded, m_selection,
       &BatchSelection::comboSourceMBx_TextDiscarded);
    on(m_controls.comboDestMBx, &ListCombo::TextDiscarded, m_selection,
       &BatchSelection::comboDestMBx_TextDiscarded);
    // Whatever checks one, an accessibility client too, which does not click: what shows counts.
    const auto onChosen = [this](QRadioButton* option, auto handler) {
        connect(option, &QRadioButton::toggled, this, [this, handler](bool chosen) {
            if (chosen)
                handle([&] { (m_selection.*handler)(); });
        });
    };
    onChosen(m_controls.rdoALL, &BatchSelection::rdoALL_Click);
    onChosen(m_controls.rdoCriteria, &BatchSelection::rdoCriteria_Click);
    onChosen(m_controls.rdoFromStore, &BatchSelection::rdoFromStore_Click);
    on(m_controls.comboSourceMBx, &ListCombo::Click, m_selection,
       &BatchSelection::comboSourceMBx_Click);
    on(m_controls.comboDestMBx, &ListCombo::Click, m_selection,
       &BatchSelection::comboDestMBx_Click);
    const auto onPress = [this](QPushButton* button, auto& part, auto handler) {
        connect(button, &QPushButton::clicked, this,
                [this, &part, handler] { command([&] { (part.*handler)(); }); });
    };
    onPress(m_controls.btnMove, m_batchMove, &BatchMove::btnMove_Click);
    onPress(m_controls.btnRefresh, *this, &frmMain::btnRefresh_Click);
    onPress(m_controls.btnExit, *this, &frmMain::btnExit_Click);
}

void frmMain::HookGridWindow() {
    if (m_hookInstalled)
        return;
    for (const auto message : {&FlexGrid::Painted, &FlexGrid::Sized})
        connect(m_controls.msfgMain, message, this, [this] { handle([&] { GridWindowProc(); }); });
    m_hookInstalled = true;
}

void frmMain::GridWindowProc() {
    m_chooser.place();
}

void frmMain::Form_Load() {
    HookGridWindow();
    const auto root = m_platform.Directory.BindObject(QStringLiteral("LDAP://RootDSE"));
    m_directory.DefaultNamingContext = root->GetText(QStringLiteral("defaultNamingContext"));
    m_directory.ConfigNamingContext = root->GetText(QStringLiteral("configurationNamingContext"));
    m_directory.DirConnection = m_platform.Directory.CreateConnection();
    m_directory.DirConnection->setProvider(QStringLiteral("ADSDSOObject"));
    m_directory.DirConnection->Open(QStringLiteral("ADs Provider"), QString(), QString(),
                                    adsi::UnspecifiedOptions);
    m_list.RefreshIt();
    m_list.tellOtherDomains();
}

void frmMain::btnRefresh_Click() {
    m_list.RefreshIt();
}

void frmMain::btnExit_Click() {
    qint16 Cancel = 1;
    Form_Unload(Cancel);
}

void frmMain::closeEvent(QCloseEvent* event) {
    event->ignore();
    command([&] {
        qint16 Cancel = 0;
        Form_Unload(Cancel);
    });
}

void frmMain::finishMovedMailboxes(QString& summary) {
    repopulation::frmRecreateMailboxStatus dialog(m_platform, this);
    dialog.Prepare(m_movedMailboxes);
    dialog.exec();
    for (const auto& user : m_movedMailboxes)
        summary += QStringLiteral("\r\n\t") + platform::shownText(user->GetMail());
    m_directory.DirConnection->Close();
}

void frmMain::Form_Unload(qint16&) {
    if (m_closing)
        return;
    m_closing = true;
    QString summary;
    try {
        finishMovedMailboxes(summary);
    } catch (const std::exception& error) {
        m_platform.Journal.Tell(platform::Event::Remark,
                                QStringLiteral("closing: ") + describe(error));
    }
    if (m_movedMailboxes.Count() > 0)
        m_platform.Desktop.Show(
            {QStringLiteral("The following mailboxes were moved :\t\r\n") + summary,
             platform::Buttons::OkCancel, platform::Icon::None, QStringLiteral("Moved Mailboxes")});
    m_list.tellWhoRemains();
    m_platform.Desktop.End(0);
}

} // namespace rehome::main_window
