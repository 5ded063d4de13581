#include "main_window/controls.h"

#include "platform/twips.h"

#include <QCoreApplication>
#include <QResizeEvent>

namespace rehome::main_window {

namespace {

constexpr int ChooserHeight = 360; // twips

struct Place {
    int left, top, width, height; // twips, in the container
};

template <class Control, class... Arguments>
Control* make(QWidget* container, const char* name, const QString& accessibleName, Place place,
              const Arguments&... arguments) {
    auto* control = new Control(arguments..., container);
    control->setObjectName(QLatin1String(name));
    control->setAccessibleName(accessibleName);
    control->setGeometry(platform::toPixels(place.left, place.top, place.width, place.height));
    return control;
}

ListCombo* makeList(QWidget* container, const char* name, const QString& accessibleName,
                    Place place) {
    auto* list = make<ListCombo>(container, name, accessibleName, place);
    list->setPurpose(accessibleName);
    return list;
}

} // namespace

QString clickToSelect() {
    return QStringLiteral("--- Click to Select ---");
}

Controls::Controls(QWidget& window) : m_window(window) {
    // A larger window shows more of its background; a smaller one would hide controls.
    window.setMinimumSize(platform::toPixels(ClientWidth), platform::toPixels(ClientHeight));
    window.resize(window.minimumSize());

    msfgMain =
        make<FlexGrid>(&window, "msfgMain", QStringLiteral("Mailboxes"), {120, 120, 9735, 4215});
    comboStoreName = makeList(&window, "comboStoreName",
                              QStringLiteral("Target mail store of the current mailbox"),
                              {120, 120, 5000, ChooserHeight});
    Frame1 = make<TitledFrame>(&window, "Frame1", QStringLiteral("Migration Options"),
                               {120, 4440, 9735, 3855}, QStringLiteral("Migration Options"));
    Frame2 = make<TitledFrame>(Frame1, "Frame2", QStringLiteral("Source of the migration"),
                               {240, 360, 9255, 1815}, QStringLiteral("Source"));
    rdoALL = make<QRadioButton>(Frame2, "rdoALL", QStringLiteral("All mailboxes"),
                                {120, 240, 8895, 255}, QStringLiteral(" All"));
    rdoCriteria = make<QRadioButton>(
        Frame2, "rdoCriteria", QStringLiteral("Mailboxes having store status"),
        {120, 720, 2775, 255}, QStringLiteral("Mailboxes having  store status "));
    comboStatus =
        makeList(Frame2, "comboStatus", QStringLiteral("Store status"), {2880, 720, 3375, 360});
    rdoFromStore =
        make<QRadioButton>(Frame2, "rdoFromStore", QStringLiteral("Mailboxes from store"),
                           {120, 1200, 1815, 255}, QStringLiteral("Mailboxes from store"));
    comboSourceMBx = makeList(Frame2, "comboSourceMBx", QStringLiteral("Source mailstore"),
                              {1920, 1200, 7215, 360});
    btnMove = make<QPushButton>(Frame1, "btnMove", QStringLiteral("Move the selected mailboxes"),
                                {3900, 2300, 1815, 375}, QStringLiteral("&Move"));
    Frame3 = make<TitledFrame>(Frame1, "Frame3", QStringLiteral("Destination of the migration"),
                               {240, 2760, 9255, 855}, QStringLiteral("Destination"));
    Label4 = make<QLabel>(Frame3, "Label4", QStringLiteral("Destination mailstore"),
                          {120, 360, 1695, 255}, QStringLiteral("Destination mailstore"));
    comboDestMBx = makeList(Frame3, "comboDestMBx", QStringLiteral("Destination mailstore"),
                            {1800, 360, 7335, 360});
    btnRefresh = make<QPushButton>(&window, "btnRefresh", QStringLiteral("Refresh the list"),
                                   {3480, 8520, 1455, 375}, QStringLiteral("&Refresh"));
    btnExit = make<QPushButton>(&window, "btnExit", QStringLiteral("Exit"), {5160, 8520, 1455, 375},
                                QStringLiteral("E&xit"));

    Label4->setTextFormat(Qt::PlainText);
    Label4->setBuddy(comboDestMBx);
    for (QPushButton* button : {btnMove, btnRefresh, btnExit})
        button->setAutoDefault(true); // Return presses it, as Space does
    comboStoreName->hide();
    comboStatus->setText(QStringLiteral("Offline"));
    comboSourceMBx->setText(clickToSelect());
    comboDestMBx->setText(clickToSelect());
    rdoALL->setChecked(true);
    setTabOrder();

    // A window that was never shown does not lay its views out, and the first refresh, which
    // scrolls the grid, comes before the window is shown.
    QResizeEvent resized(msfgMain->size(), QSize());
    QCoreApplication::sendEvent(msfgMain, &resized);
}

void Controls::setTabOrder() {
    QWidget* const order[] = {btnMove,  rdoALL,         rdoCriteria,    rdoFromStore,
                              msfgMain, comboStoreName, comboSourceMBx, comboDestMBx,
                              btnExit,  btnRefresh,     comboStatus};
    for (std::size_t i = 1; i < std::size(order); ++i)
        QWidget::setTabOrder(order[i - 1], order[i]);
}

void Controls::disableInOrder(QPushButton& first, QPushButton& second) {
    for (QPushButton* button : {&first, &second}) {
        if (m_window.focusWidget() == button) {
            m_focused = button;
            button->clearFocus();
        }
        button->setEnabled(false);
    }
}

void Controls::enableInOrder(QPushButton& first, QPushButton& second) {
    first.setEnabled(true);
    second.setEnabled(true);
    // A message box in between has let Qt choose another control.
    if (m_focused)
        m_focused->setFocus();
    m_focused.clear();
}

} // namespace rehome::main_window
