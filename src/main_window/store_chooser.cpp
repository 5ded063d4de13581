#include "main_window/store_chooser.h"

#include "main_window/columns.h"
#include "platform/twips.h"

#include <QCoreApplication>
#include <QWheelEvent>

namespace rehome::main_window {

StoreChooser::StoreChooser(QWidget& window, Controls& controls)
    : m_window(window), m_grid(*controls.msfgMain), m_list(*controls.comboStoreName) {
    // The wheel over it scrolls the grid.
    QObject::connect(&m_list, &ListCombo::Wheel, m_grid.viewport(), [this](QWheelEvent* event) {
        QCoreApplication::sendEvent(m_grid.viewport(), event);
    });
}

void StoreChooser::reset() {
    hide();
    m_list.raise();
    followWidth();
}

void StoreChooser::followWidth() {
    m_list.resize(platform::toPixels(m_grid.CellWidth()), m_list.height());
}

void StoreChooser::nameItself() {
    const QString mailbox =
        m_grid.model()->index(m_grid.Row() - 1, DisplayNameColumn).data().toString();
    m_list.setPurpose(QStringLiteral("Target mail store of ") +
                      (mailbox.isEmpty() ? QStringLiteral("no mailbox") : mailbox));
}

void StoreChooser::place() {
    nameItself();
    followWidth();
    m_list.move(platform::toPixels(m_grid.Left() + m_grid.CellLeft()),
                platform::toPixels(m_grid.Top() + m_grid.CellTop()));
}

void StoreChooser::showOverStore() {
    m_grid.setCol(StoreColumn);
    place();
    m_list.setText(m_grid.Text());
    m_list.show();
}

void StoreChooser::hide() {
    const QWidget* focused = m_window.focusWidget();
    if (focused && (focused == &m_list || m_list.isAncestorOf(focused)))
        m_grid.setFocus();
    m_list.hide();
}

void StoreChooser::msfgMain_Click() {
    hide();
    showOverStore();
}

void StoreChooser::msfgMain_MouseDown() {
    if (m_grid.Col() != StoreColumn)
        hide();
}

void StoreChooser::msfgMain_MouseUp() {
    const auto width = static_cast<float>(m_grid.CellWidth());
    if (width == m_lastCellWidth)
        return;
    followWidth();
    m_lastCellWidth = width;
}

void StoreChooser::msfgMain_Scroll() {
    hide();
    m_grid.setRow(m_grid.TopRow());
    m_list.setText(m_grid.Text());
    m_list.show();
}

void StoreChooser::msfgMain_ReleasedOutside() {
    // The press has made its row the current one, and no click follows.
    m_grid.setCol(StoreColumn);
    m_list.setText(m_grid.Text());
}

void StoreChooser::comboStoreName_TextDiscarded() {
    m_list.setText(m_grid.Text());
}

} // namespace rehome::main_window
