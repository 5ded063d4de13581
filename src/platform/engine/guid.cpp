#include "platform/engine/guid.h"

#include <algorithm>

namespace rehome::engine {

namespace {

/// Between the stored order and that of RFC 4122; its own inverse.
QByteArray swapped(QByteArray octets) {
    std::reverse(octets.begin(), octets.begin() + 4);
    std::reverse(octets.begin() + 4, octets.begin() + 6);
    std::reverse(octets.begin() + 6, octets.begin() + 8);
    return octets;
}

} // namespace

QUuid guidFromOctets(const QByteArray& octets) {
    return octets.size() == 16 ? QUuid::fromRfc4122(swapped(octets)) : QUuid();
}

QByteArray octetsFromGuid(const QUuid& guid) {
    return swapped(guid.toRfc4122());
}

} // namespace rehome::engine
