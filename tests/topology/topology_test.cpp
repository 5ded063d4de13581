#include "support/rehearsal.h"
#include "topology/names.h"
#include "topology/servers.h"
#include "topology/stores.h"

#include <QTest>

using namespace rehome;
using namespace rehome::topology;
using test::OrganisationText;
using test::u;

namespace {

class TopologyTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void names() {
        const QString longest = QString(32766, u'a') + u',';
        QCOMPARE(FindUnescapedComma(u("a\\,b,c")), qint16(5));
        QCOMPARE(FindUnescapedComma(u("a\\\\,b")), qint16(0));
        QCOMPARE(FindUnescapedComma(longest), qint16(32767));
        QVERIFY_THROWS_EXCEPTION(Error, FindUnescapedComma(longest + u'b'));

        const QString dn =
            u("CN=St\\,ore,CN=S\\\\G1,CN=InformationStore,CN=E\\+X1,CN=Servers,DC=t");
        QCOMPARE(MakeStoreFullName(GetServerFromDN(dn), GetGroupFromDN(dn), GetStoreFromDN(dn)),
                 u("E+X1:SG1\\St,ore"));
        QVERIFY_THROWS_EXCEPTION(Error, GetServerFromDN(u("CN=a,CN=b,CN=c,CN=d")));
    }

    /// A second server of a name stops it: the first stays, and both names. Upper case is made unit
    /// by unit, so that "ß" is not "SS".
    void serversOfOneName() {
        OrganisationText text;
        for (const char* dn : {"CN=Straße", "CN=STRASSE", "CN=straße,CN=Other"})
            text.object(u(dn) + u(",CN=Configuration,DC=t"), {"msExchExchangeServer"});
        test::Rehearsal rehearsal(text);
        KeyedCollection<QString> names, dns;
        names.Add(u("stale"));
        QVERIFY_THROWS_EXCEPTION(Error, GetExchServers(rehearsal.directory, names, dns));
        QCOMPARE(QStringList(names.begin(), names.end()).join(u' '), "Straße STRASSE straße");
        QCOMPARE(dns.Count(), 2);
        QCOMPARE(dns.at("STRAßE"), "CN=Straße,CN=Configuration,DC=t");
    }

    void calls() {
        test::Rehearsal rehearsal;
        QCOMPARE(enumerate(rehearsal, {u("EX2")}),
                 QStringList({u("EX2:SG\\C Online"), u("EX2:SG\\D Offline")}));
        const QString server = OrganisationText::serverDN(u("EX2"));
        QString made = rehearsal.calls.made.join(u'|');
        made.replace(u("CN=SG,CN=InformationStore,") + server, u("GROUP"));
        QCOMPARE(made.replace(server, u("SERVER")),
                 u("session|read |session|find CN=Configuration,DC=t "
                   "(objectClass=msExchExchangeServer) name,distinguishedName,objectGUID|"
                   "read SERVER|server SERVER|"
                   "find SERVER (objectClass=msExchStorageGroup) distinguishedName|"
                   "read GROUP|read GROUP|read GROUP|" // to bind it, for its base name, to open it
                   "find GROUP (objectClass=msExchPrivateMDB) distinguishedName|"
                   "read CN=C,GROUP|status CN=C,GROUP|read CN=D,GROUP|status CN=D,GROUP"));
    }

    void recoveryGroupsAndStates() {
        OrganisationText text(u("ex1")); // differs from the server's name in letter case
        text.server(u("EX1"));
        int state = 1;
        for (const char* base : {"R00", "r01", "E02"})
            text.group(u("EX1/") + u(base), u("msExchESEParamBaseName: %1\n").arg(u(base)))
                .store(u("EX1/%1/S").arg(u(base)), state++);
        text.group(u("EX1/none")).store(u("EX1/none/S\\, T"));
        test::Rehearsal rehearsal(text);
        QCOMPARE(enumerate(rehearsal, {u("EX1")}),
                 QStringList({u("EX1:r01\\S Mounting"), u("EX1:E02\\S Dismounting"),
                              u("EX1:none\\S, T Online")}));
        QVERIFY(local.isEmpty());
    }

    /// Whichever call fails: the stores before it stay listed, and nothing more is asked.
    void cutShort() {
        OrganisationText text;
        text.server(u("EX1")).group(u("EX1/SG1")).group(u("EX1/SG2"));
        text.store(u("EX1/SG1/A")).store(u("EX1/SG2/B"));
        for (int n = 2; n < 17; ++n) { // behind those that find the servers
            test::Rehearsal rehearsal(text);
            rehearsal.calls.failing = u(" ");
            rehearsal.calls.which = {n};
            const QStringList listed = enumerate(rehearsal, {u("EX1"), u("unknown")});
            QCOMPARE(rehearsal.calls.failings, 1);
            rehearsal.calls.made.removeLast(); // the one that failed
            QCOMPARE(local.size(), rehearsal.calls.made.filter(u("status ")).size());
            QCOMPARE(listed.size(), local.size());
        }
    }

private:
    /// Runs the enumeration for the servers, the local one being the organisation's.
    QStringList enumerate(test::Rehearsal& rehearsal, const QStringList& servers) {
        KeyedCollection<QString> names, dns;
        GetExchServers(rehearsal.directory, names, dns);
        StoreCatalogue catalogue;
        local.clear();
        StoreEnumeration stores(rehearsal.directory, rehearsal.exchange);
        for (const QString& server : servers)
            stores.GetServerStores(server, rehearsal.network.ComputerName(), dns, catalogue,
                                   [this](const QString& name) { local += name; });
        QStringList listed;
        for (const auto& store : catalogue)
            listed += store->FullName() + u' ' + store->StringStatus();
        return listed;
    }

    QStringList local;
};

} // namespace

QTEST_MAIN(TopologyTest)
#include "topology_test.moc"
