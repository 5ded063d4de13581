#include "main_window/look.h"

#include "main_window/screen_frame.h"

#include <QAccessibleWidget>
#include <QApplication>
#include <QFont>
#include <QPainter>
#include <QPalette>
#include <QProxyStyle>
#include <QStyleOption>

namespace rehome::main_window {

namespace {

/// Fusion, with option buttons no wider than the layout leaves room for, and command buttons and
/// headings that have the colour of the window.
class LayoutStyle final : public QProxyStyle {
public:
    LayoutStyle() : QProxyStyle(QStringLiteral("Fusion")) {}

    int pixelMetric(PixelMetric metric, const QStyleOption* option,
                    const QWidget* widget) const override {
        switch (metric) {
        case PM_ExclusiveIndicatorWidth:
        case PM_ExclusiveIndicatorHeight:
            return 13;
        case PM_RadioButtonLabelSpacing:
            return 3;
        default:
            return QProxyStyle::pixelMetric(metric, option, widget);
        }
    }

    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* data) const override {
        // The theme's discs beside Yes and No say nothing that the words do not.
        return hint == SH_DialogButtonBox_ButtonsHaveIcons
                   ? 0
                   : QProxyStyle::styleHint(hint, option, widget, data);
    }

    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override {
        if (element != CE_HeaderSection && element != CE_HeaderEmptyArea)
            return QProxyStyle::drawControl(element, option, painter, widget);
        const QColor colour = option->palette.color(QPalette::Button);
        const QColor line = colour.darker(130);
        const QRect& area = option->rect;
        painter->fillRect(area, colour);
        painter->fillRect(area.left(), area.bottom(), area.width(), 1, line);
        if (element == CE_HeaderSection)
            painter->fillRect(area.right(), area.top(), 1, area.height(), line);
    }

    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override {
        if (element != PE_PanelButtonCommand)
            return QProxyStyle::drawPrimitive(element, option, painter, widget);
        const QColor colour = option->palette.color(QPalette::Button);
        const bool pressed = option->state & (State_Sunken | State_On);
        const bool focused = option->state & State_HasFocus;
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        const QPen pen = focused ? focusPen() : QPen(colour.darker(150));
        const qreal inside = pen.widthF() / 2;
        painter->setPen(pen);
        painter->setBrush(pressed ? colour.darker(115) : colour);
        painter->drawRoundedRect(QRectF(option->rect).adjusted(inside, inside, -inside, -inside), 2,
                                 2);
        painter->restore();
    }
};

/// The windows are light whatever the desktop's theme is, so their texts are dark.
QPalette lightPalette() {
    const QColor grey(224, 224, 224);
    const QColor faded(90, 90, 90); // 5 : 1 on the grey
    QPalette palette(grey, grey);
    palette.setColor(QPalette::Base, Qt::white);
    palette.setColor(QPalette::AlternateBase, QColor(245, 245, 245));
    palette.setColor(QPalette::Highlight, QColor(205, 222, 245));
    palette.setColor(QPalette::HighlightedText, Qt::black);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(role, Qt::black);
        palette.setColor(QPalette::Disabled, role, faded);
    }
    // What is left unset, Qt takes from the desktop's theme, now and whenever that changes.
    for (int role = 0; role < QPalette::NColorRoles; ++role)
        for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled})
            palette.setBrush(group, QPalette::ColorRole(role),
                             palette.brush(group, QPalette::ColorRole(role)));
    return palette;
}

/// To Qt, a window that is a plain widget or scrolls is a filler, where nobody looks for controls.
QAccessibleInterface* windowForReaders(const QString& className, QObject* object) {
    auto* widget = qobject_cast<QWidget*>(object);
    const bool plain = className == QLatin1String("QWidget") ||
                       className == QLatin1String(ScreenFrame::staticMetaObject.className());
    if (!plain || !widget || widget->windowType() != Qt::Window)
        return nullptr;
    return new QAccessibleWidget(widget, QAccessible::Window);
}

} // namespace

QPen focusPen() {
    return {QColor(35, 85, 165), 2};
}

void applyLook(QApplication& application) {
    QAccessible::installFactory(windowForReaders);
    application.setStyle(new LayoutStyle); // the application takes ownership
    application.setPalette(lightPalette());
    application.setLayoutDirection(Qt::LeftToRight); // texts and places are fixed
    QFont font;
    font.setFamilies({QStringLiteral("Arial"), QStringLiteral("Liberation Sans")});
    font.setPixelSize(11); // eight and a quarter points at 96 dots per inch
    application.setFont(font);
}

} // namespace rehome::main_window
