#include "companions/checks.h"

#include "journal/shell_word.h"

#include <QSet>

#include <algorithm>

namespace rehome::companions {

using namespace Qt::Literals::StringLiterals;

namespace {

/// Returns the command that checks another domain.
QString commandFor(const OtherDomain& other) {
    QString server;
    for (const auto* kind : {&other.people.listed, &other.people.unlisted})
        for (const engine::Entry& user : *kind)
            server = user.server;
    return u"LDAPURI=%1 rehome-check"_s.arg(server.isEmpty() ? u"ldap://HOST."_s + other.domain.name
                                                             : journal::shellWord(server));
}

/// Returns why the list does not show a mailbox. Adds to `lacks` the attributes that must be set.
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

/// `isDown`: the server did not respond, or its object is gone. `server` is its name.
void reportUnlisted(Report& report, const Residents& on, const QString& server, bool isDown) {
    for (const engine::Entry* user : on.unlisted) {
        QStringList lacks;
        const QString name = nameOf(*user), why = reason(*user, lacks);
        const QString line = isDown ? u"%1 is on %2 and is not listed: %3"_s.arg(name, server, why)
                                    : u"  not listed: %1: %2"_s.arg(name, why);
        if (!isDown) {
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
        QStringList{u"%1 more on %2 that you have no permission to read:"_s.arg(
            QString::number(on.hidden.size()), server)} +
        on.hidden;
    if (!isDown)
        return report.remark(lines);
    report.finding(lines);
    report.blank();
}

} // namespace

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
    const auto isDown = [&](const QString& server) {
        return !exchange.serverNames.contains(nameKey(server)) ||
               exchange.unresponsive.contains(nameKey(server));
    };
    QStringList inOrder = servers.values();
    std::sort(inOrder.begin(), inOrder.end(), [&](const QString& a, const QString& b) {
        return std::pair(!isDown(a), nameKey(a)) < std::pair(!isDown(b), nameKey(b));
    });
    report.remark(
        {u"Mailboxes of the domain %1, by server:"_s.arg(topology::domainName(exchange.domain))});
    qsizetype onDown = 0;
    for (const QString& server : inOrder) {
        const auto found = own.find(server);
        const Residents on = found == own.end() ? Residents() : found->second;
        const bool down = isDown(server);
        onDown += down ? on.listed : 0;
        const QString why = exchange.unresponsive.value(nameKey(server));
        const QString state = !down           ? QString()
                              : why.isEmpty() ? u" (removed from the directory)"_s
                                              : u" (did not respond: %1)"_s.arg(why);
        report.remark({u"%1%2: %3 listed, %4 not listed, %5 system mailboxes"_s.arg(
            serverName(server), state, QString::number(on.listed),
            QString::number(on.unlisted.size() + on.hidden.size()),
            QString::number(on.systemMailboxes))});
        if (!down)
            reportUnlisted(report, on, serverName(server), false);
        for (size_t i = 0; i < others.size(); ++i) {
            const auto there = elsewhere[i].find(server);
            if (there == elsewhere[i].end())
                continue;
            const auto persons =
                there->second.listed + there->second.unlisted.size() + there->second.hidden.size();
            const QString line =
                u"%1 mailboxes of the domain %2 are on %3, and are not in this "
                "list."_s.arg(QString::number(persons), others[i].domain.name, serverName(server));
            if (persons > 0 && down)
                report.finding({line, u"Next: "_s + commandFor(others[i])});
            else if (persons > 0)
                report.remark({line});
        }
    }
    report.blank();
    for (const QString& server : inOrder)
        if (const auto found = own.find(server); found != own.end() && isDown(server))
            reportUnlisted(report, found->second, serverName(server), true);
    for (const OtherDomain& other : others) {
        if (other.failure.isEmpty())
            continue;
        report.finding(
            {u"The domain %1 could not be read, so its mailboxes are not counted: %2"_s.arg(
                 other.domain.name, other.failure),
             u"Next: "_s + commandFor(other)});
        report.blank();
    }
    return onDown;
}

} // namespace rehome::companions
