#pragma once

#include <QByteArray>
#include <QString>

namespace rehome::embedded {

/// The `objectGUID` value that a base "<GUID=…>" names, 36 hexadecimal digits and hyphens. Throws
/// Error where it is anything else.
QByteArray guidOfBase(const QString& base);

} // namespace rehome::embedded
