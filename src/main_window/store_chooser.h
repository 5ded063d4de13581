#pragma once

#include "main_window/controls.h"

namespace rehome::main_window {

/// The list of stores that floats over the grid: where it stands, what it shows, and when it is
/// seen. It stands over the current cell whenever the grid has been painted or sized.
class StoreChooser {
public:
    /// What it is given must outlive it.
    StoreChooser(QWidget& window, Controls& controls);

    /// Hides it, in front of the grid and as wide as the current cell.
    void reset();
    /// Puts it over the current cell; neither its height, its text nor whether it is visible
    /// changes.
    void place();
    /// Puts it over the store of the current row and shows it with that text.
    void showOverStore();
    /// Focus goes to the grid, not on to the next control in tab order.
    void hide();

    void msfgMain_Click();
    void msfgMain_MouseDown();
    void msfgMain_MouseUp();
    void msfgMain_Scroll();
    void msfgMain_ReleasedOutside();
    void comboStoreName_TextDiscarded();

    float LastCellWidth() const { return m_lastCellWidth; }

private:
    void followWidth();
    /// Says to screen readers whose store it shows.
    void nameItself();

    QWidget& m_window;
    FlexGrid& m_grid;
    ListCombo& m_list;
    float m_lastCellWidth = 0; ///< twips; the width that msfgMain_MouseUp gave last
};

} // namespace rehome::main_window
