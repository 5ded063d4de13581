#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>

namespace rehome::http {

/// What is looked for in a multistatus (RFC 4918 section 14.16).
struct Question {
    QString nameSpace;
    QStringList names; ///< of properties, one of which is enough
    /// Whether the resource that was asked for has that name, the last part of a path.
    std::function<bool(const QString& name)> isOwn;
};

struct Property {
    int status = 0; ///< an HTTP status; 0 where the answer holds none of the properties
    QString text;   ///< without blanks around; empty unless the status is 200
};

/// Reads the first property that has a text, or the status that stands for the properties or for
/// the whole resource. Throws Error, whose description tells what is wrong with the answer, if it
/// is no multistatus, not well-formed, about other resources only, has a document type, or holds
/// elements in the property.
Property readProperty(const QByteArray& answer, const Question& question);

} // namespace rehome::http
