#include "main_window/titled_frame.h"

#include <QPainter>

namespace rehome::main_window {

void TitledFrame::paintEvent(QPaintEvent*) {
    constexpr int titleLeft = 8;
    constexpr int titlePadding = 3;
    QPainter painter(this);
    const int titleHeight = fontMetrics().height();
    const QRect line = rect().adjusted(0, titleHeight / 2, -1, -1);
    painter.setPen(palette().color(QPalette::Window).darker(140));
    painter.drawRect(line);

    const QRect titled(titleLeft, 0, fontMetrics().horizontalAdvance(title()) + 2 * titlePadding,
                       titleHeight);
    painter.fillRect(titled, palette().color(QPalette::Window));
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(titled, Qt::AlignCenter, title());
}

} // namespace rehome::main_window
