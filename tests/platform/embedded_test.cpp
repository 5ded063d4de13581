#include "engine_contract.h"
#include "platform/embedded/embedded_engine.h"
#include "platform/embedded/embedded_network.h"
#include "platform/embedded/embedded_probe.h"
#include "platform/embedded/shipped_organisation.h"
#include "support/organisation_text.h"

using namespace Qt::StringLiterals;
using namespace rehome;
using namespace rehome::embedded;
using namespace rehome::test;

namespace {

Organisation of(const OrganisationText& text) {
    return {text.ldif(), u"t.ldif"_s};
}

} // namespace

class EmbeddedTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void contract() {
        const QString sales = u("OU=Sales\\, North"), tim = u("Tim (Sales\\, Berlin),") + sales;
        OrganisationText text = smallOrganisation();
        text.object(sales + u(",DC=t"), {"organizationalUnit"}).user(tim, u("EX1/SG/A"));
        auto organisation = of(text);
        EmbeddedEngine engine(organisation);
        const ContractNames names{u("DC=t"),
                                  sales + u(",DC=t"),
                                  OrganisationText::userDN(tim),
                                  OrganisationText::storeDN(u("EX1/SG/A")),
                                  OrganisationText::storeDN(u("EX1/SG/B")),
                                  OrganisationText::serverDN(u("EX1"))};
        checkSearches(engine, names);
        checkErrors(engine, names);
        checkModify(engine, names);
    }

    void readsWhatLdapsearchWrites() {
        QByteArray ldif =
            "\xEF\xBB\xBF# extended LDIF\n#\n# LDAPv3\n#  a comment\n  that is folded\n"
            "version: 1\n\n# t\n" +
            OrganisationText().ldif() +
            "# Zoe, t\ndn: CN=Zo\n e,DC=t\n# within\nobjectClass: top\nobjectClass: "
            "user\nobjectGUID:: AQIDBAUGBwgJCgsMDQ4PEA==\ndisplayName:: w4RubmUg8J2S\n"
            " nA==\nmemberOf: CN=A,DC=t\nhomeMDB: CN=Unseen,DC=t\nmemberOf: CN=B,DC=t\n\n"
            "# search reference\nref: ldap://a.x/DC=a\n ,DC=t\n\n"
            "dn:: Q049w4RubmUsREM9dA==\nchangetype: add\nobjectClass: user\n"
            "displayName: straße\n\n"
            "# search result\nsearch: 2\nresult: 0 Success\ncontrol: 1.2.3 false MAUCAQ==\n"
            "pagedresults: cookie=\n\n# numResponses: 4\n# numEntries: 2";
        for (const char* lineEnd : {"\n", "\r\n"}) {
            Organisation organisation(ldif.replace("\n", lineEnd), u"snapshot"_s);
            EmbeddedEngine engine(organisation);
            const auto session = engine.openSession();
            const auto by = [&](const QString& filter) {
                return names(*session, {u"DC=t"_s, engine::Scope::Subtree, filter, {}}).join(u' ');
            };
            QCOMPARE(by(u"(objectClass=user)"_s), u"CN=Zoe,DC=t CN=Änne,DC=t"_s); // in this order
            QCOMPARE(by(u"(displayName=ÄNNE*)"_s), u"CN=Zoe,DC=t"_s);
            QCOMPARE(by(u"(displayName=STRAßE)"_s), u"CN=Änne,DC=t"_s);
            QCOMPARE(by(u"(displayName=STRASSE)"_s), QString());
            const auto zoe = organisation.object(u"<GUID=04030201-0605-0807-090a-0b0c0d0e0f10>"_s);
            QVERIFY(zoe && zoe->values(u"memberOf"_s).size() == 2);
            QCOMPARE(zoe->text(u"displayName"_s), u"Änne \U0001D49C"_s);
            QCOMPARE(zoe->text(u"homeMDB"_s) + zoe->text(u"name"_s), u"CN=Unseen,DC=tZoe"_s);
            const auto other = organisation.object(u"cn=äNNE, dc=T"_s);
            QVERIFY(other && other->values(u"objectGUID"_s).value(0).size() == 16);
        }
    }

    void refusesBrokenFiles() {
        const QByteArray good =
            OrganisationText().ldif() + "dn: CN=A,DC=t\ncn: A\n"; // lines 10, 11
        const QByteArray guid = "objectGUID: 1234567890123456\n";
        const std::pair<QByteArray, const char*> expected[] = {
            {"", "lacks the root object"},
            {"dn:\ndefaultNamingContext: DC=t\n", "configurationNamingContext"},
            {good + "displayName\n", "t.ldif, line 12"},
            {good + "cn: b\n\nabc: x\n", "t.ldif, line 14"},
            {good + "displayName:: ?\n", "line 12: the value of displayname"},
            {good + "\ndn: nonsense\ncn: a\n", "line 13"},
            {good + "\ndn: cn=a , dc=T\ncn: a\n",
             "line 13: a second record of cn=a , dc=T; the first is on line 10"},
            {good + guid + "\ndn: CN=B,DC=t\n" + guid, "line 14: CN=B,DC=t has the same"},
            {good + "objectGUID: 12345\n", "5 bytes"},
            {good + "\n" + OrganisationText().ldif(), "line 13: a second root"},
            {good + "\ndn: CN=B,DC=t\nchangetype: delete\n", "line 14: a record that changes"},
            {"\n continued\n", "line 2"},
            {good + "photo:< file:///etc/hostname\n", "line 12"},
            {good + "\nsearch: 2\nresult: 4 Size limit exceeded\n",
             "line 14: the search that wrote"},
            {"\xFF\xFEx", "UTF-16"},
            {good + "rehomeStoreState: 4\n", "CN=A,DC=t: rehomeStoreState"},
            {good + "rehomeStoreStat: 1\n", "knows no attribute rehomeStoreStat"}};
        for (const auto& row : expected) {
            const QString error = errorOf([&] { Organisation(row.first, u"t.ldif"_s); });
            QVERIFY2(error.contains(u(row.second)),
                     qPrintable(error + u" lacks "_s + u(row.second)));
        }
        for (const QString& path : {u"/no/such.ldif"_s, u"/"_s})
            QVERIFY(
                errorOf([&] { Organisation::read(path); }).contains(path + u" cannot be read"_s));
    }

    void leavesNoFileBehind() {
        const QTemporaryDir directory;
        qputenv("TMPDIR", directory.path().toLocal8Bit());
        const Organisation organisation(shippedOrganisation(), u"organisation.ldif"_s);
        qputenv("TMPDIR", "/proc");
        const QString refused = errorOf([] { of(smallOrganisation()); });
        qunsetenv("TMPDIR");
        QVERIFY(QDir(directory.path()).isEmpty());
        QVERIFY(refused.contains(u"could be made in /proc"_s));
    }

    void givesAddressesByPolicy() {
        OrganisationText text = smallOrganisation();
        text.user(u("p"), u("EX1/SG/A"),
                  u("proxyAddresses: smtp:NEW@t\nproxyAddresses: X400:c;\n"
                    "rehomePolicyAddress: new@t\n"));
        auto organisation = of(text);
        const QString user = OrganisationText::userDN(u"p"_s);
        const auto mail = [&](const engine::Replacement& change) {
            organisation.modify(user, {change});
            return organisation.object(user)->text(u"mail"_s);
        };
        QCOMPARE(mail({u"homeMDB"_s, {}}), u"p@t"_s);
        QCOMPARE(mail({u"homeMDB"_s, {OrganisationText::storeDN(u"EX1/SG/B"_s).toUtf8()}}),
                 u"new@t"_s);
        const QList<QByteArray> expected{"SMTP:new@t", "smtp:p@t", "X400:c;"};
        QCOMPARE(organisation.object(user)->values(u"proxyAddresses"_s), expected);
        QCOMPARE(mail({u"mail"_s, {"p@t"}}), u"p@t"_s); // the tool restores it
    }

    void probes() {
        OrganisationText text = smallOrganisation();
        text.server(u("EX3"), u("rehomeServerDown: TRUE\n")).store(u("EX3/SG/E"));
        text.user(u("slow"), u("EX2/SG/C"), u("rehomeOpensAfter: 3\n"));
        auto organisation = of(text);
        std::chrono::steady_clock::time_point now{};
        EmbeddedProbe probe(organisation, [&] { return now; });
        const QString lost = OrganisationText::storeDN(u("EX3/SG/E"));
        QCOMPARE(errorOf([&] { probe.storeStatus(lost); }), u"The server EX3 does not answer."_s);
        QCOMPARE(probe.storeStatus(OrganisationText::storeDN(u("EX2/SG/D"))), qint16(1));

        const auto opens = [&](const char* user, int seconds) {
            now += std::chrono::seconds(seconds);
            return errorOf([&] { probe.openMailbox(OrganisationText::userDN(u(user))); }).isEmpty();
        };
        QVERIFY(!opens("slow", 0) && !opens("slow", 2) && opens("slow", 1));
        const auto store = OrganisationText::storeDN(u"EX1/SG/A"_s).toUtf8();
        organisation.modify(OrganisationText::userDN(u"slow"_s), {{u"homeMDB"_s, {store}}});
        QVERIFY(!opens("slow", 100) && opens("slow", 3) && opens("u1", 0));
    }

    void namesTheComputer() {
        for (const QString& name : {u"EX1"_s, u"ex1"_s}) {
            EmbeddedNetwork network(of(OrganisationText(name).server(u"EX1"_s)));
            QCOMPARE(network.ComputerName(), name);
            QCOMPARE(network.namesServer(), name == u"EX1"_s);
        }
        const QByteArray unnamed =
            OrganisationText().ldif().replace("rehomeLocalServer: EX1\n", "");
        const QString own = EmbeddedNetwork({unnamed, u"t"_s}).ComputerName();
        QVERIFY(!own.isEmpty() && own == own.toUpper() && !own.contains(u'.'));
    }
};

QTEST_GUILESS_MAIN(EmbeddedTest)
#include "embedded_test.moc"
