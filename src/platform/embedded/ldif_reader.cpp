#include "platform/embedded/ldif_reader.h"

#include "platform/error.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace rehome::embedded {

namespace {

bool isAttributeName(QByteArrayView name) {
    return !name.isEmpty() && std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '.' || c == ';' || c == '=';
    });
}

bool is(const LdifValue& value, QByteArrayView attribute) {
    return value.attribute.compare(attribute, Qt::CaseInsensitive) == 0;
}

} // namespace

LdifReader::LdifReader(const QByteArray& content, const QString& source)
    : m_source(source), m_rest(content) {
    if (content.startsWith("\xFF\xFE") || content.startsWith("\xFE\xFF"))
        throw Error(
            u"%1 is UTF-16; LDIF is UTF-8. Convert it, or take it with ldapsearch."_s.arg(source));
    if (const QByteArrayView mark = "\xEF\xBB\xBF"; m_rest.startsWith(mark))
        m_rest = m_rest.sliced(mark.size());
}

void LdifReader::fail(int line, const QString& text) const {
    throw Error(u"%1, line %2: %3."_s.arg(m_source, QString::number(line), text));
}

std::optional<LdifRecord> LdifReader::next() {
    while (!m_rest.isEmpty()) {
        takeBlock();
        // Also further on: a snapshot may be several searches, one after the other.
        if (!m_block.empty() && is(m_block.front(), "version"))
            m_block.erase(m_block.begin());
        if (m_block.empty() || is(m_block.front(), "ref"))
            continue;
        if (is(m_block.front(), "dn"))
            return recordOfBlock();
        if (!is(m_block.front(), "search") && !is(m_block.front(), "result"))
            fail(m_block.front().line, u"a record must begin with \"dn:\""_s);
        checkResult();
    }
    return std::nullopt;
}

QByteArrayView LdifReader::takeLine() {
    ++m_line;
    const qsizetype end = m_rest.indexOf('\n');
    QByteArrayView line = end < 0 ? m_rest : m_rest.first(end);
    m_rest = end < 0 ? QByteArrayView() : m_rest.sliced(end + 1);
    if (line.endsWith('\r'))
        line.chop(1);
    return line;
}

bool LdifReader::isContinued() const {
    return m_rest.startsWith(' ');
}

void LdifReader::takeBlock() {
    m_block.clear();
    m_unfolded.clear();
    while (!m_rest.isEmpty()) {
        QByteArrayView text = takeLine();
        const int line = m_line;
        if (text.isEmpty())
            return;
        if (text.startsWith(' '))
            fail(line, u"a continued line without a line to continue"_s);
        if (isContinued()) {
            QByteArray unfolded = text.toByteArray();
            while (isContinued())
                unfolded += takeLine().sliced(1);
            text = m_unfolded.emplace_back(std::move(unfolded));
        }
        if (!text.startsWith('#'))
            takeValue(text, line);
    }
}

void LdifReader::takeValue(QByteArrayView text, int line) {
    const qsizetype colon = text.indexOf(':');
    const QByteArrayView attribute = text.first(qMax(colon, 0));
    if (!isAttributeName(attribute))
        fail(line, u"expected an attribute's name, a colon and a value, found \"%1\""_s.arg(
                       QString::fromUtf8(text.first(qMin(text.size(), 60)))));
    if (!text.isValidUtf8())
        fail(line, u"the value of %1 is not UTF-8; convert the file, or take it with "
                   "ldapsearch"_s.arg(QString::fromLatin1(attribute)));
    QByteArrayView value = text.sliced(colon + 1);
    if (value.startsWith('<'))
        fail(line, u"values kept in other files are not read"_s);
    const bool encoded = value.startsWith(':');
    if (encoded)
        value = value.sliced(1);
    while (value.startsWith(' ') || value.startsWith('\t'))
        value = value.sliced(1);
    LdifValue taken{attribute, value.toByteArray(), line};
    if (encoded) {
        const auto decoded = QByteArray::fromBase64Encoding(
            taken.value.trimmed(), QByteArray::AbortOnBase64DecodingErrors);
        if (!decoded)
            fail(line, u"the value of %1 is not base64"_s.arg(QString::fromLatin1(attribute)));
        taken.value = *decoded;
    }
    m_block.push_back(std::move(taken));
}

LdifRecord LdifReader::recordOfBlock() {
    LdifRecord record{m_block.front().value, m_block.front().line, {}};
    m_block.erase(m_block.begin());
    for (const LdifValue& value : m_block) {
        if (value.value.isEmpty())
            fail(value.line, u"%1 has no value"_s.arg(QString::fromLatin1(value.attribute)));
        if (value.attribute.contains(';') &&
            value.attribute.toByteArray().toLower().contains(";range="))
            fail(value.line,
                 u"%1 is only a part of the values; take the file with all of them"_s.arg(
                     QString::fromLatin1(value.attribute)));
        if (is(value, "changetype") && value.value != "add")
            fail(value.line, u"a record that changes or deletes an object; only content is read"_s);
    }
    std::erase_if(m_block, [](const LdifValue& value) { return is(value, "changetype"); });
    record.values = std::move(m_block);
    return record;
}

/// A search that broke off leaves a file that looks whole; mailboxes would be missing from it.
void LdifReader::checkResult() const {
    for (const LdifValue& value : m_block) {
        if (is(value, "result") && value.value != "0" && !value.value.startsWith("0 "))
            fail(value.line,
                 u"the search that wrote this file did not finish (%1); take it again"_s.arg(
                     QString::fromUtf8(value.value)));
    }
}

} // namespace rehome::embedded
