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
    /// Said before the first server of a refresh is opened: what was learnt of stores, and of
    /// domain controllers that did not respond, is learnt anew.
    void BeginEnumeration() noexcept;
    /// The domain controller that the list of mailboxes came from.
    const QString& ListedAt() const { return m_watch.listedAt(); }
    std::unique_ptr<ExchangeServer> CreateExchangeServer();
    std::unique_ptr<StorageGroup> CreateStorageGroup();
    std::unique_ptr<MailboxStoreDB> CreateMailboxStoreDB();
    std::unique_ptr<Person> CreatePerson();
    /// Said before each round of attempts, of which no mailbox gets two: the persons of one round
    /// share connections, time and what they have learnt of servers and stores.
    void BeginRound() noexcept;
    /// The mailbox interface of a bound user; `user` must outlive it.
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
