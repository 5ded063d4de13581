#include "platform/shown_text.h"
namespace rehome::platform {
QString shownText(const QString& name) {
    QString shown = name;
    for (QChar& unit : shown)
        if (unit.category() == QChar::Other_Control || unit.category() == QChar::Other_Format || unit.category() == QChar::Separator_Line || unit.category() == QChar::Separator_Paragraph)
            unit = u'\uFFFD';
    return shown;
}
}
