#include "platform/exchange/exchange_objects.h"

#include "platform/error.h"
#include "platform/exchange/server_objects.h"
#include "platform/exchange/user_mailbox_store.h"

namespace rehome::exchange {

std::unique_ptr<platform::ExchangeServer> ExchangeObjects::CreateExchangeServer() {
    m_destinations.forget(); // an enumeration begins
    return std::make_unique<ServerObject>(m_directory, m_probe);
}

std::unique_ptr<platform::StorageGroup> ExchangeObjects::CreateStorageGroup() {
    return std::make_unique<StorageGroupObject>(m_directory);
}

std::unique_ptr<platform::MailboxStoreDB> ExchangeObjects::CreateMailboxStoreDB() {
    return std::make_unique<MailboxStoreObject>(m_directory, m_probe);
}

std::unique_ptr<platform::Person> ExchangeObjects::CreatePerson() {
    return std::make_unique<PersonObject>(m_directory, m_probe, m_opener, m_round);
}

void ExchangeObjects::BeginRound() noexcept {
    m_round.states.clear();
    m_opener.beginRound();
}

std::unique_ptr<platform::IMailboxStore> ExchangeObjects::MailboxStoreOf(platform::IADsUser& user) {
    auto* object = dynamic_cast<adsi::DirectoryObject*>(&user);
    if (!object)
        throw Error(QStringLiteral("The user object was not bound in this directory."));
    return std::make_unique<UserMailboxStore>(*object, m_destinations);
}

} // namespace rehome::exchange
