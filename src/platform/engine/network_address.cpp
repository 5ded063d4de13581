#include "platform/engine/network_address.h"

namespace rehome::engine {

QString tcpHost(const Entry& server) {
    const QString protocol = QStringLiteral("ncacn_ip_tcp:");
    for (const QByteArray& value : server.values(NetworkAddress)) {
        const QString address = QString::fromUtf8(value);
        if (!address.startsWith(protocol, Qt::CaseInsensitive))
            continue;
        if (const QString host = address.mid(protocol.size()).section(u'[', 0, 0); !host.isEmpty())
            return host;
    }
    return {};
}

} // namespace rehome::engine
