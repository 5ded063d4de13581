#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <deque>
#include <optional>
#include <vector>

namespace rehome::embedded {

/// One attribute's name with one value of it, base64 decoded.
struct LdifValue {
    QByteArrayView attribute; ///< valid until the reader's next record
    QByteArray value;         ///< not empty
    int line = 0;             ///< from 1
};

/// One content record (RFC 2849).
struct LdifRecord {
    QByteArray name; ///< of "dn:", empty for the root object
    int line = 0;    ///< of "dn:"
    std::vector<LdifValue> values;
};

/// Reads the content records of an LDIF file in their order. Takes what ldapsearch writes:
/// comments, "version:", search references and the result of the search are passed over; lines may
/// end in CR LF. Throws Error with the line where something is neither, is not UTF-8, lacks a
/// value, is only a range of an attribute's values, where a record changes or deletes, refers to
/// another file, or where the file says that its search broke off.
class LdifReader {
public:
    /// `source` names the file in messages; `content` must outlive the reader.
    LdifReader(const QByteArray& content, const QString& source);

    /// None at the end.
    std::optional<LdifRecord> next();

    /// Throws Error: "organisation.ldif, line 7: TEXT."
    [[noreturn]] void fail(int line, const QString& text) const;

private:
    QByteArrayView takeLine();
    bool isContinued() const;
    void takeBlock();
    void takeValue(QByteArrayView text, int line);
    LdifRecord recordOfBlock();
    void checkResult() const;

    QString m_source;
    QByteArrayView m_rest;
    int m_line = 0;                    ///< of the line taken last
    std::vector<LdifValue> m_block;    ///< up to an empty line
    std::deque<QByteArray> m_unfolded; ///< lines of the block that were folded
};

} // namespace rehome::embedded
