#pragma once

#include <QGroupBox>

namespace rehome::main_window {

/// A frame whose title stands in its upper edge, so that its contents may begin right below.
class TitledFrame final : public QGroupBox {
    Q_OBJECT

public:
    using QGroupBox::QGroupBox;

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace rehome::main_window
