#include "main_window/screen_frame.h"

#include <QApplication>
#include <QCloseEvent>
#include <QScreen>
#include <QScrollBar>

namespace rehome::main_window {

namespace {

/// What a window manager puts around a window; it tells only afterwards.
constexpr QSize Borders{10, 50};
constexpr QSize Least{200, 150};

} // namespace

ScreenFrame::ScreenFrame(QWidget& window) : m_window(window) {
    setObjectName(QStringLiteral("screenFrame"));
    setWindowTitle(window.windowTitle());
    setFrameShape(NoFrame);
    setFocusPolicy(Qt::NoFocus);
    setWidgetResizable(true);
    setWidget(&window);
    fit(screen()->availableSize());
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* focused) {
        if (focused && m_window.isAncestorOf(focused))
            ensureWidgetVisible(focused);
    });
}

ScreenFrame::~ScreenFrame() {
    takeWidget();
}

void ScreenFrame::fit(QSize available) {
    const QSize whole = m_window.minimumSize(), room = available - Borders;
    const bool fits = whole.width() <= room.width() && whole.height() <= room.height();
    const int bar = verticalScrollBar()->sizeHint().width();
    setMinimumSize(fits ? whole : Least);
    resize(fits ? whole : (whole + QSize(bar, bar)).boundedTo(room));
}

void ScreenFrame::closeEvent(QCloseEvent* event) {
    QCoreApplication::sendEvent(&m_window, event);
}

} // namespace rehome::main_window
