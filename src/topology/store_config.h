#pragma once

#include "topology/keyed_collection.h"

#include <QString>
#include <QStringList>

#include <memory>

namespace rehome::topology {

/// One mailbox store. Filled once by init.
class StoreConfig {
public:
    /// The store's distinguished name.
    const QString& DN() const { return m_dn; }
    /// "Online", "Offline", "Mounting", "Dismounting" for the codes 0 to 3, else empty.
    QString StringStatus() const;
    qint16 Status() const { return m_status; }
    /// MakeStoreFullName of Server, Group and Name.
    QString FullName() const;
    const QString& Server() const { return m_server; }
    const QString& Group() const { return m_group; }
    const QString& Name() const { return m_name; }

    void init(const QString& pDN, qint16 pStatus, const QString& pServer, const QString& pGroup,
              const QString& pName);

private:
    QString m_dn;
    qint16 m_status = 0;
    QString m_server;
    QString m_group;
    QString m_name;
};

/// The organisation's mailbox stores under their distinguished names.
using StoreCatalogue = KeyedCollection<std::shared_ptr<const StoreConfig>>;

/// Returns all store states, in the order in which the batch move offers them.
QStringList storeStates();

/// Returns the state of a mailbox whose store is not in the catalogue.
QString unreachableState();

} // namespace rehome::topology
