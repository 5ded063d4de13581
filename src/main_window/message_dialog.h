#pragma once

#include "platform/desktop.h"

#include <QDialog>

class QScrollBar;

namespace rehome::main_window {

/// A modal message box. Its text is plain whatever it holds, and nothing in it but tabs and line
/// breaks acts on how the rest shows; where it would exceed the screen it
/// scrolls, and the buttons stay in sight.
class MessageDialog final : public QDialog {
    Q_OBJECT

public:
    /// `applicationTitle` is used where the box has no title of its own.
    MessageDialog(const platform::MessageBox& box, const QString& applicationTitle,
                  QWidget* parent);

    /// Shows the box and waits. Escape and the close box mean No, Cancel or, where that is the only
    /// button, OK.
    platform::Answer ask();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    platform::Answer m_answer;
    QScrollBar* m_bar;
};

} // namespace rehome::main_window
