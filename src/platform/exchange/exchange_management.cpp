#include "platform/exchange/exchange_management.h"

namespace rehome::exchange {

void ExchangeManagement::BeginEnumeration() noexcept {
    m_watch.begin();
    m_destinations.forget();
    m_topology.begin();
    m_changes.beginRound();
}

std::unique_ptr<ExchangeServer> ExchangeManagement::CreateExchangeServer() {
    return std::make_unique<ExchangeServer>(m_directory, m_probe);
}

std::unique_ptr<StorageGroup> ExchangeManagement::CreateStorageGroup() {
    return std::make_unique<StorageGroup>(m_directory, m_probe);
}

std::unique_ptr<MailboxStoreDB> ExchangeManagement::CreateMailboxStoreDB() {
    return std::make_unique<MailboxStoreDB>(m_directory, m_probe);
}

std::unique_ptr<Person> ExchangeManagement::CreatePerson() {
    return std::make_unique<Person>(m_directory, m_probe, m_opener, m_changes, m_round);
}

void ExchangeManagement::BeginRound() noexcept {
    m_topology.end();
    m_round.states.clear();
    m_changes.beginRound();
    m_opener.beginRound();
}

std::unique_ptr<IMailboxStore> ExchangeManagement::MailboxStoreOf(adsi::IADsUser& user) {
    return std::make_unique<IMailboxStore>(user, m_changes, m_destinations);
}

} // namespace rehome::exchange
