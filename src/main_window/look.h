#pragma once

class QApplication;

namespace rehome::main_window {

/// Gives the application the style, the colours and the font that the fixed layout is made for.
void applyLook(QApplication& application);

} // namespace rehome::main_window
