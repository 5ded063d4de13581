#include "platform/engine/escape.h"

namespace rehome::engine {

namespace {

/// The position of the comma that ends the component beginning at `from`, or the text's length.
qsizetype componentEnd(const QString& name, qsizetype from) {
    bool quoted = false;
    for (qsizetype i = from; i < name.size(); ++i) {
        const QChar c = name.at(i);
        if (c == u'\\')
            ++i;
        else if (c == u'"')
            quoted = !quoted;
        else if (c == u',' && !quoted)
            return i;
    }
    return name.size();
}

} // namespace

QString filterValue(const QString& text) {
    QString escaped;
    for (const QChar c : text) {
        if (c == u'(' || c == u')' || c == u'*' || c == u'\\' || c.unicode() == 0)
            escaped += QStringLiteral("\\%1").arg(c.unicode(), 2, 16, QLatin1Char('0'));
        else
            escaped += c;
    }
    return escaped;
}

QString parentName(const QString& distinguishedName, int levels) {
    qsizetype from = 0;
    for (; levels > 0 && from < distinguishedName.size(); --levels)
        from = componentEnd(distinguishedName, from) + 1;
    return distinguishedName.mid(from);
}

QString firstValue(const QString& distinguishedName) {
    const QString component = distinguishedName.left(componentEnd(distinguishedName, 0));
    const QByteArray raw = component.mid(component.indexOf(u'=') + 1).toUtf8();
    QByteArray value;
    for (qsizetype i = 0; i < raw.size(); ++i) {
        if (raw.at(i) != '\\' || i + 1 == raw.size()) {
            value += raw.at(i);
            continue;
        }
        const QByteArray pair = raw.mid(i + 1, 2);
        bool hexadecimal = false;
        const int code = pair.size() == 2 ? pair.toInt(&hexadecimal, 16) : 0;
        if (hexadecimal) {
            value += static_cast<char>(code);
            i += 2;
        } else {
            value += raw.at(++i);
        }
    }
    return QString::fromUtf8(value);
}

} // namespace rehome::engine
