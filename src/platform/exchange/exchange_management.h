#pragma once

#include "platform/exchange/destinations.h"
#include "platform/exchange/person_interfaces.h"
#include "platform/exchange/server_objects.h"
#include "platform/exchange/user_mailbox_store.h"

namespace rehome::exchange {

/// Makes the Exchange management objects over a directory and a probe. What they are given must
/// outlive them.
class ExchangeManagement {
public:
    ExchangeManagement(adsi::DirectoryServices& directory, engine::ExchangeProbe& probe)
        : m_directory(directory), m_probe(probe) {}

    std::unique_ptr<ExchangeServer> CreateExchangeServer();
    std::unique_ptr<StorageGroup> CreateStorageGroup();
    std::unique_ptr<MailboxStoreDB> CreateMailboxStoreDB();
    std::unique_ptr<platform::Person> CreatePerson();
    /// The mailbox interface of a bound user; `user` must outlive it.
    std::unique_ptr<IMailboxStore> MailboxStoreOf(adsi::IADsUser& user);

private:
    adsi::DirectoryServices& m_directory;
    engine::ExchangeProbe& m_probe;
    Destinations m_destinations;
};

} // namespace rehome::exchange
