#pragma once

#include "platform/adsi/directory.h"
#include "platform/engine/exchange_probe.h"
#include "platform/engine/mailbox_opener.h"
#include "platform/exchange_management.h"

#include <QHash>

#include <optional>

namespace rehome::exchange {

/// What the persons of one round share, so that a hundred of them on one store ask for its state
/// once.
struct Round {
    QHash<QString, qint16> states; ///< of the stores asked for, by distinguished name
    QString domain;                ///< the default naming context; stays
};

/// A person found by e-mail address: exactly one user of the domain holds it as `mail` or among
/// `proxyAddresses`.
class PersonObject final : public platform::Person, private platform::IDataSource {
public:
    /// All of them must outlive it and its mailbox.
    PersonObject(adsi::Directory& directory, engine::ExchangeProbe& probe,
                 engine::MailboxOpener& opener, Round& round)
        : m_directory(directory), m_probe(probe), m_opener(opener), m_round(round) {}

    platform::IDataSource& DataSource() override { return *this; }
    std::unique_ptr<platform::IMailbox> Mailbox() override;

private:
    void Open(const QString& address, const platform::OpenArguments& arguments) override;

    adsi::Directory& m_directory;
    engine::ExchangeProbe& m_probe;
    engine::MailboxOpener& m_opener;
    Round& m_round;
    QString m_address;
    std::optional<engine::Entry> m_user;
};

} // namespace rehome::exchange
