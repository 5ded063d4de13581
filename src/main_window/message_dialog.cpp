#include "main_window/message_dialog.h"

#include "platform/shown_text.h"

#include <QDialogButtonBox>
#include <QGuiApplication>
#include <QHBoxLayout>
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
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setWidget(text);
    area->setFocusPolicy(Qt::ClickFocus);
    const int bar = area->verticalScrollBar()->sizeHint().width();
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
        connect(buttons->addButton(choice.button), &QPushButton::clicked, this, [this, choice] {
            m_answer = choice.answer;
            accept();
        });
    }
    buttons->button(offered.constFirst().button)->setDefault(true);

    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(14);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->addLayout(message);
    layout->addWidget(buttons);
    buttons->button(offered.constFirst().button)->setFocus();
}

Answer MessageDialog::ask() {
    exec();
    return m_answer;
}

} // namespace rehome::main_window
