#pragma once

#include <QPen>

class QApplication;

namespace rehome::main_window {

/// Gives the application the style, the colours and the font that the fixed layout is made for.
void applyLook(QApplication& application);

/// Draws the line around what has the focus.
QPen focusPen();

} // namespace rehome::main_window
