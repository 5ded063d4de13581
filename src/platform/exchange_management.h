#pragma once

#include "platform/directory_services.h"

#include <QString>
#include <QStringList>

#include <memory>

namespace rehome::platform {

/// What a data source is opened with besides the address. Only these values are accepted.
struct OpenArguments {
    bool ActiveConnection = false; ///< none
    int Mode = 0;                  ///< unspecified
    int CreateOptions = -1;        ///< fail if the item does not exist
    int Options = 0;
    QString UserName;
    QString Password;
};

/// Opens the object it belongs to on an address. Open throws Error where there is no such item, or
/// it does not answer.
class IDataSource {
public:
    virtual ~IDataSource() = default;
    virtual void Open(const QString& address, const OpenArguments& arguments = {}) = 0;
};

/// Opened on an Exchange server's distinguished name; fails where the server does not answer.
class ExchangeServer {
public:
    virtual ~ExchangeServer() = default;
    virtual IDataSource& DataSource() = 0;
    /// The distinguished names of its storage groups. Throws Error.
    virtual QStringList StorageGroups() = 0;
};

/// Opened on a storage group's distinguished name.
class StorageGroup {
public:
    virtual ~StorageGroup() = default;
    virtual IDataSource& DataSource() = 0;
    /// The distinguished names of its mailbox stores. Throws Error.
    virtual QStringList MailboxStoreDBs() = 0;
    virtual QString Name() = 0;
};

/// Opened on a mailbox store's distinguished name.
class MailboxStoreDB {
public:
    virtual ~MailboxStoreDB() = default;
    virtual IDataSource& DataSource() = 0;
    /// The item "distinguishedName" and no other.
    virtual Field Fields(const QString& name) = 0;
    virtual QString Name() = 0;
    /// 0 online, 1 offline, 2 mounting, 3 dismounting. Throws Error.
    virtual qint16 Status() = 0;
};

/// A user's mailbox. Either operation is staged on the user object and takes effect on its SetInfo.
class IMailboxStore {
public:
    virtual ~IMailboxStore() = default;
    /// Throws Error where the user has no mailbox.
    virtual void DeleteMailbox() = 0;
    /// `homeMDB` is "LDAP://" and a mailbox store's distinguished name. Throws Error where that
    /// names no mailbox store, or the user has a mailbox.
    virtual void CreateMailbox(const QString& homeMDB) = 0;
};

/// The mailbox interface of a person.
class IMailbox {
public:
    virtual ~IMailbox() = default;
    /// The location of one of the mailbox's folders; throws Error where the mailbox does not open.
    virtual QString FolderLocation() = 0;
};

/// Opened on "mailto:" and an e-mail address; used for one attempt.
class Person {
public:
    virtual ~Person() = default;
    virtual IDataSource& DataSource() = 0;
    virtual std::unique_ptr<IMailbox> Mailbox() = 0;
};

/// Makes the Exchange management objects.
class ExchangeManagement {
public:
    virtual ~ExchangeManagement() = default;
    virtual std::unique_ptr<ExchangeServer> CreateExchangeServer() = 0;
    virtual std::unique_ptr<StorageGroup> CreateStorageGroup() = 0;
    virtual std::unique_ptr<MailboxStoreDB> CreateMailboxStoreDB() = 0;
    virtual std::unique_ptr<Person> CreatePerson() = 0;
    /// Said before each round of attempts, of which no mailbox gets two: the persons of one round
    /// share connections, time and what they have learnt of servers and stores.
    virtual void BeginRound() noexcept = 0;
    /// The mailbox interface of a bound user; `user` must outlive it.
    virtual std::unique_ptr<IMailboxStore> MailboxStoreOf(IADsUser& user) = 0;
};

} // namespace rehome::platform
