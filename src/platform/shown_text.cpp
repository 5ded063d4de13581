#include "platform/shown_text.h"

#include <QChar>
#include <QList>

#include <algorithm>

namespace rehome::platform {

namespace {

bool misleads(char32_t point) {
    switch (QChar::category(point)) {
    case QChar::Other_Control:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    case QChar::Other_Format:
        return point != U'\u200C' && point != U'\u200D';
    default:
        return false;
    }
}

template <class Exempt>
QString replaced(const QString& text, Exempt&& exempt) {
    if (std::all_of(text.begin(), text.end(), [](QChar c) { return c >= u' ' && c <= u'~'; }))
        return text;
    QString shown;
    shown.reserve(text.size());
    // An unpaired surrogate is U+FFFD in this form already.
    for (const char32_t point : text.toUcs4()) {
        const bool stays = exempt(point) || !misleads(point);
        shown += QChar::fromUcs4(stays ? point : U'\uFFFD');
    }
    return shown;
}

} // namespace

QString shownText(const QString& name) {
    return replaced(name, [](char32_t) { return false; });
}

QString shownMessage(const QString& text) {
    return replaced(text, [](char32_t point) { return point == U'\n' || point == U'\t'; });
}

QString remoteText(const QString& said) {
    constexpr qsizetype MaxLength = 2'000;
    return said.size() <= MaxLength ? said : said.left(MaxLength - 1) + u'…';
}

} // namespace rehome::platform
