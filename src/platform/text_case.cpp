#include "platform/text_case.h"

namespace rehome::platform {

QString upperCase(const QString& text) {
    QString capitals = text;
    for (QChar& unit : capitals)
        unit = unit.toUpper();
    return capitals;
}

} // namespace rehome::platform
