#pragma once

#include "platform/exchange/destinations.h"
#include "platform/exchange/directory_watch.h"
#include "platform/exchange/person.h"
#include "platform/exchange/server_objects.h"
#include "platform/exchange/topology_snapshot.h"
#include "platform/exchange/user_changes.h"
#include "platform/exchange/user_mailbox_store.h"

namespace rehome::exchange {

/// Makes the Exchange management objects over a directory, a probe and an opener. What they are
/// given must outlive them.
class ExchangeManagement {
public:
    ExchangeManagement(adsi::DirectoryServices& directory, engine::ExchangeProbe& probe,
                       engine::MailboxOpener& opener, TopologySnapshot& topology,
                       DirectoryWatch& watch, UserChanges& changes, Destinations& destinations)
        : m_directory(directory), m_probe(probe), m_opener(opener), m_topology(topology),
          m_watch(watch), m_changes(changes), m_destinations(destinations) {}

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
    adsi::DirectoryServices& m_directory;
    engine::ExchangeProbe& m_probe;
    engine::MailboxOpener& m_opener;
    TopologySnapshot& m_topology;
    DirectoryWatch& m_watch;
    UserChanges& m_changes;
    Destinations& m_destinations;
    Round m_round;
};

} // namespace rehome::exchange
