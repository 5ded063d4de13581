#include "platform/guid.h"

#include <QtEndian>

#include <algorithm>

namespace rehome::platform {

QUuid guidFromOctets(const QByteArray& octets) {
    if (octets.size() != 16)
        return {};
    const char* at = octets.constData();
    QUuid guid;
    guid.data1 = qFromLittleEndian<quint32>(at);
    guid.data2 = qFromLittleEndian<quint16>(at + 4);
    guid.data3 = qFromLittleEndian<quint16>(at + 6);
    std::copy_n(at + 8, 8, guid.data4);
    return guid;
}

QByteArray octetsFromGuid(const QUuid& guid) {
    QByteArray octets(16, Qt::Uninitialized);
    char* at = octets.data();
    qToLittleEndian(guid.data1, at);
    qToLittleEndian(guid.data2, at + 4);
    qToLittleEndian(guid.data3, at + 6);
    std::copy_n(guid.data4, 8, at + 8);
    return octets;
}

} // namespace rehome::platform
