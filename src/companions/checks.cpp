#include "companions/checks.h"

#include "companions/console.h"
#include "listing/mailbox_reader.h"
#include "platform/engine/escape.h"
#include "platform/error.h"
#include "platform/text_case.h"
#include "topology/names.h"

#include <QSet>

#include <algorithm>

namespace rehome::companions {

using namespace Qt::Literals::StringLiterals;

namespace {

using Users = std::vector<const engine::Entry*>;

const QString HomeHint = u"The distinguished name of a mailbox store"_s;

/// Groups of two and more objects that have a key in common, by that key.
std::map<QString, Users> shared(const Users& objects, const auto& keysOf) {
    std::map<QString, Users> groups;
    for (const engine::Entry* object : objects)
        for (const QString& key : keysOf(*object))
            groups[key].push_back(object);
    std::erase_if(groups, [](const auto& group) { return group.second.size() < 2; });
    return groups;
}

Users pointers(const std::vector<engine::Entry>& objects) {
    Users users;
    for (const engine::Entry& object : objects)
        users.push_back(&object);
    return users;
}

/// A name without invisible and bidirectional characters, its blanks alike.
QString visible(const QString& name) {
    // Letters and marks that show nothing, and variation selectors.
    static const QString invisible = u"\u034f\u115f\u1160\u17b4\u17b5\u3164\uffa0"_s;
    QString shown;
    for (const char32_t point : name.toUcs4())
        if (QChar::category(point) != QChar::Other_Format &&
            !(point >= 0xFE00 && point <= 0xFE0F) &&
            !(point <= 0xFFFF && invisible.contains(QChar(char16_t(point)))))
            shown += QChar::fromUcs4(point);
    return shown.simplified();
}

/// A name as a person sees it.
QString seen(const QString& name) {
    return visible(name.toCaseFolded().normalized(QString::NormalizationForm_KC));
}

QStringList addresses(const engine::Entry& user) {
    QSet<QString> found;
    for (const QByteArray& value : user.values(u"proxyAddresses"_s))
        if (const QString text = QString::fromUtf8(value).toLower(); text.startsWith("smtp:"_L1))
            found.insert(text.sliced(5));
    if (const QString mail = user.text(u"mail"_s); !mail.isEmpty())
        found.insert(mail.toLower());
    return found.values();
}

/// Empty if the name has too few components.
QString storeName(const QString& store) {
    try {
        return topology::StoreFullNameFromDN(store);
    } catch (const Error&) {
        return {};
    }
}

QString nameOf(const engine::Entry& user) {
    const QString name = user.text(u"displayName"_s);
    return name.isEmpty() ? user.distinguishedName : name;
}

/// What a server is called, by its key in a census.
QString serverName(const QString& server) {
    return server.startsWith(u'/') ? server.section(u"/CN="_s, -1) : engine::firstValue(server);
}

bool hasStore(const Exchange& exchange, const engine::Entry& server) {
    QSet<QString> recovery;
    for (const engine::Entry& group : exchange.groups)
        if (topology::isRecoveryBaseName(group.text(u"msExchESEParamBaseName"_s)))
            recovery.insert(nameKey(group.distinguishedName));
    return std::any_of(exchange.stores.begin(), exchange.stores.end(), [&](const auto& store) {
        const QString& name = store.distinguishedName;
        return nameKey(engine::parentName(name, 3)) == nameKey(server.distinguishedName) &&
               !recovery.contains(nameKey(engine::parentName(name)));
    });
}

void checkLocalServer(Report& report, const Exchange& exchange, const QString& localHint) {
    QStringList names, hints;
    bool found = false;
    for (const engine::Entry& server : exchange.servers) {
        names += server.text(u"name"_s);
        if (names.last() != exchange.local) {
            if (platform::areSameInCapitals(names.last(), exchange.local))
                hints +=
                    u"%1 differs from it in letter case only, which counts."_s.arg(names.last());
            continue;
        }
        found = true;
        if (!hasStore(exchange, server)) {
            report.finding({u"The local server %1 has no mailbox store, so nothing can be a "
                            "destination."_s.arg(exchange.local),
                            u"Make one with Exchange's own tools."_s});
            report.blank();
        }
        if (server.values(u"legacyExchangeDN"_s).isEmpty()) {
            report.finding(
                {u"The local server %1 has no legacyExchangeDN: no mailbox can be created "
                 "on it."_s.arg(exchange.local)});
            report.remedy(server, u"add"_s, u"legacyExchangeDN"_s);
        }
    }
    if (found)
        return;
    report.finding(
        QStringList{u"No Exchange server is called %1, so no store is local, and none can "
                    "be a destination."_s.arg(exchange.local)} +
        hints + QStringList{localHint.arg(names.join(u", "_s))});
    report.blank();
}

void checkStore(Report& report, const QSet<QString>& stores, const engine::Entry& user) {
    const QString home = user.text(u"homeMDB"_s);
    if (stores.contains(nameKey(home)))
        return;
    report.finding({u"The home store of %1 is no mailbox store: %2"_s.arg(nameOf(user), home),
                    u"The list "_s + (storeName(home).isEmpty() ? u"stops there."_s
                                                                : u"calls it Unreachable."_s)});
    report.remedy(user, u"replace"_s, u"homeMDB"_s, {HomeHint});
}

/// `server` is the key of a census, that of the users. A directory removes a store's name from all
/// users when the store is deleted.
void checkHomeless(Report& report, const Exchange& exchange, const QString& server,
                   const Users& users) {
    const bool isGone = server.startsWith(u'/');
    if (!isGone && users.size() == 1) {
        report.finding({u"%1 has no home store: the list stops there."_s.arg(nameOf(*users[0])),
                        u"By its home server it was on "_s + serverName(server)});
        return report.remedy(*users[0], u"add"_s, u"homeMDB"_s, {HomeHint});
    }
    const QString problem =
        isGone ? u"The Exchange server %1 was removed from the directory, and %2 of its users have "
                 "no home store: the list stops at the first one. To move them:"_s
               : u"%2 users of the Exchange server %1 have no home store, as if the store had been "
                 u"removed "
                 "from the directory: the list stops at the first one. To move them:"_s;
    report.finding(
        {problem.arg(serverName(server), QString::number(users.size())),
         u"1. Make an empty mailbox store on %1 with Exchange's own tools, for this alone."_s.arg(
             exchange.local),
         u"2. Save the LDIF below as gone.ldif. Write the store's distinguished name into it and "
         "apply it:"_s,
         u"   sed -i 's/^homeMDB ??? (the empty store)/homeMDB: CN=STORE,CN=GROUP,"
         "CN=InformationStore,…/' gone.ldif"_s,
         u"   ldapmodify -QY GSSAPI -f gone.ldif"_s,
         u"3. In Rehome, press Refresh. Choose \"Mailboxes from store\" and that store, and move "
         "them to another store of %1."_s.arg(exchange.local)});
    for (const engine::Entry* user : users)
        report.remedy(*user, u"replace"_s, u"homeMDB"_s, {}, u" (the empty store)"_s);
}

void checkNames(Report& report, const Users& listed) {
    for (const auto& [name, group] : shared(listed, [](const engine::Entry& user) {
             const QString shown = user.text(u"displayName"_s);
             return shown.isEmpty() ? QStringList() : QStringList{seen(shown)};
         })) {
        QStringList lines{u"Nobody can tell these names apart; all but one should be changed:"_s};
        for (const engine::Entry* user : group)
            lines += u"%1  (%2)"_s.arg(nameOf(*user), user->text(u"mail"_s));
        report.finding(lines);
        for (const engine::Entry* user : group)
            report.remedy(*user, u"replace"_s, u"displayName"_s,
                          {u"Such as: displayName: %1 (%2)"_s.arg(visible(nameOf(*user)),
                                                                  user->text(u"mailNickname"_s))});
    }
}

void checkAddresses(Report& report, const Users& everybody) {
    for (const auto& [address, group] : shared(everybody, addresses)) {
        QStringList lines{
            u"%1 users have the address %2: a mailbox that is moved is not found by it "
            "and counts as not opened."_s.arg(group.size())
                .arg(address)};
        for (const engine::Entry* user : group)
            lines += user->distinguishedName;
        report.finding(lines + QStringList{u"It should be taken from all but one:"_s});
        for (const engine::Entry* user : group) {
            for (const QString& attribute : {u"mail"_s, u"proxyAddresses"_s}) {
                for (const QByteArray& value : user->values(attribute)) {
                    const QString text = QString::fromUtf8(value).toLower();
                    if (text == address || text == u"smtp:"_s + address)
                        report.remark(
                            {{},
                             ldifLine(u"dn"_s, user->distinguishedName.toUtf8()).chopped(1),
                             u"changetype: modify"_s,
                             u"delete: "_s + attribute,
                             ldifLine(attribute, value).chopped(1)});
                }
            }
        }
        report.blank();
    }
}

/// What to type to look at another domain.
QString commandFor(const OtherDomain& other) {
    QString server;
    for (const auto* kind : {&other.people.listed, &other.people.unlisted})
        for (const engine::Entry& user : *kind)
            server = user.server;
    return u"LDAPURI=%1 rehome-check"_s.arg(server.isEmpty() ? u"ldap://HOST."_s + other.domain.name
                                                             : shellWord(server));
}

/// Why the list does not show a mailbox, and the attributes that it lacks.
QString reason(const engine::Entry& user, QStringList& lacks) {
    const auto classes = user.values(u"objectClass"_s);
    if (!classes.isEmpty() && !classes.contains("user"))
        return u"no user object, but of the class "_s + QString::fromUtf8(classes.last());
    QStringList reasons;
    for (const auto& [attribute, words] :
         {std::pair(u"mailNickname"_s, u"no alias (mailNickname)"_s),
          {u"mail"_s, u"no e-mail address (mail)"_s}}) {
        if (user.values(attribute).isEmpty()) {
            reasons += words;
            lacks += attribute;
        }
    }
    return reasons.isEmpty() ? u"not of the category person"_s : reasons.join(u" and "_s);
}

void tellUnlisted(Report& report, const Residents& on, bool isLost) {
    const QString whose = isLost ? u"%1 is on a server that is lost, and is not listed: %2"_s
                                 : u"  not listed: %1: %2"_s;
    for (const engine::Entry* user : on.unlisted) {
        QStringList lacks;
        const QString line = whose.arg(nameOf(*user), reason(*user, lacks));
        if (!isLost) {
            report.remark({line});
            continue;
        }
        report.finding({line, user->distinguishedName});
        if (lacks.isEmpty())
            report.blank();
        for (const QString& attribute : lacks)
            report.remedy(*user, u"add"_s, attribute);
    }
    if (on.hidden.isEmpty())
        return;
    const QStringList lines =
        QStringList{u"%1 more that you have no permission to read:"_s.arg(on.hidden.size())} +
        on.hidden;
    if (!isLost)
        return report.remark(lines);
    report.finding(lines);
    report.blank();
}

} // namespace

void checkServers(Report& report, const Exchange& exchange, const QString& localHint) {
    for (const auto& [name, group] :
         shared(pointers(exchange.servers), [](const engine::Entry& server) {
             return QStringList{platform::upperCase(server.text(u"name"_s))};
         })) {
        report.finding({u"Two servers are called %1: nothing can be listed."_s.arg(
            group[0]->text(u"name"_s))});
        for (auto other = group.begin() + 1; other != group.end(); ++other)
            report.rename(**other);
    }
    checkLocalServer(report, exchange, localHint);
    for (const auto& [name, group] :
         shared(pointers(exchange.stores), [](const engine::Entry& store) {
             const QString full = storeName(store.distinguishedName);
             return full.isEmpty() ? QStringList() : QStringList{platform::upperCase(full)};
         })) {
        report.finding({u"%1 stores are called %2: a move to it takes the first of them."_s.arg(
            QString::number(group.size()), storeName(group[0]->distinguishedName))});
        for (auto other = group.begin() + 1; other != group.end(); ++other)
            report.rename(**other);
    }
}

void checkUsers(Report& report, const Exchange& exchange, const People& people) {
    const Users listed = pointers(people.listed);
    if (people.listed.size() > size_t(listing::MailboxReader::MostRows)) {
        report.finding({u"There are %1 mailboxes, and the list holds at most %2: it stops there."_s
                            .arg(people.listed.size())
                            .arg(listing::MailboxReader::MostRows)});
        report.blank();
    }
    QStringList later;
    for (const engine::Entry* user : listed)
        if (!user->values(u"msExchVersion"_s).isEmpty())
            later += u"  "_s + user->text(u"mail"_s);
    if (!later.isEmpty()) {
        report.remark(
            QStringList{u"Exchange 2007 or later mailboxes, which are listed but not moved: "
                        "%1"_s.arg(later.size())} +
            later);
        report.blank();
    }
    QSet<QString> stores, residents;
    for (const engine::Entry& store : exchange.stores) {
        stores.insert(nameKey(store.distinguishedName));
        for (const QByteArray& user : store.values(u"homeMDBBL"_s))
            residents.insert(nameKey(QString::fromUtf8(user)));
    }
    std::map<QString, Users> homeless;
    for (const engine::Entry* user : listed) {
        if (user->values(u"displayName"_s).isEmpty()) {
            report.finding({u"A user has no display name: the list stops there."_s});
            report.remedy(
                *user, u"add"_s, u"displayName"_s,
                {u"Such as: displayName: "_s + engine::firstValue(user->distinguishedName)});
        }
        if (!user->values(u"homeMDB"_s).isEmpty()) {
            checkStore(report, stores, *user);
        } else if (residents.contains(nameKey(user->distinguishedName))) {
            report.finding(
                {u"You have no permission to read homeMDB of %1: the list stops there."_s.arg(
                     nameOf(*user)),
                 u"Get the permission (guide, section 7)."_s});
            report.blank();
        } else {
            homeless[homeServer(exchange, *user)].push_back(user);
        }
    }
    for (const auto& [server, users] : homeless)
        checkHomeless(report, exchange, server, users);
    Users everybody = listed;
    for (const auto* kind : {&people.unlisted, &people.stores, &people.homeless})
        for (const engine::Entry* user : pointers(*kind))
            everybody.push_back(user);
    checkAddresses(report, everybody);
    checkNames(report, listed);
}

qsizetype checkWhereabouts(Report& report, const Exchange& exchange, const People& people,
                           const std::vector<OtherDomain>& others) {
    std::vector<topology::Domain> domains;
    for (const OtherDomain& other : others)
        domains.push_back(other.domain);
    const Census own = census(exchange, people, exchange.domain, domains);
    std::vector<Census> elsewhere;
    QSet<QString> servers;
    for (const auto& [server, on] : own)
        servers.insert(server);
    for (const engine::Entry& server : exchange.servers)
        servers.insert(server.distinguishedName);
    for (const OtherDomain& other : others) {
        elsewhere.push_back(census(exchange, other.people, other.domain.context, domains));
        for (const auto& [server, on] : elsewhere.back())
            servers.insert(server);
    }
    const auto isLost = [&](const QString& server) {
        return !exchange.serverNames.contains(nameKey(server)) ||
               exchange.lost.contains(nameKey(server));
    };
    QStringList inOrder = servers.values();
    std::sort(inOrder.begin(), inOrder.end(), [&](const QString& a, const QString& b) {
        return std::pair(!isLost(a), nameKey(a)) < std::pair(!isLost(b), nameKey(b));
    });
    report.remark(
        {u"Who is where, in the domain %1:"_s.arg(topology::domainName(exchange.domain))});
    qsizetype onLost = 0;
    for (const QString& server : inOrder) {
        const auto found = own.find(server);
        const Residents on = found == own.end() ? Residents() : found->second;
        const bool lost = isLost(server);
        onLost += lost ? on.listed : 0;
        const QString why =
            exchange.lost.value(nameKey(server), u"it is gone from the directory"_s);
        report.remark({u"%1%2: %3 listed, %4 not listed, %5 system mailboxes"_s.arg(
            serverName(server), lost ? u" (lost: %1)"_s.arg(why) : QString(),
            QString::number(on.listed), QString::number(on.unlisted.size() + on.hidden.size()),
            QString::number(on.systemMailboxes))});
        if (!lost)
            tellUnlisted(report, on, lost);
        for (size_t i = 0; i < others.size(); ++i) {
            const auto there = elsewhere[i].find(server);
            if (there == elsewhere[i].end())
                continue;
            const auto persons =
                there->second.listed + there->second.unlisted.size() + there->second.hidden.size();
            const QString line =
                u"%1 mailboxes of the domain %2 are on %3, and are not in this "
                "list."_s.arg(QString::number(persons), others[i].domain.name, serverName(server));
            if (persons > 0 && lost)
                report.finding({line, u"Next for them: "_s + commandFor(others[i])});
            else if (persons > 0)
                report.remark({line});
        }
    }
    report.blank();
    for (const QString& server : inOrder)
        if (const auto found = own.find(server); found != own.end() && isLost(server))
            tellUnlisted(report, found->second, true);
    for (const OtherDomain& other : others) {
        if (other.failure.isEmpty())
            continue;
        report.finding(
            {u"The domain %1 could not be asked, so its mailboxes are not counted: %2"_s.arg(
                 other.domain.name, other.failure),
             u"Next for them: "_s + commandFor(other)});
        report.blank();
    }
    return onLost;
}

} // namespace rehome::companions
