#pragma once

#include "platform/engine/engine.h"

namespace rehome::engine {

/// The attribute that holds a server's network addresses.
inline const QString NetworkAddress = QStringLiteral("networkAddress");

/// Returns the host of a server's first TCP address ("ncacn_ip_tcp:HOST", with or without a port in
/// brackets); empty if it has none.
QString tcpHost(const Entry& server);

} // namespace rehome::engine
