#pragma once

#include <QComboBox>
#include <QElapsedTimer>

namespace rehome::main_window {

/// A drop-down list whose text field can be typed into. Text and list are independent: nothing
/// typed is inserted, completed or corrected, filling the list leaves the text alone, and only a
/// pick in the open list raises Click. Wheel and arrow keys on the closed list change nothing.
/// Box and list show their texts without what would mislead the eye; Text is the text itself.
class ListCombo final : public QComboBox {
    Q_OBJECT

public:
    explicit ListCombo(QWidget* parent);

    QString Text() const;
    void setText(const QString& text);
    /// What the list is for, said by screen readers. On Linux their name of a combo box is its
    /// text.
    void setPurpose(const QString& purpose);
    void AddItem(const QString& text);
    /// Empties the list; the text stays.
    void Clear();

    void showPopup() override;

Q_SIGNALS:
    /// An item was picked in the open list, possibly the one shown; Text is that item.
    void Click();
    /// The focus has left the box with a text that was typed and not picked.
    void TextDiscarded();
    /// The wheel was turned over the closed box.
    void Wheel(QWheelEvent* event);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    bool typed() const;
    void pick(const QModelIndex& item);

    QElapsedTimer m_sinceOpened;
    QString m_text;
    bool m_pressedInList = false;
};

} // namespace rehome::main_window
