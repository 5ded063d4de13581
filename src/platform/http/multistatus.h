#pragma once

#include <QByteArray>
#include <QString>

namespace rehome::http {

/// One property of a multistatus (RFC 4918 section 14.16).
struct Property {
    int status = 0; ///< an HTTP status; 0 where the answer does not hold the property
    QString text;   ///< without blanks around; empty unless the status is 200
};

/// Reads a property, or the status that stands for the whole resource. Throws Error, whose
/// description tells what is wrong with the answer, where that is no multistatus, not well-formed,
/// has a document type, or holds elements in the property.
Property readProperty(const QByteArray& answer, const QString& nameSpace, const QString& name);

} // namespace rehome::http
