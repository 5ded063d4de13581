#include "platform/http/web_service.h"

#include "platform/engine/escape.h"
#include "platform/engine/network_address.h"
#include "platform/error.h"

#include <QHash>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <vector>

namespace rehome::http {

using namespace Qt::Literals::StringLiterals;

namespace {

const QString ExchangeServer = u"msExchExchangeServer"_s;
const QString VirtualServer = u"protocolCfgHTTPServer"_s;
const QString VirtualDirectory = u"msExchProtocolCfgHTTPVirtualDirectory"_s;
const QString SecureBindings = u"msExchSecureBindings"_s;
const QString FolderPath = u"folderPathname"_s;
const QString DefaultDomain = u"msExchDefaultDomain"_s;

bool is(const engine::Entry& entry, const QString& objectClass) {
    const auto classes = entry.values(u"objectClass"_s);
    return std::any_of(classes.begin(), classes.end(), [&](const QByteArray& value) {
        return objectClass.compare(QLatin1String(value), Qt::CaseInsensitive) == 0;
    });
}

bool isEqual(const QString& a, const char16_t* b) {
    return a.compare(QStringView(b), Qt::CaseInsensitive) == 0;
}

/// Whether it is the virtual directory that paths to mailboxes begin with. Without a path it
/// stands for mailboxes, too.
bool holdsMailboxes(const engine::Entry& directory) {
    const QString path = directory.text(FolderPath);
    return isEqual(engine::firstValue(directory.distinguishedName), u"Exchange") &&
           (path.isEmpty() || isEqual(path, u"MBX"));
}

} // namespace

WebService webServiceOf(engine::Session& directory, const QString& server) {
    engine::SearchRequest request;
    request.base = server;
    request.scope = engine::Scope::Subtree;
    request.filter = u"(|(objectClass=%1)(objectClass=%2)(objectClass=%3))"_s.arg(
        ExchangeServer, VirtualServer, VirtualDirectory);
    request.attributes = QStringList{u"objectClass"_s, engine::NetworkAddress, SecureBindings,
                                     FolderPath, DefaultDomain};
    const auto entries = directory.search(request);
    WebService service;
    QHash<QString, QString> servers; ///< default domains of virtual servers, by their names
    std::vector<engine::Entry> directories;
    bool secure = false;
    while (const auto entry = entries->next()) {
        if (is(*entry, ExchangeServer))
            service.host = engine::tcpHost(*entry);
        if (is(*entry, VirtualServer)) {
            servers.insert(entry->distinguishedName, entry->text(DefaultDomain));
            secure = secure || !entry->text(SecureBindings).isEmpty();
        }
        if (is(*entry, VirtualDirectory))
            directories.push_back(*entry);
    }
    service.withdrawn = !servers.isEmpty() && directories.empty();
    service.withoutHttps = !servers.isEmpty() && !secure;
    QSet<QString> domains;
    for (const engine::Entry& entry : directories) {
        if (!holdsMailboxes(entry))
            continue;
        const QString own = entry.text(DefaultDomain);
        domains +=
            (own.isEmpty() ? servers.value(engine::parentName(entry.distinguishedName)) : own)
                .toLower();
    }
    if (domains.size() == 1) // of several virtual servers, which one answers is not known
        service.domain = *domains.begin();
    // Whatever the directory holds there, it must not become another part of a URL.
    static const QRegularExpression plain(u"^[A-Za-z0-9._-]+$"_s);
    if (!service.withdrawn && !plain.match(service.host).hasMatch())
        throw Error(u"The server %1 cannot be asked for mailboxes: its attribute networkAddress "
                    "names no host (ncacn_ip_tcp:)."_s.arg(server));
    return service;
}

} // namespace rehome::http
