#include "platform/exchange/server_objects.h"

#include "platform/error.h"

namespace rehome::exchange {

namespace {

ObjectKind storageGroupKind() {
    return {QStringLiteral("msExchStorageGroup"), QStringLiteral("a storage group")};
}

} // namespace

void requireStatedArguments(const OpenArguments& arguments) {
    const OpenArguments stated;
    if (arguments.ActiveConnection || arguments.Mode != stated.Mode ||
        arguments.CreateOptions != stated.CreateOptions || arguments.Options != stated.Options ||
        !arguments.UserName.isEmpty() || !arguments.Password.isEmpty())
        throw Error(QStringLiteral("An Exchange object is opened with its address alone."));
}

QStringList NamedObject::readAttributes() const {
    return QStringList{QStringLiteral("distinguishedName"), QStringLiteral("name"),
                       QStringLiteral("legacyExchangeDN")} +
           m_probe.attributes();
}

void NamedObject::Open(const QString& address, const OpenArguments& arguments) {
    m_entry.reset();
    requireStatedArguments(arguments);
    auto found = readObject(*m_directory.session(), address, m_kind, readAttributes());
    validate(found);
    m_entry = std::move(found);
}

const engine::Entry& NamedObject::entry() const {
    if (!m_entry)
        throw Error(QStringLiteral("%1 has not been opened.").arg(m_kind.words));
    return *m_entry;
}

QString NamedObject::nameOf() const {
    const engine::Entry& read = entry();
    return platform::toText({QStringLiteral("name"), read.distinguishedName,
                             read.text(QStringLiteral("name")).isNull()
                                 ? platform::Value()
                                 : read.text(QStringLiteral("name"))});
}

QStringList NamedObject::children(engine::Scope scope, const ObjectKind& kind) {
    engine::SearchRequest request;
    request.base = entry().distinguishedName;
    request.scope = scope;
    request.filter = QStringLiteral("(objectClass=%1)").arg(kind.objectClass);
    request.attributes = QStringList{QStringLiteral("distinguishedName")};
    const auto entries = m_directory.session()->search(request);
    QStringList names;
    while (const auto found = entries->next())
        names += found->distinguishedName;
    return names;
}

ExchangeServer::ExchangeServer(adsi::DirectoryServices& directory, engine::ExchangeProbe& probe)
    : NamedObject(directory, probe,
                  {QStringLiteral("msExchExchangeServer"), QStringLiteral("an Exchange server")}) {
}

void ExchangeServer::validate(const engine::Entry& server) {
    if (server.values(QStringLiteral("legacyExchangeDN")).isEmpty())
        throw Error(QStringLiteral("The server %1 has no attribute \"legacyExchangeDN\", or it may "
                                   "not be read: no mailbox could be created there.")
                        .arg(server.distinguishedName));
    probe().checkServer(server);
}

QStringList ExchangeServer::StorageGroups() {
    return children(engine::Scope::Subtree, storageGroupKind());
}

StorageGroup::StorageGroup(adsi::DirectoryServices& directory, engine::ExchangeProbe& probe)
    : NamedObject(directory, probe, storageGroupKind()) {
}

QStringList StorageGroup::MailboxStoreDBs() {
    return children(engine::Scope::OneLevel, mailboxStoreKind());
}

MailboxStoreDB::MailboxStoreDB(adsi::DirectoryServices& directory, engine::ExchangeProbe& probe)
    : NamedObject(directory, probe, mailboxStoreKind()) {
}

platform::Field MailboxStoreDB::Fields(const QString& name) const {
    if (name.compare(QLatin1String("distinguishedName"), Qt::CaseInsensitive) != 0)
        throw Error(QStringLiteral("A mailbox store has no field \"%1\".").arg(name));
    return {name, entry().distinguishedName, entry().distinguishedName};
}

qint16 MailboxStoreDB::Status() const {
    return probe().storeStatus(entry());
}

} // namespace rehome::exchange
