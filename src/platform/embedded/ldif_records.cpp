#include "platform/embedded/ldif_records.h"

#include "platform/error.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace rehome::embedded {

namespace {

/// A line with its continuations, and both its forms: as it stands, and unfolded.
struct Line {
    QByteArray folded;
    QByteArray text;
    int number = 0;

    QByteArray attribute() const { return text.left(text.indexOf(':')).toLower(); }
    QByteArray value() const { return text.mid(text.indexOf(':') + 1).trimmed(); }
};

bool isAttributeName(const QByteArray& name) {
    return !name.isEmpty() && std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
               c == ';' || c == '=';
    });
}

class Splitter {
public:
    explicit Splitter(const QString& source) : m_source(source) {}

    QList<LdifRecord> split(const QByteArray& content) {
        int number = 0;
        for (QByteArray raw : content.split('\n')) {
            ++number;
            if (raw.endsWith('\r'))
                raw.chop(1);
            if (raw.isEmpty()) {
                endBlock();
                m_commented = false;
            } else if (raw.startsWith('#')) {
                m_commented = true;
            } else if (!raw.startsWith(' ')) {
                m_commented = false;
                m_block.append({raw + '\n', raw, number});
            } else if (!m_commented) {
                if (m_block.isEmpty())
                    fail(number, u"a continued line without a line to continue"_s);
                m_block.last().folded += raw + '\n';
                m_block.last().text += raw.mid(1);
            }
        }
        endBlock();
        return m_records;
    }

private:
    [[noreturn]] void fail(int line, const QString& text) const {
        throw Error(u"%1: %2."_s.arg(ldifPlace(m_source, line), text));
    }

    void endBlock() {
        for (const Line& line : m_block)
            checkLine(line);
        // Also further on: a snapshot may be several searches, one after the other.
        if (!m_block.isEmpty() && m_block.constFirst().attribute() == "version")
            m_block.removeFirst();
        if (!m_block.isEmpty()) {
            const QByteArray first = m_block.constFirst().attribute();
            if (first == "dn")
                addRecord();
            else if (first == "search" || first == "result")
                checkResult();
            else if (first != "ref")
                fail(m_block.constFirst().number, u"a record must begin with \"dn:\""_s);
        }
        m_block.clear();
    }

    void checkLine(const Line& line) const {
        if (!line.text.contains(':') || !isAttributeName(line.attribute()))
            fail(line.number,
                 u"expected an attribute's name, a colon and a value, found \"%1\""_s.arg(
                     QString::fromUtf8(line.text.left(60))));
        const QByteArray value = line.value();
        if (value.startsWith('<') && line.text.contains(":<"))
            fail(line.number, u"values kept in other files are not read"_s);
        if (value.startsWith(':') &&
            !QByteArray::fromBase64Encoding(value.mid(1).trimmed(),
                                            QByteArray::AbortOnBase64DecodingErrors))
            fail(line.number,
                 u"the value of %1 is not base64"_s.arg(QString::fromLatin1(line.attribute())));
    }

    void addRecord() {
        LdifRecord record{{}, m_block.constFirst().number};
        for (const Line& line : m_block) {
            if (line.attribute() == "changetype" && line.value() != "add")
                fail(line.number,
                     u"a record that changes or deletes an object; only content is read"_s);
            record.text += line.folded;
        }
        record.text += '\n';
        m_records.append(record);
    }

    /// A search that broke off leaves a file that looks whole; mailboxes would be missing from it.
    void checkResult() const {
        for (const Line& line : m_block) {
            if (line.attribute() == "result" && line.value() != "0" &&
                !line.value().startsWith("0 "))
                fail(line.number, u"the search that wrote this file did not finish (%1); take it "
                                  "again"_s.arg(QString::fromUtf8(line.value())));
        }
    }

    QString m_source;
    QList<Line> m_block;
    bool m_commented = false;
    QList<LdifRecord> m_records;
};

} // namespace

QList<LdifRecord> splitLdif(const QByteArray& content, const QString& source) {
    if (content.startsWith("\xFF\xFE") || content.startsWith("\xFE\xFF"))
        throw Error(
            u"%1 is UTF-16; LDIF is UTF-8. Convert it, or take it with ldapsearch."_s.arg(source));
    const QByteArray mark = "\xEF\xBB\xBF";
    return Splitter(source).split(content.startsWith(mark) ? content.mid(mark.size()) : content);
}

QString ldifPlace(const QString& source, int line) {
    return u"%1, line %2"_s.arg(source, QString::number(line));
}

} // namespace rehome::embedded
