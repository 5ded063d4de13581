#include "topology/store_config.h"

#include "topology/names.h"

namespace rehome::topology {

QString StoreConfig::StringStatus() const {
    switch (m_status) {
    case 0:
        return QStringLiteral("Online");
    case 1:
        return QStringLiteral("Offline");
    case 2:
        return QStringLiteral("Mounting");
    case 3:
        return QStringLiteral("Dismounting");
    default:
        return QString();
    }
}

QString StoreConfig::FullName() const {
    return MakeStoreFullName(m_server, m_group, m_name);
}

void StoreConfig::init(const QString& pDN, qint16 pStatus, const QString& pServer,
                       const QString& pGroup, const QString& pName) {
    m_dn = pDN;
    m_status = pStatus;
    m_server = pServer;
    m_group = pGroup;
    m_name = pName;
}

QString unreachableState() {
    return QStringLiteral("Unreachable");
}

QStringList storeStates() {
    return {QStringLiteral("Offline"), QStringLiteral("Online"), QStringLiteral("Dismounting"),
            QStringLiteral("Mounting"), unreachableState()};
}

} // namespace rehome::topology
