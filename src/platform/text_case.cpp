#include "platform/text_case.h"

#include <algorithm>

namespace rehome::platform {

QString upperCase(const QString& text) {
    QString capitals = text;
    for (QChar& unit : capitals)
        unit = unit.toUpper();
    return capitals;
}

bool areSameInCapitals(const QString& a, const QString& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](QChar x, QChar y) { return x == y || x.toUpper() == y.toUpper(); });
}

} // namespace rehome::platform
