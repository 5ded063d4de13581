#include "main_window/message_dialog.h"

#include "platform/shown_text.h"

#include <QDialogButtonBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QStyle>

namespace rehome::main_window {

namespace {

using platform::Answer;
using platform::Buttons;

struct Choice {
    QDialogButtonBox::StandardButton button;
    Answer answer;
};

/// The last one is what Escape and the close box mean.
QList<Choice> choices(Buttons buttons) {
    switch (buttons) {
    case Buttons::YesNo:
        return {{QDialogButtonBox::Yes, Answer::Yes}, {QDialogButtonBox::No, Answer::No}};
    case Buttons::OkCancel:
        return {{QDialogButtonBox::Ok, Answer::Ok}, {QDialogButtonBox::Cancel, Answer::Cancel}};
    case Buttons::Ok:
        break;
    }
    return {{QDialogButtonBox::Ok, Answer::Ok}};
}

QLabel* iconLabel(platform::Icon icon, const QDialog& dialog) {
    const bool critical = icon == platform::Icon::Critical;
    const int size = dialog.style()->pixelMetric(QStyle::PM_MessageBoxIconSize);
    auto* label = new QLabel;
    label->setObjectName(critical ? QStringLiteral("criticalIcon")
                                  : QStringLiteral("exclamationIcon"));
    label->setPixmap(
        dialog.style()
            ->standardIcon(critical ? QStyle::SP_MessageBoxCritical : QStyle::SP_MessageBoxWarning)
            .pixmap(size, size));
    label->setAlignment(Qt::AlignTop);
    return label;
}

} // namespace

MessageDialog::MessageDialog(const platform::MessageBox& box, const QString& applicationTitle,
                             QWidget* parent)
    : QDialog(parent) {
    setObjectName(QStringLiteral("messageBox"));
    setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                   Qt::WindowCloseButtonHint);
    setWindowTitle(box.Title.isNull() ? applicationTitle : box.Title);

    QString lines = box.Text;
    lines.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    auto* text = new QLabel(platform::shownMessage(lines));
    text->setObjectName(QStringLiteral("messageText"));
    text->setTextFormat(Qt::PlainText);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    text->setAlignment(Qt::AlignLeft | Qt::AlignTop);

    const QSize screen =
        (parent ? parent->screen() : QGuiApplication::primaryScreen())->availableSize();
    const int widest = screen.width() * 3 / 5;
    const int highest = screen.height() * 3 / 5;
    // Wide enough for the title between the buttons of its bar.
    const int titled = fontMetrics().horizontalAdvance(windowTitle()) + 150;
    const int width = std::min(std::max(text->sizeHint().width(), titled), widest);
    text->setWordWrap(true);
    const int height = text->heightForWidth(width);

    auto* area = new QScrollArea;
    m_bar = area->verticalScrollBar();
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setWidget(text);
    area->setFocusPolicy(Qt::ClickFocus);
    const int bar = m_bar->sizeHint().width();
    const bool wide = text->minimumSizeHint().width() > width; // a text without blanks
    area->setFixedSize(width + (height > highest ? bar : 0),
                       std::min(height + (wide ? bar : 0), highest));

    auto* message = new QHBoxLayout;
    message->setSpacing(12);
    if (box.Icon != platform::Icon::None)
        message->addWidget(iconLabel(box.Icon, *this), 0, Qt::AlignTop);
    message->addWidget(area, 1, Qt::AlignVCenter);

    auto* buttons = new QDialogButtonBox;
    buttons->setCenterButtons(true);
    const auto offered = choices(box.Buttons);
    m_answer = offered.constLast().answer;
    for (const Choice& choice : offered) {
        QPushButton* button = buttons->addButton(choice.button);
        connect(button, &QPushButton::clicked, this, [this, choice] {
            m_answer = choice.answer;
            accept();
        });
        button->installEventFilter(this);
    }
    buttons->button(offered.constFirst().button)->setDefault(true);

    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(14);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->addLayout(message);
    layout->addWidget(buttons);
    buttons->button(offered.constFirst().button)->setFocus();
}

bool MessageDialog::eventFilter(QObject* watched, QEvent* event) {
    // The key that has brought the box up, still held down, answers nothing.
    if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent*>(event)->isAutoRepeat())
        return true;
    return QDialog::eventFilter(watched, event);
}

void MessageDialog::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_Home:
    case Qt::Key_End:
        QCoreApplication::sendEvent(m_bar, event);
        break;
    default:
        QDialog::keyPressEvent(event);
    }
}

Answer MessageDialog::ask() {
    exec();
    return m_answer;
}

} // namespace rehome::main_window
