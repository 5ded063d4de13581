#pragma once

#include "platform/directory_services.h"
#include "platform/error.h"
#include "platform/exchange_management.h"

#include <QStringList>

namespace rehome::test {

/// The platform calls made, in order, and the one that is to fail.
struct Calls {
    QStringList made;
    QString failing;  ///< a call that contains this fails
    QList<int> which; ///< only these of them, counted from 0, where it is not empty
    int failAt = -1;  ///< the call of this number, from 0, fails
    int failings = 0; ///< how many have

    void operator()(const QString& call) {
        made += call;
        const bool named = !failing.isEmpty() && call.contains(failing) &&
                           (which.isEmpty() || which.contains(m_named++));
        if (failAt == made.size() - 1 || named) {
            ++failings;
            throw Error(QStringLiteral("refused: ") + call);
        }
    }

private:
    int m_named = 0;
};

inline QString textOf(const platform::Value& value) {
    if (const auto* list = std::get_if<QStringList>(&value))
        return list->join(u',');
    const auto* text = std::get_if<QString>(&value);
    return text ? *text : QStringLiteral("null");
}

/// The recorders pass every call on to the real thing.
class RecordingUser final : public platform::IADsUser {
public:
    RecordingUser(std::unique_ptr<platform::IADs> object, Calls& calls)
        : m_object(std::move(object)), m_calls(calls) {}

    platform::Value Get(const QString& name) override {
        m_calls(QStringLiteral("Get ") + name);
        return m_object->Get(name);
    }
    void GetInfoEx(const QStringList& names, int reserved) override {
        m_calls(QStringLiteral("GetInfoEx %1 %2").arg(names.join(u',')).arg(reserved));
        m_object->GetInfoEx(names, reserved);
    }
    QStringList GetEx(const QString& name) override {
        m_calls(QStringLiteral("GetEx ") + name);
        return m_object->GetEx(name);
    }
    void Put(const QString& name, const platform::Value& value) override {
        m_calls(QStringLiteral("Put %1=%2").arg(name, textOf(value)));
        m_object->Put(name, value);
    }
    void SetInfo() override {
        m_calls(QStringLiteral("SetInfo"));
        m_object->SetInfo();
    }
    QString EmailAddress() override {
        m_calls(QStringLiteral("EmailAddress"));
        return user().EmailAddress();
    }
    void setEmailAddress(const QString& address) override {
        m_calls(QStringLiteral("EmailAddress=") + address);
        user().setEmailAddress(address);
    }
    platform::IADsUser& user() { return dynamic_cast<platform::IADsUser&>(*m_object); }

private:
    std::unique_ptr<platform::IADs> m_object;
    Calls& m_calls;
};

class RecordingConnection final : public platform::Connection {
public:
    RecordingConnection(std::unique_ptr<platform::Connection> connection, Calls& calls)
        : m_connection(std::move(connection)), m_calls(calls) {}

    void setProvider(const QString& provider) override {
        m_calls(QStringLiteral("Provider=") + provider);
        m_connection->setProvider(provider);
    }
    void Open(const QString& text, const QString& user, const QString& password,
              int options) override {
        m_calls(QStringLiteral("Open '%1' '%2' '%3' %4").arg(text, user, password).arg(options));
        m_connection->Open(text, user, password, options);
    }
    std::unique_ptr<platform::RecordSet> Execute(const QString& text, int options) override {
        m_calls(QStringLiteral("Execute %1 %2").arg(text).arg(options));
        return m_connection->Execute(text, options);
    }
    void Close() override {
        m_calls(QStringLiteral("Close"));
        m_connection->Close();
    }

private:
    std::unique_ptr<platform::Connection> m_connection;
    Calls& m_calls;
};

class RecordingDirectory final : public platform::DirectoryServices {
public:
    RecordingDirectory(platform::DirectoryServices& directory, Calls& calls)
        : m_directory(directory), m_calls(calls) {}

