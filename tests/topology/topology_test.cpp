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
    void commas() {
        const std::pair<QString, int> expected[] = {
            {u("CN=a\\,b,c"), 8}, {u("CN=a"), 0},    {QString(), 0},
            {u(",a"), 1},         {u("a\\\\,b"), 0}, {QString(32766, u'a') + u',', 32767}};
        for (const auto& [text, position] : expected)
            QCOMPARE(static_cast<int>(FindUnescapedComma(text)), position);
    }

    void names() {
        const QString dn =
            u("CN=St\\,ore,CN=S\\\\G1,CN=InformationStore,CN=E\\+X1,CN=Servers,DC=t");
        QCOMPARE(MakeStoreFullName(GetServerFromDN(dn), GetGroupFromDN(dn), GetStoreFromDN(dn)),
                 u("E+X1:SG1\\St,ore"));
        QCOMPARE(GetStoreFromDN(u("ab,x")), QString()); // a component shorter than "CN="
        QVERIFY_THROWS_EXCEPTION(Error, GetStoreFromDN(u("CN=a")));
        QVERIFY_THROWS_EXCEPTION(Error, GetGroupFromDN(u("CN=a,CN=b")));
        QVERIFY_THROWS_EXCEPTION(Error, GetServerFromDN(u("CN=a,CN=b,CN=c,CN=d")));
        QVERIFY_THROWS_EXCEPTION(Error, FindUnescapedComma(QString(32768, u'a')));
    }

    void guids() {
        const QByteArray octets = QByteArray::fromHex("00112233445566778899aabbccddeeff");
        QCOMPARE(OctetGuidToString(octets), u("{33221100-5544-7766-8899-AABBCCDDEEFF}"));
        QVERIFY_THROWS_EXCEPTION(Error, OctetGuidToString(QByteArray(15, 'x')));
        QVERIFY_THROWS_EXCEPTION(Error, OctetGuidToString(platform::Value()));
    }

    void keys() {
        KeyedCollection<QString> collection;
        collection.Add(u("1"), u("Straße"));
        collection.Add(u("2"), u("STRASSE")); // one unit maps to one: not the same key
        collection.Add(u("3"), u("ÄÖ"));
        collection.Add(u("4"));
        QVERIFY(CollectionContains(u("äö"), collection) && !CollectionContains(u("4"), collection));
        QVERIFY_THROWS_EXCEPTION(Error, collection.Add(u("5"), u("straße")));
        QCOMPARE(QStringList(collection.begin(), collection.end()).join(u' '), u("1 2 3 4"));
    }

    void servers() {
        test::Rehearsal rehearsal;
        KeyedCollection<QString> names;
        KeyedCollection<QString> dns;
        names.Add(u("stale"));
        GetExchServers(rehearsal.directory, names, dns);
        QCOMPARE(QStringList(names.begin(), names.end()), QStringList({u("EX1"), u("EX2")}));
        QCOMPARE(dns.at(u("ex2")), OrganisationText::serverDN(u("EX2")));
        QCOMPARE(rehearsal.calls.made.join(u'|'),
                 u("session|read |session|find CN=Configuration,DC=t "
                   "(objectClass=msExchExchangeServer) name,distinguishedName,objectGUID"));
        // A second server of the same name stops it: the first stays, and both names.
        OrganisationText twins;
        twins.server(u("EX1"));
        twins.object(u("CN=ex1,CN=Other,CN=Configuration,DC=t"), {"msExchExchangeServer"});
        test::Rehearsal doubled(twins);
        QVERIFY_THROWS_EXCEPTION(Error, GetExchServers(doubled.directory, names, dns));
        QCOMPARE(names.Count(), 2);
        QCOMPARE(dns.Count(), 1);
    }

    void storeCalls() {
        test::Rehearsal rehearsal;
        const QString server = OrganisationText::serverDN(u("EX2"));
        QCOMPARE(enumerate(rehearsal, {u("EX2")}),
                 QStringList({u("EX2:SG\\C Online"), u("EX2:SG\\D Offline")}));
        QVERIFY(local.isEmpty());
        const QString group = u("CN=SG,CN=InformationStore,") + server;
        QStringList expected = {
            u("read ") + server,
            u("server ") + server,
            u("find %1 (objectClass=msExchStorageGroup) distinguishedName").arg(server),
            u("read ") + group,
            u("read ") + group,
            u("read ") + group,
            u("find %1 (objectClass=msExchPrivateMDB) distinguishedName").arg(group)};
        for (const char* store : {"EX2/SG/C", "EX2/SG/D"})
            expected += {u("read ") + OrganisationText::storeDN(u(store)),
                         u("status ") + OrganisationText::storeDN(u(store))};
        QCOMPARE(rehearsal.calls.made, expected);
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
        StoreConfig unknown;
        unknown.init({}, 7, {}, {}, {});
        QCOMPARE(unknown.StringStatus(), QString());
    }

    void cutShort_data() {
        QTest::addColumn<QString>("failing");
        QTest::addColumn<int>("which");
        QTest::addColumn<QStringList>("kept");
        QTest::newRow("server down") << u("server CN=EX1,") << 0 << QStringList();
        for (int i = 0; i < 3; ++i) // bound, base name loaded, opened
            QTest::addRow("second group, read %d", i)
                << u("read CN=SG2,") << i << QStringList(u("EX1:SG1\\A"));
        QTest::newRow("second store") << u("read CN=B,") << 0 << QStringList(u("EX1:SG1\\A"));
    }
    void cutShort() {
        OrganisationText text;
        text.server(u("EX1")).group(u("EX1/SG1")).group(u("EX1/SG2"));
        text.store(u("EX1/SG1/A")).store(u("EX1/SG2/B"));
        test::Rehearsal rehearsal(text);
        QFETCH(QString, failing);
        QFETCH(int, which);
        rehearsal.calls.failing = failing;
        rehearsal.calls.which = {which};
        enumerate(rehearsal, {u("EX1"), u("unknown")});
        QCOMPARE(rehearsal.calls.failings, 1);
        QTEST(local, "kept");
    }

private:
    /// Runs the enumeration for the servers, the local one being the organisation's.
    QStringList enumerate(test::Rehearsal& rehearsal, const QStringList& servers) {
        KeyedCollection<QString> names;
        KeyedCollection<QString> dns;
        GetExchServers(rehearsal.directory, names, dns);
        rehearsal.calls.made.clear();
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
