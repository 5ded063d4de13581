#pragma once

#include "platform/adsi/directory.h"
#include "platform/engine/exchange_probe.h"
#include "platform/exchange_management.h"

#include <optional>

namespace rehome::exchange {

/// What the server, storage group and store objects share: opened on a distinguished name, reopened
/// at will; a failed opening leaves the object closed.
class NamedObject : public platform::IDataSource {
public:
    NamedObject(adsi::Directory& directory, QString objectClass, QString kind)
        : m_directory(directory), m_class(std::move(objectClass)), m_kind(std::move(kind)) {}

    void Open(const QString& address, const platform::OpenArguments& arguments) override;

protected:
    /// Runs after the object was read and before it counts as open; throws Error to refuse.
    virtual void opening(const engine::Entry&) {}
    /// The object read by Open. Throws Error where it is not open.
    const engine::Entry& entry() const;
    /// Its `name` attribute.
    QString nameOf() const;
    /// The distinguished names of the objects of a class below this one.
    QStringList children(engine::Scope scope, const QString& objectClass);

private:
    adsi::Directory& m_directory;
    QString m_class;
    QString m_kind;
    std::optional<engine::Entry> m_entry;
};

class ServerObject final : public platform::ExchangeServer, private NamedObject {
public:
    ServerObject(adsi::Directory& directory, engine::ExchangeProbe& probe);
    platform::IDataSource& DataSource() override { return *this; }
    QStringList StorageGroups() override;

private:
    void opening(const engine::Entry& server) override;
    engine::ExchangeProbe& m_probe;
};

class StorageGroupObject final : public platform::StorageGroup, private NamedObject {
public:
    explicit StorageGroupObject(adsi::Directory& directory);
    platform::IDataSource& DataSource() override { return *this; }
    QStringList MailboxStoreDBs() override;
    QString Name() override { return nameOf(); }
};

class MailboxStoreObject final : public platform::MailboxStoreDB, private NamedObject {
public:
    MailboxStoreObject(adsi::Directory& directory, engine::ExchangeProbe& probe);
    platform::IDataSource& DataSource() override { return *this; }
    platform::Field Fields(const QString& name) override;
    QString Name() override { return nameOf(); }
    qint16 Status() override;

private:
    engine::ExchangeProbe& m_probe;
};

} // namespace rehome::exchange