    std::unique_ptr<platform::IADs> BindObject(const QString& path) override {
        m_calls(QStringLiteral("Bind ") + path);
        return std::make_unique<RecordingUser>(m_directory.BindObject(path), m_calls);
    }
    std::unique_ptr<platform::IADsUser> BindUser(const QString& path) override {
        m_calls(QStringLiteral("BindUser ") + path);
        return std::make_unique<RecordingUser>(m_directory.BindUser(path), m_calls);
    }
    std::unique_ptr<platform::Connection> CreateConnection() override {
        return std::make_unique<RecordingConnection>(m_directory.CreateConnection(), m_calls);
    }

private:
    platform::DirectoryServices& m_directory;
    Calls& m_calls;
};

/// Stands for each of the Exchange objects; only those members are asked that the object has.
template <class Interface>
class RecordingObject : public Interface, private platform::IDataSource {
public:
    RecordingObject(std::unique_ptr<Interface> object, Calls& calls)
        : m_object(std::move(object)), m_calls(calls) {}
    platform::IDataSource& DataSource() override { return *this; }

protected:
    std::unique_ptr<Interface> m_object;
    Calls& m_calls;

private:
    void Open(const QString& address, const platform::OpenArguments& arguments) override {
        m_calls(QStringLiteral("Open ") + address);
        m_object->DataSource().Open(address, arguments);
    }
};

class RecordingServer final : public RecordingObject<platform::ExchangeServer> {
public:
    using RecordingObject::RecordingObject;
    QStringList StorageGroups() override {
        m_calls(QStringLiteral("StorageGroups"));
        return m_object->StorageGroups();
    }
};

class RecordingGroup final : public RecordingObject<platform::StorageGroup> {
public:
    using RecordingObject::RecordingObject;
    QStringList MailboxStoreDBs() override {
        m_calls(QStringLiteral("MailboxStoreDBs"));
        return m_object->MailboxStoreDBs();
    }
    QString Name() override {
        m_calls(QStringLiteral("Group.Name"));
        return m_object->Name();
    }
};

class RecordingStore final : public RecordingObject<platform::MailboxStoreDB> {
public:
    using RecordingObject::RecordingObject;
    platform::Field Fields(const QString& name) override {
        m_calls(QStringLiteral("Fields ") + name);
        return m_object->Fields(name);
    }
    QString Name() override {
        m_calls(QStringLiteral("Store.Name"));
        return m_object->Name();
    }
    qint16 Status() override {
        m_calls(QStringLiteral("Status"));
        return m_object->Status();
    }
};

class RecordingPerson final : public RecordingObject<platform::Person> {
public:
    using RecordingObject::RecordingObject;
    std::unique_ptr<platform::IMailbox> Mailbox() override {
        m_calls(QStringLiteral("Mailbox"));
        return m_object->Mailbox();
    }
};

class RecordingMailboxStore final : public platform::IMailboxStore {
public:
    RecordingMailboxStore(std::unique_ptr<platform::IMailboxStore> object, Calls& calls)
        : m_object(std::move(object)), m_calls(calls) {}
    void DeleteMailbox() override {
        m_calls(QStringLiteral("DeleteMailbox"));
        m_object->DeleteMailbox();
    }
    void CreateMailbox(const QString& homeMDB) override {
        m_calls(QStringLiteral("CreateMailbox ") + homeMDB);
        m_object->CreateMailbox(homeMDB);
    }

private:
    std::unique_ptr<platform::IMailboxStore> m_object;
    Calls& m_calls;
};

class RecordingExchange final : public platform::ExchangeManagement {
public:
    RecordingExchange(platform::ExchangeManagement& exchange, Calls& calls)
        : m_exchange(exchange), m_calls(calls) {}

    std::unique_ptr<platform::ExchangeServer> CreateExchangeServer() override {
        return std::make_unique<RecordingServer>(m_exchange.CreateExchangeServer(), m_calls);
    }
    std::unique_ptr<platform::StorageGroup> CreateStorageGroup() override {
        return std::make_unique<RecordingGroup>(m_exchange.CreateStorageGroup(), m_calls);
    }
    std::unique_ptr<platform::MailboxStoreDB> CreateMailboxStoreDB() override {
        return std::make_unique<RecordingStore>(m_exchange.CreateMailboxStoreDB(), m_calls);
    }
    std::unique_ptr<platform::Person> CreatePerson() override {
        return std::make_unique<RecordingPerson>(m_exchange.CreatePerson(), m_calls);
    }
    std::unique_ptr<platform::IMailboxStore> MailboxStoreOf(platform::IADsUser& user) override {
        m_calls(QStringLiteral("MailboxStoreOf"));
        return std::make_unique<RecordingMailboxStore>(
            m_exchange.MailboxStoreOf(dynamic_cast<RecordingUser&>(user).user()), m_calls);
    }

private:
    platform::ExchangeManagement& m_exchange;
    Calls& m_calls;
};

} // namespace rehome::test
