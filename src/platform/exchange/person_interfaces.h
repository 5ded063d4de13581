#pragma once

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

} // namespace rehome::platform
