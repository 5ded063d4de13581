#include "companions/checks.h"

#include "companions/console.h"
#include "companions/object_groups.h"
#include "listing/mailbox_reader.h"
#include "platform/engine/escape.h"
#include "topology/names.h"

#include <QSet>

#include <algorithm>

namespace rehome::companions {

using namespace Qt::Literals::StringLiterals;

namespace {

const QString StoreHint = u"The distinguished name of a mailbox store"_s;

/// Returns a name without invisible and bidirectional characters; all spaces become U+0020.
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

/// Returns a key that is the same for names that look the same.
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

void checkStore(Report& report, const QSet<QString>& stores, const engine::Entry& user) {
    const QString home = user.text(u"homeMDB"_s);
    if (stores.contains(nameKey(home)))
        return;
    report.finding({u"homeMDB of %1 is no mailbox store: %2"_s.arg(nameOf(user), home),
                    topology::shownStoreName(home) == home ? u"The list stops there."_s
                                                           : u"The list shows Unreachable."_s});
    report.remedy(user, u"replace"_s, u"homeMDB"_s, {StoreHint});
}

/// `server` is the users' key in a census. When a store is deleted, Active Directory removes its
/// name from all users.
void checkHomeless(Report& report, const Exchange& exchange, const QString& server,
                   const Objects& users) {
    const bool isGone = server.startsWith(u'/');
    if (!isGone && users.size() == 1) {
        report.finding({u"%1 has no homeMDB: the list stops there."_s.arg(nameOf(*users[0])),
                        u"msExchHomeServerName is %1."_s.arg(serverName(server))});
        return report.remedy(*users[0], u"add"_s, u"homeMDB"_s, {StoreHint});
    }
    const QString problem =
        isGone ? u"The Exchange server %1 was removed from the directory, and %2 of its users have "
                 "no homeMDB: the list stops at the first one. To move them:"_s
               : u"%2 users of the Exchange server %1 have no homeMDB: the list stops at the first "
                 u"one. "
                 "Their mailbox store was probably removed from the directory. To move them:"_s;
    report.finding(
        {problem.arg(serverName(server), QString::number(users.size())),
         u"1. Make an empty mailbox store on %1 with Exchange's own tools, for this alone."_s.arg(
             exchange.local),
         u"2. Save the LDIF below as gone.ldif. Apply it with the store's distinguished name:"_s,
         u"   export STORE='CN=STORE,CN=GROUP,CN=InformationStore,…'"_s,
         u"   awk '/the empty store[)]$/ { $0 = \"homeMDB: \" ENVIRON[\"STORE\"] } 1' gone.ldif | "
         "ldapmodify -QY GSSAPI"_s,
         u"3. In Rehome, press Refresh. Choose \"Mailboxes from store\" and that store. Move the "
         "mailboxes to another store of %1."_s.arg(exchange.local)});
    for (const engine::Entry* user : users)
        report.remedy(*user, u"replace"_s, u"homeMDB"_s, {}, u" (the empty store)"_s);
}

void checkNames(Report& report, const Objects& listed) {
    for (const auto& [name, group] : groupsByKey(listed, [](const engine::Entry& user) {
             const QString shown = user.text(u"displayName"_s);
             return shown.isEmpty() ? QStringList() : QStringList{seen(shown)};
         })) {
        QStringList lines{u"These display names look the same; change all but one:"_s};
        for (const engine::Entry* user : group)
            lines += u"%1  (%2)"_s.arg(nameOf(*user), user->text(u"mail"_s));
        report.finding(lines);
        for (const engine::Entry* user : group)
            report.remedy(*user, u"replace"_s, u"displayName"_s,
                          {u"Such as: displayName: %1 (%2)"_s.arg(visible(nameOf(*user)),
                                                                  user->text(u"mailNickname"_s))});
    }
}

void checkAddresses(Report& report, const Objects& everybody) {
    for (const auto& [address, group] : groupsByKey(everybody, addresses)) {
        QStringList lines{
            u"%1 users have the address %2: Rehome cannot open their mailboxes after a move."_s
                .arg(group.size())
                .arg(address)};
        for (const engine::Entry* user : group)
            lines += user->distinguishedName;
        report.finding(lines + QStringList{u"Remove it from all but one:"_s});
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

} // namespace

void checkUsers(Report& report, const Exchange& exchange, const People& people) {
    const Objects listed = pointers(people.listed);
    if (people.listed.size() > size_t(listing::MailboxReader::MostRows)) {
        report.finding(
            {u"There are %1 mailboxes, and the list stops at %2."_s.arg(people.listed.size())
                 .arg(listing::MailboxReader::MostRows)});
        report.blank();
    }
    QStringList later;
    for (const engine::Entry* user : listed)
        if (!user->values(u"msExchVersion"_s).isEmpty())
            later += u"  "_s + user->text(u"mail"_s);
    if (!later.isEmpty()) {
        report.remark(
            QStringList{u"Exchange 2007 or later mailboxes, which Rehome lists but does not move: "
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
    std::map<QString, Objects> homeless;
    for (const engine::Entry* user : listed) {
        if (user->values(u"displayName"_s).isEmpty()) {
            report.finding({u"A user has no displayName: the list stops there."_s});
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
                 u"Get the permission (guide, \"Permissions\")."_s});
            report.blank();
        } else {
            homeless[homeServer(exchange, *user)].push_back(user);
        }
    }
    for (const auto& [server, users] : homeless)
        checkHomeless(report, exchange, server, users);
    Objects everybody = listed;
    for (const auto* kind : {&people.unlisted, &people.stores, &people.homeless})
        for (const engine::Entry* user : pointers(*kind))
            everybody.push_back(user);
    checkAddresses(report, everybody);
    checkNames(report, listed);
}

} // namespace rehome::companions
