#pragma once

#include "platform/adsi/directory_services.h"
#include "platform/engine/exchange_probe.h"
#include "platform/engine/mailbox_opener.h"
#include "platform/exchange/opening.h"
#include "platform/exchange/user_changes.h"

#include <QHash>

#include <optional>

namespace rehome::exchange {

/// What the persons of one round share, so that a hundred of them on one store ask for its state
/// once.
struct Round {
    QHash<QString, qint16> states; ///< of the stores asked for, by distinguished name
    QString domain;                ///< the default naming context; stays
};

/// The mailbox of a person, which is opened on its store when a folder is asked for.
class IMailbox {
public:
    IMailbox(engine::Mailbox mailbox, std::shared_ptr<engine::Session> directory,
             engine::ExchangeProbe& probe, engine::MailboxOpener& opener, Round& round)
        : m_mailbox(std::move(mailbox)), m_directory(std::move(directory)), m_probe(probe),
          m_opener(opener), m_round(round) {}

    /// The location of one of the mailbox's folders; throws Error where the mailbox does not open.
    QString FolderLocation();

private:
    engine::Mailbox m_mailbox;
    std::shared_ptr<engine::Session> m_directory;
    engine::ExchangeProbe& m_probe;
    engine::MailboxOpener& m_opener;
    Round& m_round;
};

/// A person found by e-mail address: exactly one user of the domain holds it as `mail` or among
/// `proxyAddresses`. Opened on "mailto:" and that address; used for one attempt.
class Person final : private IDataSource {
public:
    /// All of them must outlive it and its mailbox.
    Person(adsi::DirectoryServices& directory, engine::ExchangeProbe& probe,
           engine::MailboxOpener& opener, UserChanges& changes, Round& round)
        : m_directory(directory), m_probe(probe), m_opener(opener), m_changes(changes),
          m_round(round) {}

    IDataSource& DataSource() { return *this; }
    /// Throws Error where it is not open.
    IMailbox Mailbox();

private:
    void Open(const QString& address, const OpenArguments& arguments) override;
    engine::Entry findOne(const engine::SearchRequest& request, const QString& mail);

    adsi::DirectoryServices& m_directory;
    engine::ExchangeProbe& m_probe;
    engine::MailboxOpener& m_opener;
    UserChanges& m_changes;
    Round& m_round;
    QString m_address;
    std::optional<engine::Entry> m_user;
};

} // namespace rehome::exchange
