#include "journal/recovery_file.h"

#include "journal/recovery_ldif.h"
#include "platform/error.h"
#include "platform/guid.h"

#include <QFile>

#include <lber.h>
#include <ldif.h>

#include <memory>
#include <optional>
#include <utility>

namespace rehome::journal {

using namespace Qt::Literals::StringLiterals;

namespace {

struct LibraryFree {
    void operator()(char* text) const { ber_memfree(text); }
};

struct Line {
    QByteArray name, value;
};

/// None if it is no line of LDIF.
std::optional<Line> parsed(QByteArray text) {
    // libldap would fetch what a URL names, and ends at a NUL.
    const qsizetype colon = text.indexOf(':');
    if (colon < 1 || text.contains('\0') || text.mid(colon + 1, 1) == "<")
        return std::nullopt;
    berval name{}, value{};
    int allocated = 0;
    if (ldif_parse_line2(text.data(), &name, &value, &allocated) != 0)
        return std::nullopt;
    const std::unique_ptr<char, LibraryFree> owned(allocated ? value.bv_val : nullptr);
    return Line{QByteArray(name.bv_val, qsizetype(name.bv_len)),
                QByteArray(value.bv_val, qsizetype(value.bv_len))};
}

bool isNamed(const QByteArray& name, const char* expected) {
    return qstricmp(name.constData(), expected) == 0;
}

/// Returns the 16 bytes of "<GUID=…>", empty for any other name.
QByteArray guidOfName(const QString& name) {
    const bool isGuid = name.startsWith("<GUID="_L1, Qt::CaseInsensitive) && name.endsWith(u'>');
    return isGuid ? guidOctets(name.sliced(6).chopped(1)) : QByteArray();
}

class Reader {
public:
    /// A line with its continuations.
    void take(const QByteArray& text, int number);
    RecoveryFile finish();

private:
    void begin(const QByteArray& text, int number);
    void takeOfRecord(const QByteArray& text, int number);
    void takeComment(const QByteArray& text, int number);
    void endRecord();
    void fail(int number, const QString& reason);

    RecoveryFile m_file;
    std::optional<FiledRecord> m_record; ///< the one that is being read
    bool m_typed = false;                ///< its changetype was read
    bool m_replaces = false;             ///< its last attribute may have further values
    bool m_isLater = false;              ///< the next commented "dn:" is that of a later change
};

void Reader::take(const QByteArray& text, int number) {
    if (text.startsWith('#'))
        takeComment(text, number);
    else if (text.isEmpty())
        endRecord();
    else if (text.left(3).toLower() == "dn:")
        begin(text, number); // what a library left of a line can stand right above it
    else if (m_record)
        takeOfRecord(text, number);
    else if (text.startsWith("changetype:") || text.startsWith("replace:")) {
        m_record = FiledRecord{number, {}, {}};
        fail(number, u"the line with \"dn:\" is missing above"_s);
    }
}

void Reader::takeComment(const QByteArray& text, int number) {
    if (text == LaterRecord)
        m_isLater = true;
    else if (m_isLater && text.startsWith("# dn:")) {
        m_isLater = false;
        const auto line = parsed(text.sliced(2));
        m_file.LaterChanges.append(
            {number, line ? guidOfName(QString::fromUtf8(line->value)) : ""});
    } else if (const auto line = parsedLogLine(QString::fromUtf8(text)))
        m_file.Lines.append({number, *line});
}

void Reader::begin(const QByteArray& text, int number) {
    endRecord();
    m_record = FiledRecord{number, {}, {}};
    const auto line = parsed(text);
    if (!line || line->value.isEmpty())
        return fail(number, u"the name of the object cannot be read"_s);
    const QString name = QString::fromUtf8(line->value);
    m_record->Record.DistinguishedName = name;
    if (!name.startsWith("<GUID="_L1, Qt::CaseInsensitive))
        return;
    m_record->Record.Guid = guidOfName(name);
    if (m_record->Record.Guid.isEmpty())
        fail(number, u"\"%1\" is no GUID"_s.arg(name));
}

void Reader::takeOfRecord(const QByteArray& text, int number) {
    auto& attributes = m_record->Record.Attributes;
    if (text == "!")
        m_record->Half = true;
    if (text == "-" && m_replaces) {
        m_replaces = false;
        return;
    }
    const auto line = parsed(text);
    if (!line)
        return fail(number, u"this is no LDIF"_s);
    if (!m_typed) {
        m_typed = true;
        if (!isNamed(line->name, "changetype") || line->value != "modify")
            fail(number, u"\"changetype: modify\" is expected here"_s);
    } else if (!m_replaces) {
        m_replaces = true;
        if (!isNamed(line->name, "replace"))
            return fail(number, u"\"replace:\" is expected here"_s);
        attributes.append({QString::fromUtf8(line->value), {}});
    } else if (attributes.isEmpty() || !isNamed(line->name, attributes.last().Name.toUtf8())) {
        fail(number, u"a value of another attribute than the one that is replaced"_s);
    } else {
        attributes.last().Values.append(line->value);
    }
}

void Reader::fail(int number, const QString& reason) {
    if (m_record->Fault.isEmpty())
        m_record->Fault = u"line %1: %2"_s.arg(number).arg(reason);
}

void Reader::endRecord() {
    if (m_record) {
        if (m_replaces || m_record->Record.Attributes.isEmpty())
            fail(m_record->Line, u"the record that begins here is not whole"_s);
        m_file.Records.append(*std::exchange(m_record, std::nullopt));
    }
    m_typed = m_replaces = false;
}

RecoveryFile Reader::finish() {
    endRecord();
    return std::move(m_file);
}

} // namespace

RecoveryFile readRecoveryText(const QByteArray& text) {
    Reader reader;
    QByteArray line; // with its continuations
    int first = 0, number = 0;
    for (QByteArray physical : text.split('\n')) {
        ++number;
        if (physical.endsWith('\r'))
            physical.chop(1);
        if (physical.startsWith(' ') && !line.isEmpty()) {
            line += physical.sliced(1);
            continue;
        }
        if (first > 0)
            reader.take(line, first);
        line = physical;
        first = number;
    }
    reader.take(line, first);
    return reader.finish();
}

RecoveryFile readRecoveryFile(const QString& path) {
    QFile file(path);
    const bool opened = file.open(QFile::ReadOnly);
    const QByteArray text = opened ? file.readAll() : QByteArray();
    if (file.error() != QFile::NoError)
        throw Error(u"\"%1\" cannot be read: %2."_s.arg(path, file.errorString()));
    return readRecoveryText(text);
}

QByteArray guidOctets(const QString& text) {
    const QByteArray latin = text.toLatin1();
    const QByteArray octets = QByteArray::fromHex(latin);
    if (octets.size() == 16 && octets.toHex() == latin.toLower())
        return octets;
    const QUuid guid = QUuid::fromString(text);
    const bool isGuid = guid.toByteArray(QUuid::WithoutBraces) == latin.toLower();
    return isGuid ? platform::octetsFromGuid(guid) : QByteArray();
}

} // namespace rehome::journal
