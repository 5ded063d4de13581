#include "main_window/list_combo.h"

#include "platform/shown_text.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QItemDelegate>
#include <QKeyEvent>
#include <QLineEdit>
#include <QSignalBlocker>

namespace rehome::main_window {

namespace {

class ShownNames final : public QItemDelegate {
public:
    using QItemDelegate::QItemDelegate;

protected:
    void drawDisplay(QPainter* painter, const QStyleOptionViewItem& option, const QRect& rect,
                     const QString& text) const override {
        QItemDelegate::drawDisplay(painter, option, rect, platform::shownText(text));
    }
};

} // namespace

ListCombo::ListCombo(QWidget* parent) : QComboBox(parent) {
    setEditable(true);
    setInsertPolicy(NoInsert);
    setCompleter(nullptr);
    setContextMenuPolicy(Qt::NoContextMenu);
    // QComboBox replaces what was typed by a matching item on either of these.
    disconnect(lineEdit(), &QLineEdit::editingFinished, this, nullptr);
    disconnect(lineEdit(), &QLineEdit::returnPressed, this, nullptr);
    setItemDelegate(new ShownNames(this));
    view()->installEventFilter(this);
    view()->viewport()->installEventFilter(this);
}

QString ListCombo::Text() const {
    return typed() ? lineEdit()->text() : m_text;
}

bool ListCombo::typed() const {
    return lineEdit()->text() != platform::shownText(m_text);
}

void ListCombo::setText(const QString& text) {
    m_text = text;
    lineEdit()->setText(platform::shownText(text));
    lineEdit()->setCursorPosition(0);
}

void ListCombo::setPurpose(const QString& purpose) {
    setAccessibleDescription(purpose);
    lineEdit()->setAccessibleName(purpose);
    view()->setAccessibleName(purpose);
}

void ListCombo::AddItem(const QString& text) {
    const QString kept = Text();
    {
        // The list has no current item of its own: QComboBox would show it.
        const QSignalBlocker quiet(lineEdit());
        addItem(text);
        setCurrentIndex(-1);
    }
    setText(kept);
}

void ListCombo::Clear() {
    const QString kept = Text();
    clear();
    setText(kept);
}

void ListCombo::showPopup() {
    // A list takes input in front of a modal box, and an accessibility client opens it there.
    if (QApplication::activeModalWidget())
        return;
    m_pressedInList = false;
    m_sinceOpened.start();
    QComboBox::showPopup();
    const int shown = findText(Text(), Qt::MatchExactly | Qt::MatchCaseSensitive);
    // Where the text is no item, nothing is chosen yet, and Return alone picks nothing.
    view()->setCurrentIndex(shown < 0 ? QModelIndex()
                                      : model()->index(shown, modelColumn(), rootModelIndex()));
}

bool ListCombo::eventFilter(QObject* watched, QEvent* event) {
    if (watched == view()->viewport()) {
        if (event->type() == QEvent::MouseButtonPress)
            m_pressedInList = true;
        if (event->type() == QEvent::MouseButtonRelease) {
            const auto* release = static_cast<QMouseEvent*>(event);
            const QModelIndex item = view()->indexAt(release->position().toPoint());
            // The release that belongs to the press which opened the list is no pick.
            const bool meant =
                m_pressedInList || m_sinceOpened.hasExpired(QApplication::doubleClickInterval());
            if (release->button() == Qt::LeftButton && item.isValid() && meant)
                pick(item);
            return true;
        }
    }
    if (watched == view() && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Select) {
            pick(view()->currentIndex());
            return true;
        }
        if (key == Qt::Key_Tab || key == Qt::Key_Backtab)
            return true;
    }
    return QComboBox::eventFilter(watched, event);
}

void ListCombo::pick(const QModelIndex& item) {
    hidePopup();
    if (!item.isValid())
        return;
    setText(item.data().toString());
    Q_EMIT Click();
}

void ListCombo::keyPressEvent(QKeyEvent* event) {
    const bool alt = event->modifiers().testFlag(Qt::AltModifier);
    const bool opens = alt && (event->key() == Qt::Key_Down || event->key() == Qt::Key_Up);
    switch (opens ? Qt::Key_F4 : event->key()) {
    case Qt::Key_F4:
        return showPopup();
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return event->ignore();
    default:
        // The text field gives its focus to the box, so its keys arrive here.
        lineEdit()->event(event);
    }
}

void ListCombo::focusOutEvent(QFocusEvent* event) {
    QComboBox::focusOutEvent(event);
    if (typed() && event->reason() != Qt::PopupFocusReason)
        Q_EMIT TextDiscarded();
}

void ListCombo::wheelEvent(QWheelEvent* event) {
    Q_EMIT Wheel(event);
    event->accept();
}

} // namespace rehome::main_window
