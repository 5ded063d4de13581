#pragma once

#include <QScrollArea>

namespace rehome::main_window {

/// The frame in which the main window stands on the screen. It scrolls the window if the screen is
/// smaller, and keeps the focused control in view; on a larger screen nothing is seen of it.
class ScreenFrame final : public QScrollArea {
    Q_OBJECT

public:
    /// `window` must outlive it; its title and its requests to be closed are the frame's.
    explicit ScreenFrame(QWidget& window);
    ~ScreenFrame() override;

    /// For a screen on which a window may take so many pixels, its borders included.
    void fit(QSize available);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    QWidget& m_window;
};

} // namespace rehome::main_window
