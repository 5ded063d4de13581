#include "platform/exchange/server_objects.h"

#include "platform/error.h"

namespace rehome::exchange {

void requireStatedArguments(const OpenArguments& arguments) {
    const OpenArguments stated;
    if (arguments.ActiveConnection || arguments.Mode != stated.Mode ||
        arguments.CreateOptions != stated.CreateOptions || arguments.Options != stated.Options ||
        !arguments.UserName.isEmpty() || !arguments.Password.isEmpty())
        throw Error(QStringLiteral("An Exchange object is opened with its address alone."));
}

engine::Entry readObject(engine::Session& session, const QString& name, const QString& objectClass,
                         const QStringList& attributes, const QString& kind) {
    engine::SearchRequest request;
    request.base = name;
    request.filter = QStringLiteral("(objectClass=%1)").arg(objectClass);
    request.attributes = attributes;
    auto found = session.search(request)->next();
    if (!found)
        throw Error(QStringLiteral("\"%1\" is not %2, or it may not be read.").arg(name, kind));
    return std::move(*found);
}

void NamedObject::Open(const QString& address, const OpenArguments& arguments) {
    m_entry.reset();
    requireStatedArguments(arguments);
    auto found = readObject(*m_directory.session(), address, m_class,
                            {QStringLiteral("distinguishedName"), QStringLiteral("name"),
                             QStringLiteral("legacyExchangeDN")},
                            m_kind);
    opening(found);
    m_entry = std::move(found);
}

const engine::Entry& NamedObject::entry() const {
    if (!m_entry)
        throw Error(QStringLiteral("%1 has not been opened.").arg(m_kind));
    return *m_entry;
}

QString NamedObject::nameOf() const {
    const engine::Entry& read = entry();
    return platform::toText({QStringLiteral("name"), read.distinguishedName,
                             read.text(QStringLiteral("name")).isNull()
                                 ? platform::Value()
                                 : read.text(QStringLiteral("name"))});
}

QStringList NamedObject::children(engine::Scope scope, const QString& objectClass) {
    engine::SearchRequest request;
    request.base = entry().distinguishedName;
    request.scope = scope;
    request.filter = QStringLiteral("(objectClass=%1)").arg(objectClass);
    request.attributes = QStringList{QStringLiteral("distinguishedName")};
    const auto entries = m_directory.session()->search(request);
    QStringList names;
    while (const auto found = entries->next())
        names += found->distinguishedName;
    return names;
}

ExchangeServer::ExchangeServer(adsi::DirectoryServices& directory, engine::ExchangeProbe& probe)
    : NamedObject(directory, QStringLiteral("msExchExchangeServer"),
                  QStringLiteral("an Exchange server")),
      m_probe(probe) {
}

void ExchangeServer::opening(const engine::Entry& server) {
    if (server.values(QStringLiteral("legacyExchangeDN")).isEmpty())
        throw Error(QStringLiteral("The server %1 has no attribute \"legacyExchangeDN\", or it may "
                                   "not be read: no mailbox could be created there.")
                        .arg(server.distinguishedName));
    m_probe.checkServer(server.distinguishedName);
}

QStringList ExchangeServer::StorageGroups() {
    return children(engine::Scope::Subtree, QStringLiteral("msExchStorageGroup"));
}

StorageGroup::StorageGroup(adsi::DirectoryServices& directory)
    : NamedObject(directory, QStringLiteral("msExchStorageGroup"),
                  QStringLiteral("a storage group")) {
}

QStringList StorageGroup::MailboxStoreDBs() {
    return children(engine::Scope::OneLevel, QStringLiteral("msExchPrivateMDB"));
}

MailboxStoreDB::MailboxStoreDB(adsi::DirectoryServices& directory, engine::ExchangeProbe& probe)
    : NamedObject(directory, QStringLiteral("msExchPrivateMDB"), QStringLiteral("a mailbox store")),
      m_probe(probe) {
}

platform::Field MailboxStoreDB::Fields(const QString& name) const {
    if (name.compare(QLatin1String("distinguishedName"), Qt::CaseInsensitive) != 0)
        throw Error(QStringLiteral("A mailbox store has no field \"%1\".").arg(name));
    return {name, entry().distinguishedName, entry().distinguishedName};
}

qint16 MailboxStoreDB::Status() const {
    return m_probe.storeStatus(entry().distinguishedName);
}

} // namespace rehome::exchange
