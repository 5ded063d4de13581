#pragma once

#include "platform/exchange/destinations.h"
#include "platform/exchange/directory_watch.h"
#include "platform/exchange/person.h"
#include "platform/exchange/server_objects.h"
#include "platform/exchange/topology_snapshot.h"
#include "platform/exchange/user_changes.h"
#include "platform/exchange/user_mailbox_store.h"

namespace rehome::exchange {

/// Makes the Exchange management objects, and owns the layers over the engine that they and all
/// bindings go through: the topology's snapshot, the watch and the changes of users.
class ExchangeManagement {
public:
    /// All must outlive it, and it must outlive the objects that it makes.
    ExchangeManagement(engine::Engine& engine, engine::ExchangeProbe& probe,
                       engine::MailboxOpener& opener, platform::Journal& journal)
        : m_probe(probe), m_opener(opener), m_topology(engine, probe), m_watch(m_topology, journal),
          m_changes(m_watch, journal, m_destinations), m_directory(m_changes) {}
    ExchangeManagement(const ExchangeManagement&) = delete;
    ExchangeManagement& operator=(const ExchangeManagement&) = delete;

    adsi::DirectoryServices& Directory() { return m_directory; }
    UserChanges& Changes() { return m_changes; }
    /// To be called before the first server of a refresh is opened. Forgets what is known of
    /// stores, and which domain controllers did not respond.
    void BeginEnumeration() noexcept;
    /// Returns the domain controller that sent the list of mailboxes; empty if it has no name.
    const QString& ListedAt() const { return m_watch.listedAt(); }
    std::unique_ptr<ExchangeServer> CreateExchangeServer();
    std::unique_ptr<StorageGroup> CreateStorageGroup();
    std::unique_ptr<MailboxStoreDB> CreateMailboxStoreDB();
    std::unique_ptr<Person> CreatePerson();
    /// To be called before each round of attempts, in which each mailbox is tried at most once. The
    /// persons of a round share connections, time and what they have read of servers and stores.
    void BeginRound() noexcept;
    /// Returns the mailbox interface of the user that was bound last, which must outlive it.
    std::unique_ptr<IMailboxStore> MailboxStoreOf(adsi::IADsUser& user);

private:
    engine::ExchangeProbe& m_probe;
    engine::MailboxOpener& m_opener;
    // Each uses those before it.
    TopologySnapshot m_topology;
    DirectoryWatch m_watch;
    Destinations m_destinations;
    UserChanges m_changes;
    adsi::DirectoryServices m_directory;
    Round m_round;
};

} // namespace rehome::exchange
