#include "support/rehearsal.h"
#include "topology/names.h"
#include "topology/servers.h"
#include "topology/stores.h"

#include <QTest>

using namespace rehome;
using namespace rehome::topology;
using test::OrganisationText;

namespace {

QString u(const char* text) {
    return QString::fromUtf8(text);
}

class TopologyTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void commas_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("position");
        QTest::newRow("escaped first") << u("CN=a\\,b,c") << 8;
        QTest::newRow("none") << u("CN=a") << 0;
        QTest::newRow("empty") << QString() << 0;
        QTest::newRow("leading") << u(",a") << 1;
        QTest::newRow("two backslashes") << u("a\\\\,b") << 0;
        QTest::newRow("at the end of the range") << QString(32766, u'a') + u',' << 32767;
    }
    void commas() {
        QFETCH(QString, text);
        QTEST(static_cast<int>(FindUnescapedComma(text)), "position");
    }

    void names() {
        const QString dn =
            u("CN=St\\,ore,CN=S\\\\G1,CN=InformationStore,CN=E\\+X1,CN=Servers,DC=t");
        QCOMPARE(GetStoreFromDN(dn), u("St,ore"));
        QCOMPARE(GetGroupFromDN(dn), u("SG1"));
        QCOMPARE(GetServerFromDN(dn), u("E+X1"));
        QCOMPARE(MakeStoreFullName(u("EX1"), u("SG1"), u("S")), u("EX1:SG1\\S"));
        QCOMPARE(GetStoreFromDN(u("ab,x")), QString()); // a component shorter than "CN="
    }

    void shortNamesFail() {
        QVERIFY_THROWS_EXCEPTION(Error, GetStoreFromDN(u("CN=a")));
        QVERIFY_THROWS_EXCEPTION(Error, GetGroupFromDN(u("CN=a,CN=b")));
        QVERIFY_THROWS_EXCEPTION(Error, GetServerFromDN(u("CN=a,CN=b,CN=c,CN=d")));
        QVERIFY_THROWS_EXCEPTION(Error, FindUnescapedComma(QString(32768, u'a')));
        try {
            GetServerFromDN(u("CN=lost"));
            QFAIL("no error");
        } catch (const Error& error) {
            QVERIFY2(error.description().contains(u("CN=lost")), error.what());
        }
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
        QVERIFY(CollectionContains(u("äö"), collection));
        QVERIFY(!CollectionContains(u("4"), collection));
        QVERIFY_THROWS_EXCEPTION(Error, collection.Add(u("5"), u("straße")));
        QCOMPARE(QStringList(collection.begin(), collection.end()).join(u' '), u("1 2 3 4"));
    }

    void states() {
        const QStringList expected = {u("Online"), u("Offline"), u("Mounting"), u("Dismounting"),
                                      QString()};
        for (qint16 status = 0; status < 5; ++status) {
            StoreConfig store;
            store.init(u("CN=s"), status, u("S"), u("G"), u("N"));
            QCOMPARE(store.StringStatus(), expected.at(status));
            QCOMPARE(store.FullName(), u("S:G\\N"));
        }
    }

    void servers() {
        test::Rehearsal rehearsal;
        KeyedCollection<QString> names;
        KeyedCollection<QString> dns;
        names.Add(u("stale"));
        GetExchServers(rehearsal.platform.Directory, names, dns);
        QCOMPARE(QStringList(names.begin(), names.end()), QStringList({u("EX1"), u("EX2")}));
        QCOMPARE(dns.at(u("ex2")), OrganisationText::serverDN(u("EX2")));
        QCOMPARE(rehearsal.calls.made,
                 QStringList({u("Bind LDAP://RootDSE"), u("Get configurationNamingContext"),
                              u("Provider=ADSDSOObject"), u("Open 'ADs Provider' '' '' -1"),
                              u("Execute <LDAP://CN=Configuration,DC=t>;(objectClass="
                                "msExchExchangeServer);name,distinguishedName,objectGUID;subtree "
                                "-1")}));
        // A second server of the same name stops it: the first stays, and both names.
        OrganisationText twins;
        twins.server(u("EX1"));
        twins.object(u("CN=ex1,CN=Other,CN=Configuration,DC=t"), {"msExchExchangeServer"});
        test::Rehearsal doubled(twins);
        QVERIFY_THROWS_EXCEPTION(Error, GetExchServers(doubled.platform.Directory, names, dns));
        QCOMPARE(names.Count(), 2);
        QCOMPARE(dns.Count(), 1);
    }

    void storeCalls() {
        test::Rehearsal rehearsal;
        enumerate(rehearsal, {u("EX2")});
        const QString group =
            u("CN=SG,CN=InformationStore,") + OrganisationText::serverDN(u("EX2"));
        QStringList expected = {u("Open ") + OrganisationText::serverDN(u("EX2")),
                                u("StorageGroups"),
                                u("Bind LDAP://") + group,
                                u("GetInfoEx msExchESEParamBaseName 0"),
                                u("GetEx msExchESEParamBaseName"),
                                u("Open ") + group,
                                u("MailboxStoreDBs")};
        for (const char* store : {"EX2/SG/C", "EX2/SG/D"})
            expected +=
                {u("Open ") + OrganisationText::storeDN(u(store)), u("Fields distinguishedName"),
                 u("Status"), u("Group.Name"), u("Store.Name")};
        QCOMPARE(rehearsal.calls.made, expected);
        QCOMPARE(listed, QStringList({u("EX2:SG\\C Online"), u("EX2:SG\\D Offline")}));
        QVERIFY(local.isEmpty());
    }

    void recoveryGroups() {
        OrganisationText text(u("ex1")); // differs from the server's name in letter case
        text.server(u("EX1"));
        for (const char* base : {"R00", "r01", "E02"})
            text.group(u("EX1/") + u(base), u("msExchESEParamBaseName: %1\n").arg(u(base)))
                .store(u("EX1/%1/S").arg(u(base)), 3);
        text.group(u("EX1/none")).store(u("EX1/none/S\\, T"));
        test::Rehearsal rehearsal(text);
        enumerate(rehearsal, {u("EX1")});
        QCOMPARE(listed, QStringList({u("EX1:r01\\S Dismounting"), u("EX1:E02\\S Dismounting"),
                                      u("EX1:none\\S, T Online")}));
        QVERIFY(local.isEmpty());
    }

    void cutShort_data() {
        QTest::addColumn<QString>("failing");
        QTest::addColumn<QStringList>("kept");
        QTest::newRow("server down") << u("Open CN=EX1,") << QStringList();
        QTest::newRow("second group does not open")
            << u("Open CN=SG2,") << QStringList(u("EX1:SG1\\A"));
        QTest::newRow("second group not bound")
            << u("Bind LDAP://CN=SG2,") << QStringList(u("EX1:SG1\\A"));
        QTest::newRow("its base name not loaded") << u("GetInfoEx") << QStringList();
        QTest::newRow("base name not read")
            << u("GetEx") << QStringList({u("EX1:SG1\\A"), u("EX1:SG2\\B")});
    }
    void cutShort() {
        QFETCH(QString, failing);
        OrganisationText text;
        text.server(u("EX1")).server(u("EX2")).group(u("EX2/SG")).store(u("EX2/SG/C"));
        text.group(u("EX1/SG1")).group(u("EX1/SG2"));
        text.store(u("EX1/SG1/A")).store(u("EX1/SG2/B"));
        test::Rehearsal rehearsal(text);
        rehearsal.calls.failing = failing;
        enumerate(rehearsal, {u("EX1"), u("unknown")});
        QVERIFY(rehearsal.calls.failings > 0);
        QTEST(local, "kept");
    }

private:
    /// Runs the enumeration for the servers, the local one being the organisation's.
    void enumerate(test::Rehearsal& rehearsal, const QStringList& servers) {
        KeyedCollection<QString> names;
        KeyedCollection<QString> dns;
        GetExchServers(rehearsal.plainDirectory, names, dns);
        StoreCatalogue catalogue;
        local.clear();
        listed.clear();
        StoreEnumeration stores(rehearsal.platform.Directory, rehearsal.platform.Exchange);
        for (const QString& server : servers)
            stores.GetServerStores(server, rehearsal.network.ComputerName(), dns, catalogue,
                                   [this](const QString& name) { local += name; });
        for (const auto& store : catalogue)
            listed += store->FullName() + u' ' + store->StringStatus();
    }

    QStringList local;
    QStringList listed;
};

} // namespace

QTEST_MAIN(TopologyTest)
#include "topology_test.moc"
