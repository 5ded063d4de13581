#pragma once

#include "main_window/flex_grid.h"
#include "main_window/list_combo.h"
#include "main_window/titled_frame.h"

#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>

namespace rehome::main_window {

/// The main window's client area, in twips.
inline constexpr int ClientWidth = 9990;
inline constexpr int ClientHeight = 9000;

/// The text of a store list in which nothing has been picked.
QString clickToSelect();

/// The main window's controls under the names that are also their object names. The window owns
/// them.
struct Controls {
    /// Makes, places and names them all; `window` gets its size.
    explicit Controls(QWidget& window);

    /// Puts the chooser over the grid's current cell; neither its height, its text nor whether it
    /// is visible changes.
    void placeChooser();
    void showChooser();
    /// Focus goes to the grid, not on to the next control in tab order.
    void hideChooser();

    /// Disables two buttons in that order, remembering which of them had the focus.
    void disableInOrder(QPushButton& first, QPushButton& second);
    /// Enables two buttons in that order and gives the focus back to the one that had it.
    void enableInOrder(QPushButton& first, QPushButton& second);

    TitledFrame* Frame1;
    TitledFrame* Frame2;
    TitledFrame* Frame3;
    QPushButton* btnMove;
    QRadioButton* rdoALL;
    QRadioButton* rdoCriteria;
    QRadioButton* rdoFromStore;
    QLabel* Label4;
    FlexGrid* msfgMain;
    ListCombo* comboStoreName;
    ListCombo* comboSourceMBx;
    ListCombo* comboDestMBx;
    QPushButton* btnExit;
    QPushButton* btnRefresh;
    ListCombo* comboStatus;

private:
    void setTabOrder();
    /// Says to screen readers whose store the chooser shows.
    void nameChooser();

    QWidget& m_window;
    QPointer<QPushButton> m_focused;
};

} // namespace rehome::main_window
