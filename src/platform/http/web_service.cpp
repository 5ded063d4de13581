#include "platform/http/web_service.h"

#include "platform/engine/network_address.h"
#include "platform/error.h"

#include <QRegularExpression>

namespace rehome::http {

using namespace Qt::Literals::StringLiterals;

WebService webServiceOf(engine::Session& directory, const QString& server) {
    const QString exchangeServer = u"msExchExchangeServer"_s;
    const QString virtualServer = u"protocolCfgHTTPServer"_s;
    const QString virtualDirectory = u"msExchProtocolCfgHTTPVirtualDirectory"_s;
    engine::SearchRequest request;
    request.base = server;
    request.scope = engine::Scope::Subtree;
    request.filter = u"(|(objectClass=%1)(objectClass=%2)(objectClass=%3))"_s.arg(
        exchangeServer, virtualServer, virtualDirectory);
    request.attributes = QStringList{u"objectClass"_s, engine::NetworkAddress};
    const auto entries = directory.search(request);
    WebService service;
    bool servers = false, directories = false;
    while (const auto entry = entries->next()) {
        const auto is = [&](const QString& objectClass) {
            for (const QByteArray& value : entry->values(u"objectClass"_s))
                if (objectClass.compare(QLatin1String(value), Qt::CaseInsensitive) == 0)
                    return true;
            return false;
        };
        if (is(exchangeServer))
            service.host = engine::tcpHost(*entry);
        servers = servers || is(virtualServer);
        directories = directories || is(virtualDirectory);
    }
    service.withdrawn = servers && !directories;
    // Whatever the directory holds there, it must not become another part of a URL.
    static const QRegularExpression plain(u"^[A-Za-z0-9._-]+$"_s);
    if (!service.withdrawn && !plain.match(service.host).hasMatch())
        throw Error(u"The server %1 cannot be asked for mailboxes: its attribute networkAddress "
                    "names no host (ncacn_ip_tcp:)."_s.arg(server));
    return service;
}

} // namespace rehome::http
