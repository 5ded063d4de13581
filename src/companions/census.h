#pragma once

#include "platform/engine/engine.h"
#include "platform/engine/exchange_probe.h"
#include "topology/domains.h"

#include <QHash>
#include <QString>

#include <map>
#include <vector>

namespace rehome::companions {

/// A distinguished name in the form that compares equal, whichever way it is spelt.
QString nameKey(const QString& distinguishedName);

/// The Exchange organisation, which all domains of a forest share.
struct Exchange {
    QString domain;        ///< the naming context of the domain that was asked
    QString configuration; ///< that of the configuration
    QString local;         ///< the local server's name
    std::vector<engine::Entry> servers, groups, stores;
    QHash<QString, QString> lost; ///< why a server does not respond, by nameKey
    /// The distinguished names of the servers, by nameKey and by `legacyExchangeDN` in capitals.
    QHash<QString, QString> serverNames;
};

/// Throws Error if anything is missing that only a missing permission or a wrong server explains.
Exchange readExchange(engine::Session& session, engine::ExchangeProbe& probe,
                      const QString& localServer);

/// What one domain holds that has to do with mailboxes.
struct People {
    std::vector<engine::Entry> listed;   ///< the mailboxes that the list of the window shows
    std::vector<engine::Entry> unlisted; ///< what else has a home
    std::vector<engine::Entry> stores;   ///< objects of the stores themselves: system mailboxes
    std::vector<engine::Entry> homeless; ///< users with an address and without a home
};

/// `context` is the domain's distinguished name. Throws Error.
People readPeople(engine::Session& session, const QString& context);

/// How many mailboxes one server holds.
struct Residents {
    qsizetype listed = 0;
    std::vector<const engine::Entry*> unlisted;
    qsizetype systemMailboxes = 0;
    QStringList hidden; ///< the distinguished names of those that only their store tells of
};

/// By the server: its distinguished name or, if its object is gone, the one that a store's name
/// gives, or the `legacyExchangeDN` that it had, in capitals.
using Census = std::map<QString, Residents>;

/// `others`: the domains whose objects are not to be counted as hidden. The census refers to
/// `people`.
Census census(const Exchange& exchange, const People& people, const QString& context,
              const std::vector<topology::Domain>& others);

/// The key of a user's server in a census.
QString homeServer(const Exchange& exchange, const engine::Entry& user);

} // namespace rehome::companions
