#pragma once

#include "platform/adsi/directory_services.h"
#include "platform/engine/exchange_probe.h"
#include "platform/exchange/object_reader.h"
#include "platform/exchange/opening.h"

#include <optional>

namespace rehome::exchange {

/// What the server, storage group and store objects share: opened on a distinguished name, reopened
/// at will; a failed opening leaves the object closed.
class NamedObject : public IDataSource {
public:
    /// All must outlive it.
    NamedObject(adsi::DirectoryServices& directory, engine::ExchangeProbe& probe, ObjectKind kind)
        : m_directory(directory), m_probe(probe), m_kind(std::move(kind)) {}

    void Open(const QString& address, const OpenArguments& arguments) override;

protected:
    /// Runs after the object was read and before it counts as open; throws Error to refuse.
    virtual void opening(const engine::Entry&) {}
    /// The object read by Open. Throws Error where it is not open.
    const engine::Entry& entry() const;
    /// Its `name` attribute.
    QString nameOf() const;
    /// The distinguished names of the objects of a class below this one.
    QStringList children(engine::Scope scope, const ObjectKind& kind);
    engine::ExchangeProbe& probe() const { return m_probe; }

private:
    QStringList readAttributes() const;

    adsi::DirectoryServices& m_directory;
    engine::ExchangeProbe& m_probe;
    ObjectKind m_kind;
    std::optional<engine::Entry> m_entry;
};

/// Opened on an Exchange server's distinguished name; fails where the server does not answer.
class ExchangeServer final : private NamedObject {
public:
    ExchangeServer(adsi::DirectoryServices& directory, engine::ExchangeProbe& probe);
    IDataSource& DataSource() { return *this; }
    /// The distinguished names of its storage groups. Throws Error.
    QStringList StorageGroups();

private:
    void opening(const engine::Entry& server) override;
};

/// Opened on a storage group's distinguished name.
class StorageGroup final : private NamedObject {
public:
    StorageGroup(adsi::DirectoryServices& directory, engine::ExchangeProbe& probe);
    IDataSource& DataSource() { return *this; }
    /// The distinguished names of its mailbox stores. Throws Error.
    QStringList MailboxStoreDBs();
    QString Name() const { return nameOf(); }
};

/// Opened on a mailbox store's distinguished name.
class MailboxStoreDB final : private NamedObject {
public:
    MailboxStoreDB(adsi::DirectoryServices& directory, engine::ExchangeProbe& probe);
    IDataSource& DataSource() { return *this; }
    /// The item "distinguishedName" and no other.
    platform::Field Fields(const QString& name) const;
    QString Name() const { return nameOf(); }
    /// 0 online, 1 offline, 2 mounting, 3 dismounting. Throws Error.
    qint16 Status() const;
};

} // namespace rehome::exchange
