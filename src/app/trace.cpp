#include "app/trace.h"

#include <QTime>

namespace rehome::app {

using namespace Qt::Literals::StringLiterals;

void Trace::finds(int call, const QString& distinguishedName) {
    write(call, u"found "_s + distinguishedName);
}

void Trace::ends(int call, const QString& how) noexcept {
    write(call, how);
}

void Trace::write(int call, QString text) {
    // Names come from a directory that others write to, and must not make lines of their own.
    for (QChar& unit : text)
        if (unit.category() == QChar::Other_Control)
            unit = u'\uFFFD';
    m_journal.Write(u"trace %1 #%2 %3"_s.arg(QTime::currentTime().toString(u"HH:mm:ss.zzz"_s))
                        .arg(call)
                        .arg(text));
}

} // namespace rehome::app
