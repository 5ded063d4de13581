#include "topology/text_case.h"

namespace rehome::topology {

QString upperCase(const QString& text) {
    QString capitals = text;
    for (QChar& unit : capitals)
        unit = unit.toUpper();
    return capitals;
}

} // namespace rehome::topology
