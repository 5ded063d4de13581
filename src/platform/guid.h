#pragma once

#include <QByteArray>
#include <QUuid>

namespace rehome::platform {

/// A GUID from the 16 bytes of an attribute such as `objectGUID`: the first three groups are stored
/// least significant byte first ([MS-DTYP] 2.3.4.2). Null for any other number of bytes.
QUuid guidFromOctets(const QByteArray& octets);

/// The other way round.
QByteArray octetsFromGuid(const QUuid& guid);

} // namespace rehome::platform
