#pragma once

#include "platform/platform.h"
#include "topology/store_config.h"

#include <functional>

namespace rehome::topology {

/// Enumerates the mailbox stores of one server after the other.
class StoreEnumeration {
public:
    /// Takes the full name of a store of the local server, a possible destination.
    using LocalStoreSink = std::function<void(const QString& fullName)>;

    /// What it is given must outlive it.
    explicit StoreEnumeration(const platform::Platform& platform)
        : m_directory(platform.Directory), m_exchange(platform.Exchange),
          m_journal(platform.Journal) {}

    /// Adds every store of the server to `StoreList` under its distinguished name, and hands those
    /// of the local server (names compared exactly) to `addLocalStore`. Recovery storage groups are
    /// passed over. Any failure ends it at once and silently, but for the journal; what was added
    /// until then stays.
    void GetServerStores(const QString& serverName, const QString& localServerName,
                         const KeyedCollection<QString>& ServerDNs, StoreCatalogue& StoreList,
                         const LocalStoreSink& addLocalStore);

private:
    void enumerate(const QString& serverName, const QString& localServerName,
                   const KeyedCollection<QString>& ServerDNs, StoreCatalogue& StoreList,
                   const LocalStoreSink& addLocalStore);
    /// See isRecoveryBaseName.
    bool IsRecoveryStorageGroup(const QString& storageGroupDN);

    adsi::DirectoryServices& m_directory;
    exchange::ExchangeManagement& m_exchange;
    platform::Journal& m_journal;
    // Held until the next call replaces them.
    std::unique_ptr<exchange::ExchangeServer> m_server;
    std::unique_ptr<exchange::StorageGroup> m_storageGroup;
};

} // namespace rehome::topology
