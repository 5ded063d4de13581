#pragma once

#include "platform/adsi/directory.h"
#include "platform/engine/exchange_probe.h"
#include "platform/exchange/destinations.h"
#include "platform/exchange/person.h"
#include "platform/exchange_management.h"

namespace rehome::exchange {

/// The Exchange management objects over a directory, a probe and an opener. What they are given
/// must outlive them.
class ExchangeObjects final : public platform::ExchangeManagement {
public:
    ExchangeObjects(adsi::Directory& directory, engine::ExchangeProbe& probe,
                    engine::MailboxOpener& opener)
        : m_directory(directory), m_probe(probe), m_opener(opener) {}

    std::unique_ptr<platform::ExchangeServer> CreateExchangeServer() override;
    std::unique_ptr<platform::StorageGroup> CreateStorageGroup() override;
    std::unique_ptr<platform::MailboxStoreDB> CreateMailboxStoreDB() override;
    std::unique_ptr<platform::Person> CreatePerson() override;
    void BeginRound() noexcept override;
    std::unique_ptr<platform::IMailboxStore> MailboxStoreOf(platform::IADsUser& user) override;

private:
    adsi::Directory& m_directory;
    engine::ExchangeProbe& m_probe;
    engine::MailboxOpener& m_opener;
    Round m_round;
    Destinations m_destinations;
};

} // namespace rehome::exchange
