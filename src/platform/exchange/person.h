#pragma once

#include "platform/adsi/directory_services.h"
#include "platform/engine/exchange_probe.h"
#include "platform/exchange/person_interfaces.h"

#include <optional>

namespace rehome::exchange {

/// A person found by e-mail address: exactly one user of the domain holds it as `mail` or among
/// `proxyAddresses`.
class PersonObject final : public platform::Person, private platform::IDataSource {
public:
    PersonObject(adsi::DirectoryServices& directory, engine::ExchangeProbe& probe)
        : m_directory(directory), m_probe(probe) {}

    platform::IDataSource& DataSource() override { return *this; }
    std::unique_ptr<platform::IMailbox> Mailbox() override;

private:
    void Open(const QString& address, const platform::OpenArguments& arguments) override;

    adsi::DirectoryServices& m_directory;
    engine::ExchangeProbe& m_probe;
    std::optional<engine::Entry> m_user;
};

} // namespace rehome::exchange
