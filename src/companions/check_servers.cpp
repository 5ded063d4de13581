#include "companions/checks.h"

#include "companions/object_groups.h"
#include "platform/engine/escape.h"
#include "platform/text_case.h"
#include "topology/names.h"

#include <QSet>

#include <algorithm>

namespace rehome::companions {

using namespace Qt::Literals::StringLiterals;

namespace {

/// Recovery storage groups do not count.
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
                    u"%1 differs from it in letter case only, and the names must be the same."_s
                        .arg(names.last());
            continue;
        }
        found = true;
        if (!hasStore(exchange, server)) {
            report.finding(
                {u"The local server %1 has no mailbox store, so there is no destination."_s.arg(
                     exchange.local),
                 u"Make a mailbox store with Exchange's own tools."_s});
            report.blank();
        }
        if (server.values(u"legacyExchangeDN"_s).isEmpty()) {
            report.finding(
                {u"The local server %1 has no legacyExchangeDN, so no mailbox can be created on "
                 "it."_s.arg(exchange.local)});
            report.remedy(server, u"add"_s, u"legacyExchangeDN"_s);
        }
    }
    if (found)
        return;
    report.finding(QStringList{u"No Exchange server has this computer's name, %1, so there is no "
                               "destination."_s.arg(exchange.local)} +
                   hints + QStringList{localHint.arg(names.join(u", "_s))});
    report.blank();
}

} // namespace

void checkServers(Report& report, const Exchange& exchange, const QString& localHint) {
    for (const auto& [name, group] :
         groupsByKey(pointers(exchange.servers), [](const engine::Entry& server) {
             return QStringList{platform::upperCase(server.text(u"name"_s))};
         })) {
        report.finding(
            {u"Two servers are called %1: the list stays empty. Rename one of them:"_s.arg(
                group[0]->text(u"name"_s))});
        for (auto other = group.begin() + 1; other != group.end(); ++other)
            report.rename(**other);
    }
    checkLocalServer(report, exchange, localHint);
    for (const auto& [name, group] :
         groupsByKey(pointers(exchange.stores), [](const engine::Entry& store) {
             return QStringList{
                 platform::upperCase(topology::shownStoreName(store.distinguishedName))};
         })) {
        report.finding(
            {u"%1 stores are called %2: Rehome moves mailboxes to the first one only. Rename the others:"_s
                 .arg(QString::number(group.size()),
                      topology::shownStoreName(group[0]->distinguishedName))});
        for (auto other = group.begin() + 1; other != group.end(); ++other)
            report.rename(**other);
    }
}

void checkRecipientUpdateService(Report& report, const Exchange& exchange) {
    constexpr int LinkedValueReplication = 2; // Windows Server 2003
    if (exchange.forestLevel < LinkedValueReplication)
        return;
    for (const engine::Entry& policy : exchange.mailboxPolicies) {
        const QString filter = policy.text(u"purportedSearch"_s);
        // As Exchange sets it up, it matches users with any one of three attributes.
        if (!filter.contains("(|"_L1) ||
            !filter.contains("msExchHomeServerName"_L1, Qt::CaseInsensitive))
            continue;
        report.remark(
            {u"The Recipient Update Service may give a moved user another store of the same server "
             "(Microsoft KB 903291): homeMDB replicates after the other attributes, and the filter "
             "purportedSearch of %1 matches users without homeMDB: %2"_s.arg(
                 policy.distinguishedName, filter),
             u"After the run, wait for replication, and compare with rehome-records --now."_s});
        report.blank();
    }
}

} // namespace rehome::companions
