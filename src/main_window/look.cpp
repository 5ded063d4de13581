#include "main_window/look.h"

#include <QApplication>
#include <QFont>
#include <QProxyStyle>

namespace rehome::main_window {

namespace {

/// Fusion, with option buttons no wider than the layout leaves room for.
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
};

} // namespace

void applyLook(QApplication& application) {
    application.setStyle(new LayoutStyle); // the application takes ownership
    QFont font;
    font.setFamilies({QStringLiteral("Arial"), QStringLiteral("Liberation Sans")});
    font.setPixelSize(11); // eight and a quarter points at 96 dots per inch
    application.setFont(font);
}

} // namespace rehome::main_window
