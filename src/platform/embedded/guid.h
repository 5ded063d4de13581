#pragma once

#include <QByteArray>
#include <QString>

class QUuid;

namespace rehome::embedded {

/// The 16 bytes of a GUID as a directory keeps them in objectGUID: the first three groups least
/// significant byte first ([MS-DTYP] 2.3.4.2).
QByteArray guidBytes(const QUuid& guid);

/// The GUID of a base "<GUID=…>", 36 hexadecimal digits and hyphens. Throws Error where it is
/// anything else.
QByteArray guidOfBase(const QString& base);

} // namespace rehome::embedded
