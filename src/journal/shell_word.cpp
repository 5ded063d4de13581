#include "journal/shell_word.h"

#include <QRegularExpression>

namespace rehome::journal {

using namespace Qt::Literals::StringLiterals;

QString shellWord(QString text) {
    static const QRegularExpression plain(u"\\A[-A-Za-z0-9_@%+=:,./]+\\z"_s);
    if (plain.match(text).hasMatch())
        return text;
    return u'\'' + text.replace(u'\'', "'\\''"_L1) + u'\'';
}

} // namespace rehome::journal
