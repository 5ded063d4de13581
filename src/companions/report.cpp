#include "companions/report.h"

#include "companions/console.h"

namespace rehome::companions {

using namespace Qt::Literals::StringLiterals;

QString spelt(const QString& text) {
    QString shown;
    for (const char32_t point : text.toUcs4()) {
        const QChar::Category category = QChar::category(point);
        const bool hides =
            (category >= QChar::Separator_Space && category <= QChar::Other_NotAssigned);
        if (hides && point != U' ')
            shown += u"<U+%1>"_s.arg(QString::number(point, 16).toUpper(), 4, u'0');
        else
            shown += QChar::fromUcs4(point);
    }
    return shown;
}

void Report::remark(const QStringList& lines) {
    for (const QString& text : lines)
        for (const QString& line : text.split(u'\n'))
            print(stdout, u"# "_s + spelt(line) + u'\n');
}

void Report::finding(const QStringList& lines) {
    ++m_findings;
    remark(lines);
}

void Report::blank() {
    print(stdout, u"\n"_s);
}

void Report::remedy(const engine::Entry& object, const QString& change, const QString& attribute,
                    const QStringList& hints, const QString& placeholder) {
    m_hasRemedies = true;
    print(stdout, ldifLine(u"dn"_s, object.distinguishedName.toUtf8()) +
                      u"changetype: modify\n%1: %2\n"_s.arg(change, attribute));
    remark(hints);
    print(stdout, attribute + u" ???"_s + placeholder + u"\n-\n\n"_s);
}

void Report::rename(const engine::Entry& object) {
    m_hasRemedies = true;
    print(stdout, ldifLine(u"dn"_s, object.distinguishedName.toUtf8()) +
                      u"changetype: modrdn\nnewrdn ???\ndeleteoldrdn: 1\n\n"_s);
}

} // namespace rehome::companions
