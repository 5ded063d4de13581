#include "companions/census.h"

#include "listing/mailbox_reader.h"
#include "listing/unlisted.h"
#include "platform/engine/escape.h"
#include "platform/error.h"
#include "platform/text_case.h"

#include <QSet>

#include <algorithm>

namespace rehome::companions {

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int LevelsOfStore = 3; ///< a store is below a group, an information store and a server

std::vector<engine::Entry> find(engine::Session& session, const QString& base,
                                const QString& filter, const QStringList& attributes) {
    const auto entries = session.search({base, engine::Scope::Subtree, filter, attributes});
    std::vector<engine::Entry> found;
    while (auto entry = entries->next())
        found.push_back(std::move(*entry));
    return found;
}

bool isBelow(const QString& name, const QString& context) {
    return nameKey(name).endsWith(u',' + nameKey(context));
}

} // namespace

QString nameKey(const QString& distinguishedName) {
    return platform::upperCase(engine::directorySpelling(distinguishedName));
}

Exchange readExchange(engine::Session& session, engine::ExchangeProbe& probe,
                      const QString& localServer) {
    engine::SearchRequest request;
    request.attributes = QStringList{u"defaultNamingContext"_s, u"configurationNamingContext"_s,
                                     u"forestFunctionality"_s};
    const auto root = session.search(request)->next().value_or(engine::Entry());
    Exchange exchange;
    exchange.local = localServer;
    exchange.domain = root.text(request.attributes[0]);
    exchange.configuration = root.text(request.attributes[1]);
    if (exchange.domain.isEmpty() || exchange.configuration.isEmpty())
        throw Error(u"The server has no naming contexts: it is not a domain controller."_s);
    const auto ofClass = [&](const QString& name, const QStringList& attributes) {
        return find(session, exchange.configuration, u"(objectClass=%1)"_s.arg(name), attributes);
    };
    exchange.servers = ofClass(u"msExchExchangeServer"_s,
                               QStringList{u"name"_s, u"legacyExchangeDN"_s} + probe.attributes());
    exchange.groups = ofClass(u"msExchStorageGroup"_s, {u"msExchESEParamBaseName"_s});
    exchange.forestLevel = root.text(request.attributes[2]).toInt();
    exchange.mailboxPolicies =
        find(session, exchange.configuration, u"(&(cn=Mailbox Enable User)(purportedSearch=*))"_s,
             {u"purportedSearch"_s});
    exchange.stores = ofClass(u"msExchPrivateMDB"_s, {u"homeMDBBL"_s});
    for (const engine::Entry& server : exchange.servers) {
        const QString& name = server.distinguishedName;
        if (server.text(u"name"_s).isEmpty())
            throw Error(u"The Exchange server %1 has no name."_s.arg(name));
        exchange.serverNames.insert(nameKey(name), name);
        if (const QString legacy = server.text(u"legacyExchangeDN"_s); !legacy.isEmpty())
            exchange.serverNames.insert(platform::upperCase(legacy), name);
    }
    if (!exchange.servers.empty() && exchange.stores.empty())
        throw Error(u"No mailbox store was found: you have no permission to read them (guide, "
                    "\"Permissions\")."_s);
    probe.beginChecks(exchange.servers);
    for (const engine::Entry& server : exchange.servers) {
        try {
            if (server.text(u"name"_s) != localServer)
                probe.checkServer(server);
        } catch (const Error& error) {
            exchange.unresponsive.insert(nameKey(server.distinguishedName), error.description());
        }
    }
    return exchange;
}

People readPeople(engine::Session& session, const QString& context) {
    const QStringList attributes{u"displayName"_s,          u"homeMDB"_s,       u"mail"_s,
                                 u"mailNickname"_s,         u"msExchVersion"_s, u"objectClass"_s,
                                 u"msExchHomeServerName"_s, u"proxyAddresses"_s};
    const auto isOfStore = [](const engine::Entry& user) {
        return listing::isSystemObject(user.distinguishedName.toUtf8());
    };
    People people;
    for (engine::Entry& user : find(session, context, listing::mailboxFilter(), attributes))
        if (!user.values(u"mail"_s).isEmpty())
            (isOfStore(user) ? people.stores : people.listed).push_back(std::move(user));
    const QString others =
        u"(|%1(&(objectCategory=person)(objectClass=user)"
        "(|(mail=*)(proxyAddresses=*))(!(|(homeMDB=*)(msExchHomeServerName=*)))))"_s.arg(
            listing::unlistedFilter());
    for (engine::Entry& user : find(session, context, others, attributes)) {
        const bool hasHome = !user.values(u"homeMDB"_s).isEmpty() ||
                             !user.values(u"msExchHomeServerName"_s).isEmpty();
        auto& kind = !hasHome ? people.homeless : isOfStore(user) ? people.stores : people.unlisted;
        kind.push_back(std::move(user));
    }
    return people;
}

QString homeServer(const Exchange& exchange, const engine::Entry& user) {
    const QString home = user.text(u"homeMDB"_s);
    if (home.isEmpty()) {
        const QString legacy = platform::upperCase(user.text(u"msExchHomeServerName"_s));
        return exchange.serverNames.value(legacy, legacy);
    }
    const QString server = engine::parentName(home, LevelsOfStore);
    return exchange.serverNames.value(nameKey(server), server);
}

QString serverName(const QString& server) {
    return server.startsWith(u'/') ? server.section(u"/CN="_s, -1) : engine::firstValue(server);
}

QString nameOf(const engine::Entry& user) {
    const QString name = user.text(u"displayName"_s);
    return name.isEmpty() ? user.distinguishedName : name;
}

Census census(const Exchange& exchange, const People& people, const QString& context,
              const std::vector<topology::Domain>& others) {
    Census counted;
    QSet<QString> seen;
    const auto count = [&](const std::vector<engine::Entry>& users, const auto& add) {
        for (const engine::Entry& user : users) {
            seen.insert(nameKey(user.distinguishedName));
            add(counted[homeServer(exchange, user)], user);
        }
    };
    count(people.listed, [](Residents& on, const auto&) { ++on.listed; });
    count(people.unlisted, [](Residents& on, const auto& user) { on.unlisted.push_back(&user); });
    count(people.stores, [](Residents& on, const auto&) { ++on.systemMailboxes; });
    const auto isElsewhere = [&](const QString& name) {
        return !isBelow(name, context) || isBelow(name, exchange.configuration) ||
               std::any_of(others.begin(), others.end(), [&](const topology::Domain& other) {
                   return nameKey(other.context) != nameKey(context) &&
                          isBelow(name, other.context) && isBelow(other.context, context);
               });
    };
    for (const engine::Entry& store : exchange.stores) {
        const QString name = engine::parentName(store.distinguishedName, LevelsOfStore);
        const QString server = exchange.serverNames.value(nameKey(name), name);
        for (const QByteArray& value : store.values(u"homeMDBBL"_s)) {
            const QString user = QString::fromUtf8(value);
            if (!seen.contains(nameKey(user)) && !isElsewhere(user))
                counted[server].hidden += user;
        }
    }
    return counted;
}

} // namespace rehome::companions
