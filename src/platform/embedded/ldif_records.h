#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

namespace rehome::embedded {

/// One content record of an LDIF file (RFC 2849): "dn:" and the attributes, comments taken out,
/// lines still folded and ended by a line feed.
struct LdifRecord {
    QByteArray text;
    int line = 0; ///< of its "dn:", from 1
};

/// The content records of an LDIF file in their order. Takes what ldapsearch writes: comments,
/// "version:", search references and the result of the search are passed over; lines may end in
/// CR LF. `source` names the file in messages. Throws Error with the line where something is
/// neither, where a record changes or deletes, refers to another file, or where the file says that
/// its search broke off.
QList<LdifRecord> splitLdif(const QByteArray& content, const QString& source);

/// "organisation.ldif, line 7"
QString ldifPlace(const QString& source, int line);

} // namespace rehome::embedded
