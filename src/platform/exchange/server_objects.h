#pragma once

#include "platform/adsi/directory_services.h"
#include "platform/engine/exchange_probe.h"
#include "platform/exchange/object_reader.h"
#include "platform/exchange/opening.h"

#include <optional>

namespace rehome::exchange {

/// The base of the server, storage group and store objects. Opened on a DN, any number of times. If
/// Open() throws, the object is closed. Calls that read block, and may end the process.
class NamedObject : public IDataSource {
public:
    /// All must outlive it.
    NamedObject(adsi::DirectoryServices& directory, engine::ExchangeProbe& probe, ObjectKind kind)
        : m_directory(directory), m_probe(probe), m_kind(std::move(kind)) {}

    void Open(const QString& address, const OpenArguments& arguments) override;

protected:
    /// Throws Error if the object that was read must not be opened.
    virtual void validate(const engine::Entry&) {}
    /// Returns the object that Open() read. Throws Error if it is not open.
    const engine::Entry& entry() const;
    /// Returns its `name` attribute. Throws Error if it is not open.
    QString nameOf() const;
    /// Returns the DNs of the objects of that kind below this one. Throws Error if it is not open
    /// or the search fails.
    QStringList children(engine::Scope scope, const ObjectKind& kind);
    engine::ExchangeProbe& probe() const { return m_probe; }

private:
    QStringList readAttributes() const;

    adsi::DirectoryServices& m_directory;
    engine::ExchangeProbe& m_probe;
    ObjectKind m_kind;
    std::optional<engine::Entry> m_entry;
};

/// An Exchange server. Open() throws Error also if the server does not respond.
class ExchangeServer final : private NamedObject {
public:
    ExchangeServer(adsi::DirectoryServices& directory, engine::ExchangeProbe& probe);
    IDataSource& DataSource() { return *this; }
    /// Returns the DNs of its storage groups. Throws as children() does.
    QStringList StorageGroups();

private:
    void validate(const engine::Entry& server) override;
};

/// A storage group.
class StorageGroup final : private NamedObject {
public:
    StorageGroup(adsi::DirectoryServices& directory, engine::ExchangeProbe& probe);
    IDataSource& DataSource() { return *this; }
    /// Returns the DNs of its mailbox stores. Throws as children() does.
    QStringList MailboxStoreDBs();
    QString Name() const { return nameOf(); }
};

/// A mailbox store.
class MailboxStoreDB final : private NamedObject {
public:
    MailboxStoreDB(adsi::DirectoryServices& directory, engine::ExchangeProbe& probe);
    IDataSource& DataSource() { return *this; }
    /// Returns the field "distinguishedName"; throws Error for any other, or if it is not open.
    platform::Field Fields(const QString& name) const;
    QString Name() const { return nameOf(); }
    /// Returns its state, as ExchangeProbe::storeStatus() does. Throws Error if that cannot be
    /// determined or the object is not open.
    qint16 Status() const;
};

} // namespace rehome::exchange
