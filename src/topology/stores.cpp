#include "topology/stores.h"

#include "topology/names.h"

namespace rehome::topology {

void StoreEnumeration::GetServerStores(const QString& serverName, const QString& localServerName,
                                       const KeyedCollection<QString>& ServerDNs,
                                       StoreCatalogue& StoreList,
                                       const LocalStoreSink& addLocalStore) {
    try {
        enumerate(serverName, localServerName, ServerDNs, StoreList, addLocalStore);
    } catch (const std::exception& error) {
        // A server that does not respond is expected here: its mailboxes show as Unreachable.
        m_journal.Tell(
            platform::Event::Remark,
            QStringLiteral("stores of %1 left out: %2").arg(serverName, describe(error)));
    }
}

void StoreEnumeration::enumerate(const QString& serverName, const QString& localServerName,
                                 const KeyedCollection<QString>& ServerDNs,
                                 StoreCatalogue& StoreList, const LocalStoreSink& addLocalStore) {
    m_server = m_exchange.CreateExchangeServer();
    m_storageGroup = m_exchange.CreateStorageGroup();
    std::unique_ptr<exchange::MailboxStoreDB> mailboxStore;

    m_server->DataSource().Open(ServerDNs.at(serverName));
    for (const QString& storageGroupDN : m_server->StorageGroups()) {
        if (IsRecoveryStorageGroup(storageGroupDN))
            continue;
        m_storageGroup->DataSource().Open(storageGroupDN);
        for (const QString& storeDN : m_storageGroup->MailboxStoreDBs()) {
            if (!mailboxStore)
                mailboxStore = m_exchange.CreateMailboxStoreDB();
            mailboxStore->DataSource().Open(storeDN);
            const QString dn =
                platform::toText(mailboxStore->Fields(QStringLiteral("distinguishedName")));
            const qint16 status = mailboxStore->Status();
            const QString group = m_storageGroup->Name();
            auto store = std::make_shared<StoreConfig>();
            store->init(dn, status, serverName, group, mailboxStore->Name());
            StoreList.Add(store, dn);
            const QString fullName = store->FullName();
            if (localServerName == serverName)
                addLocalStore(fullName);
        }
    }
}

bool StoreEnumeration::IsRecoveryStorageGroup(const QString& storageGroupDN) {
    const QString baseName = QStringLiteral("msExchESEParamBaseName");
    const auto group = m_directory.BindObject(QStringLiteral("LDAP://") + storageGroupDN);
    group->GetInfoEx({baseName}, 0);
    try {
        return isRecoveryBaseName(group->GetEx(baseName).constFirst());
    } catch (const std::exception&) {
        return false;
    }
}

} // namespace rehome::topology
