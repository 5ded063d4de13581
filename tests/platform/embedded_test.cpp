#include "engine_contract.h"
#include "platform/embedded/embedded_engine.h"
#include "platform/embedded/embedded_network.h"
#include "platform/embedded/embedded_probe.h"
#include "platform/embedded/shipped_organisation.h"

#include <QSysInfo>

using namespace Qt::StringLiterals;
using namespace rehome;
using namespace rehome::embedded;
using namespace rehome::test;
using enum engine::Scope;

namespace {

const QByteArray rootRecord = "dn:\ndefaultNamingContext: DC=x\nconfigurationNamingContext: "
                              "CN=Configuration,DC=x\n\n";
const QString domain = u"DC=nordwind,DC=example"_s;
const QString exchange =
    u"CN=Nordwind,CN=Microsoft Exchange,CN=Services,CN=Configuration,"_s + domain;
const QString mailboxes =
    u"(&(&(& (mailnickname=*) (| (&(objectCategory=person)(objectClass=user)(|(homeMDB=*)"
    "(msExchHomeServerName=*))) ))))"_s;

QString serverName(int number) {
    return u"CN=EX%1,CN=Servers,CN=%2 Administrative Group,CN=Administrative Groups,%3"_s.arg(
        QString::number(number), number == 3 ? u"Second"_s : u"First"_s, exchange);
}

QString storeName(const QString& store, const QString& group, int server) {
    return u"CN=%1,CN=%2 Storage Group,CN=InformationStore,%3"_s.arg(store, group,
                                                                     serverName(server));
}

Organisation shipped() {
    return {shippedOrganisation(), u"organisation.ldif"_s};
}

/// A small organisation, its records after the root object.
Organisation with(const QByteArray& records) {
    return {rootRecord + records, u"test.ldif"_s};
}

QStringList found(const Organisation& organisation, const QString& filter) {
    QStringList names;
    const auto entries = organisation.search({u"DC=x"_s, Subtree, filter, {}});
    while (const auto entry = entries->next())
        names.append(entry->distinguishedName);
    return names;
}

} // namespace

class EmbeddedTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void contract() {
        auto organisation = shipped();
        EmbeddedEngine engine(organisation);
        const ContractNames names{domain,
                                  u"OU=Sales\\, North,"_s + domain,
                                  u"CN=Lorenz\\, Tim (Sales\\, Berlin),OU=Sales\\, North,"_s +
                                      domain,
                                  storeName(u"Sales\\, Berlin"_s, u"First"_s, 1),
                                  storeName(u"Logistics"_s, u"Second"_s, 2),
                                  serverName(1)};
        checkSearches(engine, names);
        checkErrors(engine, names);
        checkModify(engine, names);
    }

    void readsWhatLdapsearchWrites() {
        QByteArray ldif =
            "\xEF\xBB\xBF# extended LDIF\n#\n# LDAPv3\n#  a comment\n  that is folded\n"
            "version: 1\n\n# x\n" +
            rootRecord +
            "# Zoe, x\ndn: CN=Zo\n e,DC=x\n# within\nobjectClass: top\nobjectClass: "
            "user\nobjectGUID:: AQIDBAUGBwgJCgsMDQ4PEA==\ndisplayName:: w4RubmUg8J2S\n"
            " nA==\nmemberOf: CN=A,DC=x\nhomeMDB: CN=Unseen,DC=x\nmemberOf: CN=B,DC=x\n\n"
            "# search reference\nref: ldap://a.x/DC=a\n ,DC=x\n\n"
            "dn:: Q049w4RubmUsREM9eA==\nchangetype: add\nobjectClass: user\n"
            "displayName: stra\xC3\x9F"
            "e\n\n"
            "# search result\nsearch: 2\nresult: 0 Success\ncontrol: 1.2.3 false MAUCAQ==\n"
            "pagedresults: cookie=\n\n# numResponses: 4\n# numEntries: 2";
        for (const bool crlf : {false, true}) {
            if (crlf)
                ldif.replace("\n", "\r\n");
            const auto organisation = Organisation(ldif, u"snapshot"_s);
            const QStringList both{u"CN=Zoe,DC=x"_s, u"CN=Änne,DC=x"_s}; // the file's order
            QCOMPARE(found(organisation, u"(objectClass=user)"_s), both);
            const auto zoe = organisation.object(u"<GUID=04030201-0605-0807-090a-0b0c0d0e0f10>"_s);
            QVERIFY(zoe);
            QCOMPARE(zoe->text(u"displayName"_s), u"Änne 𝒜"_s.replace(u"𝒜"_s, u"\U0001D49C"_s));
            QCOMPARE(zoe->values(u"memberOf"_s).size(), 2);
            QCOMPARE(zoe->text(u"homeMDB"_s), u"CN=Unseen,DC=x"_s);
            QCOMPARE(zoe->text(u"name"_s), u"Zoe"_s);
            const auto other = organisation.object(u"cn=äNNE, dc=X"_s);
            QVERIFY(other && other->values(u"objectGUID"_s).value(0).size() == 16);
            QCOMPARE(found(organisation, u"(displayName=ÄNNE*)"_s), both.mid(0, 1));
            QCOMPARE(found(organisation, u"(displayName=STRAßE)"_s), both.mid(1, 1));
            QVERIFY(found(organisation, u"(displayName=STRASSE)"_s).isEmpty());
        }
    }

    void refusesBrokenFiles_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* name, const QByteArray& content, const QString& expected) {
            QTest::newRow(name) << content << expected;
        };
        const QByteArray good = rootRecord + "dn: CN=A,DC=x\nobjectClass: user\n"; // lines 5 and 6
        row("empty", "", u"lacks the root object"_s);
        row("no context", "dn:\ndefaultNamingContext: DC=x\n", u"configurationNamingContext"_s);
        row("no colon", good + "displayName\n", u"t.ldif, line 7"_s);
        row("base64", good + "cn: b\n\nabc: x\n", u"t.ldif, line 9"_s);
        row("bad base64", good + "displayName:: ?\n", u"line 7: the value of displayname"_s);
        row("name", good + "\ndn: nonsense\ncn: a\n", u"line 8"_s);
        row("special name", good + "\ndn: @INDEXLIST\n@IDXATTR: cn\n", u"line 9"_s);
        row("twice", good + "\ndn: cn=a , dc=X\ncn: a\n",
            u"line 8: a second record of cn=a , dc=X; the first is on line 5"_s);
        row("same GUID",
            good + "objectGUID: 1234567890123456\n\ndn: CN=B,DC=x\nobjectGUID: 1234567890123456\n",
            u"line 9: CN=B,DC=x has the same"_s);
        row("short GUID", good + "objectGUID: 12345\n", u"5 bytes"_s);
        row("two roots", good + "\n" + rootRecord, u"line 8: a second root"_s);
        row("change", good + "\ndn: CN=B,DC=x\nchangetype: delete\n",
            u"line 9: a record that changes"_s);
        row("continuation", "\n continued\n", u"line 2"_s);
        row("file", good + "photo:< file:///etc/hostname\n", u"line 7"_s);
        row("cut short", good + "\nsearch: 2\nresult: 4 Size limit exceeded\n",
            u"line 9: the search that wrote"_s);
        row("UTF-16",
            QByteArray("\xFF\xFE"
                       "d\0",
                       4),
            u"UTF-16"_s);
        row("state", good + "rehomeStoreState: 4\n", u"CN=A,DC=x: rehomeStoreState"_s);
        row("down", good + "rehomeServerDown: yes\n", u"TRUE or FALSE"_s);
        row("opens", good + "rehomeOpensAfter: soon\n", u"rehomeOpensAfter"_s);
        row("unknown", good + "rehomeStoreStat: 1\n", u"knows no attribute rehomeStoreStat"_s);
    }
    void refusesBrokenFiles() {
        QFETCH(QByteArray, content);
        QFETCH(QString, expected);
        const QString error = errorOf([&] { Organisation(content, u"t.ldif"_s); });
        QVERIFY2(error.contains(expected), qPrintable(error));
    }
    void refusesAFileThatCannotBeRead() {
        QVERIFY(
            errorOf([] { Organisation::read(u"/no/such.ldif"_s); }).contains(u"/no/such.ldif"_s));
        QVERIFY(errorOf([] { Organisation::read(u"/"_s); }).contains(u"cannot be read"_s));
    }

    void leavesNoFileBehind() {
        QTemporaryDir directory;
        qputenv("TMPDIR", directory.path().toLocal8Bit());
        auto organisation = shipped();
        const QString name = u"CN=Hannah Albrecht,OU=Berlin,"_s + domain;
        organisation.modify(name, {{u"mail"_s, {"other@nordwind.example"}}});
        QCOMPARE(organisation.object(name)->text(u"mail"_s), u"other@nordwind.example"_s);
        QCOMPARE(QDir(directory.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                 QStringList());
        qputenv("TMPDIR", "/proc");
        QVERIFY(errorOf([] { shipped(); }).contains(u"could be made in /proc"_s));
        qunsetenv("TMPDIR");
    }

    void givesAddressesByPolicy() {
        auto organisation =
            with("dn: CN=S,DC=x\nobjectClass: msExchPrivateMDB\n\ndn: CN=U,DC=x\n"
                 "mail: old@x\nproxyAddresses: SMTP:old@x\nproxyAddresses: smtp:NEW@x\n"
                 "proxyAddresses: X400:c=DE;\nrehomePolicyAddress: new@x\n");
        const QString user = u"CN=U,DC=x"_s;
        organisation.modify(user, {{u"homeMDB"_s, {}}});
        QCOMPARE(organisation.object(user)->text(u"mail"_s), u"old@x"_s);
        organisation.modify(user, {{u"homeMDB"_s, {"CN=S,DC=x"}}});
        QCOMPARE(organisation.object(user)->text(u"mail"_s), u"new@x"_s);
        const QList<QByteArray> expected{"SMTP:new@x", "smtp:old@x", "X400:c=DE;"};
        QCOMPARE(organisation.object(user)->values(u"proxyAddresses"_s), expected);
        organisation.modify(user, {{u"mail"_s, {"old@x"}}}); // the tool restores it
        QCOMPARE(organisation.object(user)->text(u"mail"_s), u"old@x"_s);
    }

    void probes() {
        auto organisation = with(
            "dn: CN=Up,DC=x\nobjectClass: msExchExchangeServer\n\ndn: CN=A,CN=Up,DC=x\ncn: A\n\n"
            "dn: CN=B,CN=Up,DC=x\nrehomeStoreState: 3\n\ndn: CN=EX3,DC=x\nrehomeServerDown: "
            "TRUE\n\n"
            "dn: CN=C,CN=EX3,DC=x\ncn: C\n\ndn: CN=U,DC=x\nrehomeOpensAfter: 3\n\n"
            "dn: CN=N,DC=x\nrehomeOpensAfter: never\n");
        std::chrono::steady_clock::time_point now{};
        EmbeddedProbe probe(organisation, [&] { return now; });
        probe.checkServer(u"CN=Up,DC=x"_s);
        const auto down = u"The server EX3 does not answer."_s;
        QCOMPARE(errorOf([&] { probe.checkServer(u"CN=EX3,DC=x"_s); }), down);
        QCOMPARE(errorOf([&] { probe.storeStatus(u"CN=C,CN=EX3,DC=x"_s); }), down);
        QVERIFY(errorOf([&] { probe.checkServer(u"CN=No,DC=x"_s); }).contains(u"CN=No,DC=x"_s));
        QCOMPARE(probe.storeStatus(u"CN=A,CN=Up,DC=x"_s), qint16(0));
        QCOMPARE(probe.storeStatus(u"CN=B,CN=Up,DC=x"_s), qint16(3));

        const auto opens = [&](const QString& user, int seconds) {
            now += std::chrono::seconds(seconds);
            return errorOf([&] { probe.openMailbox(user); }).isEmpty();
        };
        const QString user = u"CN=U,DC=x"_s;
        QVERIFY(!opens(user, 0) && !opens(user, 2) && opens(user, 1));
        organisation.modify(user, {{u"homeMDB"_s, {"CN=A,CN=Up,DC=x"}}});
        QVERIFY(!opens(user, 100) && opens(user, 3) && opens(u"CN=Up,DC=x"_s, 0));
        QVERIFY(!opens(u"CN=N,DC=x"_s, 0) && !opens(u"CN=N,DC=x"_s, 100'000));
    }

    void namesTheComputer() {
        QCOMPARE(EmbeddedNetwork(shipped()).ComputerName(), u"EX1"_s);
        QVERIFY(EmbeddedNetwork(shipped()).namesServer());
        const auto other = with("dn: CN=A,DC=x\ncn: A\n");
        QCOMPARE(EmbeddedNetwork(other).ComputerName(),
                 QSysInfo::machineHostName().section(u'.', 0, 0).toUpper());
        QVERIFY(!EmbeddedNetwork(other).namesServer());
        const auto small = Organisation(
            shippedOrganisation().replace("rehomeLocalServer: EX1", "rehomeLocalServer: ex1"),
            u"s"_s);
        QVERIFY(!EmbeddedNetwork(small).namesServer());
    }

    void shipsAnOrganisation() {
        const auto organisation = shipped();
        const auto count = [&](const QString& base, const QString& filter) {
            int number = 0;
            for (const auto entries = organisation.search({base, Subtree, filter, {}});
                 entries->next();)
                ++number;
            return number;
        };
        QCOMPARE(count(exchange, u"(objectClass=msExchExchangeServer)"_s), 3);
        for (int state = 1; state <= 3; ++state)
            QVERIFY(count(serverName(2), u"(rehomeStoreState=%1)"_s.arg(state)) > 0);

        int listed = 0, system = 0, unaddressed = 0, astray = 0, beyond = 0;
        const auto entries = organisation.search({domain, Subtree, mailboxes, {}});
        while (const auto user = entries->next()) {
            QVERIFY(!user->text(u"displayName"_s).isNull() && !user->text(u"homeMDB"_s).isNull());
            if (user->text(u"mail"_s).isNull()) {
                ++unaddressed;
            } else if (user->distinguishedName.contains(
                           u",CN=Microsoft Exchange System Objects,"_s)) {
                ++system;
            } else {
                ++listed;
                const QString store = user->text(u"homeMDB"_s);
                astray += !organisation.object(store) || store.contains(u"CN=Recovery "_s);
                const QString shown = user->text(u"displayName"_s);
                beyond += std::any_of(shown.begin(), shown.end(),
                                      [](QChar c) { return c.isSurrogate(); });
            }
        }
        QVERIFY2(listed >= 60 && listed <= 100, qPrintable(QString::number(listed)));
        QVERIFY(system > 0 && unaddressed > 0 && beyond > 0);
        QCOMPARE(astray, 2);
        QCOMPARE(count(domain, u"(rehomeOpensAfter=never)"_s), 0);
    }
};

QTEST_GUILESS_MAIN(EmbeddedTest)
#include "embedded_test.moc"
