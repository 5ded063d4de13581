#pragma once

#include "platform/engine/engine.h"
#include "platform/engine/exchange_probe.h"
#include "topology/domains.h"

#include <QHash>
#include <QString>

#include <map>
#include <vector>

namespace rehome::companions {

/// Returns a distinguished name in a form that is the same for all its spellings.
QString nameKey(const QString& distinguishedName);

/// The Exchange organisation, which all domains of a forest share.
struct Exchange {
    QString domain;        ///< the naming context of the session's domain
    QString configuration; ///< the naming context of the configuration
    QString local;         ///< the local server's name
    std::vector<engine::Entry> servers, groups, stores;
    int forestLevel = 0; ///< `forestFunctionality` ([MS-ADTS] 3.1.1.3.2.25)
    /// The Recipient Update Service's "Mailbox Enable User" policies, with `purportedSearch`.
    std::vector<engine::Entry> mailboxPolicies;
    /// Why a server did not respond, by nameKey. One check of a few seconds cannot tell whether the
    /// server is lost.
    QHash<QString, QString> unresponsive;
    /// The distinguished names of the servers, by nameKey and by `legacyExchangeDN` in upper case.
    QHash<QString, QString> serverNames;
};

/// Throws Error if something is missing that only a missing permission or a wrong server explains.
Exchange readExchange(engine::Session& session, engine::ExchangeProbe& probe,
                      const QString& localServer);

/// The users of one domain, and other objects with a mailbox.
struct People {
    std::vector<engine::Entry> listed;   ///< the mailboxes that the list of the window shows
    std::vector<engine::Entry> unlisted; ///< other objects with a mailbox store or Exchange server
    std::vector<engine::Entry> stores;   ///< objects of the stores themselves: system mailboxes
    std::vector<engine::Entry> homeless; ///< users with an address, and without both
};

/// `context` is the domain's distinguished name. Throws Error.
People readPeople(engine::Session& session, const QString& context);

/// How many mailboxes one server holds.
struct Residents {
    qsizetype listed = 0;
    std::vector<const engine::Entry*> unlisted;
    qsizetype systemMailboxes = 0;
    QStringList hidden; ///< distinguished names that only the store holds: no permission to read
};

/// The key is the server's distinguished name. If the server's object is gone, the key is the name
/// above the store's name, or the server's former `legacyExchangeDN` in upper case.
using Census = std::map<QString, Residents>;

/// `others`: the domains whose objects do not count as hidden. The census points into `people`.
Census census(const Exchange& exchange, const People& people, const QString& context,
              const std::vector<topology::Domain>& others);

/// Returns the key of a user's server in a census.
QString homeServer(const Exchange& exchange, const engine::Entry& user);

/// Returns the name of the server with that key in a census.
QString serverName(const QString& server);

/// Returns the display name of a user; the distinguished name if there is none.
QString nameOf(const engine::Entry& user);

} // namespace rehome::companions
