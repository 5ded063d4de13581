#include "platform/adsi/command_text.h"
#include "platform/engine/escape.h"
#include "support/rehearsal.h"

#include <QTest>

using namespace rehome;
using test::OrganisationText;
using test::u;

namespace {

class AdsiTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void commandTexts() {
        const std::pair<const char*, const char*> expected[] = {
            {"<LDAP://DC=t>;(a=b);x,y;subtree", "DC=t|(a=b)|x,y|2"},
            {"<LDAP://OU=a\\;b\\>,DC=t>;(a=\\28;>);x;base", "OU=a\\;b\\>,DC=t|(a=\\28;>)|x|0"},
            {"<LDAP://RootDSE>;(a=*);x;onelevel", "|(a=*)|x|1"}};
        for (const auto& [text, parts] : expected) {
            const auto request = adsi::parseCommandText(u(text));
            const QStringList found = {request.base, request.filter, request.attributes.join(u','),
                                       QString::number(static_cast<int>(request.scope))};
            QCOMPARE(found.join(u'|'), u(parts));
        }
        for (const char* wrong :
             {"(a=b);x;subtree", "<LDAP://DC=t>;(a=b);subtree", "<LDAP://DC=t>;(a=b);x;deep",
              "<GC://DC=t>;(a=b);x;subtree", "<LDAP://DC=t>;(a=b);x,;subtree"})
            QVERIFY_THROWS_EXCEPTION(Error, adsi::parseCommandText(u(wrong)));
    }

    void escapes() {
        QCOMPARE(engine::filterValue(u("a*(b)\\c") + QChar(0) + u("ü")),
                 u("a\\2a\\28b\\29\\5cc\\00ü"));
        QCOMPARE(engine::parentName(u("CN=a\\,b,CN=\"c,d\",DC=t"), 2), u("DC=t"));
        QCOMPARE(engine::parentName(u("DC=t"), 3), QString());
        QCOMPARE(engine::firstValue(u("CN=a\\,\\C3\\BC\\\\,DC=t")), u("a,ü\\"));
    }

    void connections() {
        test::Rehearsal r;
        const auto connection = r.directory.CreateConnection();
        const auto open = [&](const char* text, const char* user, int options) {
            connection->Open(u(text), u(user), {}, options);
        };
        const QString everybody = u("<LDAP://DC=t>;(mail=*);mail;subtree");
        QVERIFY_THROWS_EXCEPTION(Error, open("ADs Provider", "", -1)); // no provider yet
        connection->setProvider(u("ADSDSOObject"));
        QVERIFY_THROWS_EXCEPTION(Error, open("Other", "", -1));
        QVERIFY_THROWS_EXCEPTION(Error, open("ADs Provider", "somebody", -1));
        QVERIFY_THROWS_EXCEPTION(Error, open("ADs Provider", "", 1));
        QVERIFY_THROWS_EXCEPTION(Error, connection->Execute(everybody, -1));
        r.calls.failing = u("session");
        QVERIFY_THROWS_EXCEPTION(Error, open("ADs Provider", "", -1));
        r.calls.failing.clear();
        open("ADs Provider", "", -1);
        QVERIFY(!connection->Execute(everybody, -1)->Bof());
        const auto none = connection->Execute(u("<LDAP://DC=t>;(mail=x);mail;subtree"), -1);
        QVERIFY(none->Bof() && none->Eof());
        QVERIFY_THROWS_EXCEPTION(Error, none->MoveFirst());
        r.calls.entriesLeft = 0; // the failure of a search is known when it was executed
        QVERIFY_THROWS_EXCEPTION(Error, connection->Execute(everybody, -1));
        connection->Close();
        QVERIFY_THROWS_EXCEPTION(Error, connection->Execute(everybody, -1));
    }

    void recordSets() {
        test::Rehearsal r;
        auto rs = r.users();
        rs->MoveFirst();
        QCOMPARE(platform::toText(rs->Fields(u("MAIL"))), u("u1@t"));
        QCOMPARE(std::get<QStringList>(rs->Fields(u("ProxyAddresses")).Value),
                 QStringList(u("SMTP:u1@t")));
        QVERIFY_THROWS_EXCEPTION(Error, rs->Fields(u("homeMDB"))); // not asked for
        rs->MoveNext();
        QVERIFY_THROWS_EXCEPTION(Error, rs->MoveFirst());
        r.calls.entriesLeft = 0;
        QVERIFY_THROWS_EXCEPTION(Error, rs->MoveNext());
        QVERIFY_THROWS_EXCEPTION(Error, rs->Fields(u("mail")));
        QCOMPARE(r.calls.searchesUnderWay, 1);
        rs.reset(); // let go before its end
        QCOMPARE(r.calls.searchesUnderWay, 0);
    }

    void nothingIsWrittenBeforeSetInfo() {
        test::Rehearsal r;
        const QString dn = OrganisationText::userDN(u("u1"));
        const auto user = r.directory.BindUser(u("LDAP://") + dn);
        user->setEmailAddress(u("staged@t"));
        user->Put(u("ProxyAddresses"), QStringList({u("SMTP:a@t"), u("smtp:b@t")}));
        QCOMPARE(user->EmailAddress(), u("staged@t"));
        QCOMPARE(r.values(dn, u("mail")), QStringList(u("u1@t")));
        user->SetInfo();
        QCOMPARE(r.values(dn, u("mail")), QStringList(u("staged@t")));
        QCOMPARE(r.values(dn, u("proxyAddresses")).size(), 2);
        user->Put(u("proxyAddresses"), platform::Value());
        user->SetInfo();
        QVERIFY(r.values(dn, u("proxyAddresses")).isEmpty());
        QVERIFY_THROWS_EXCEPTION(Error, user->GetEx(u("proxyAddresses")));
        const QString server = u("LDAP://") + OrganisationText::serverDN(u("EX1"));
        QVERIFY_THROWS_EXCEPTION(Error, r.directory.BindUser(server));
        for (const char* path : {"DC=t", "LDAP://", "LDAP://CN=no"})
            QVERIFY_THROWS_EXCEPTION(Error, r.directory.BindObject(u(path)));
    }

    void persons() {
        OrganisationText text = test::smallOrganisation();
        text.user(u("off"), u("EX2/SG/D")).user(u("star*"), u("EX1/SG/A"));
        text.user(u("twin"), u("EX1/SG/A"), u("proxyAddresses: smtp:u1@t\n"));
        test::Rehearsal r(text);
        const auto opens = [&](const char* address, const platform::OpenArguments& with = {}) {
            const auto person = r.exchange.CreatePerson();
            person->DataSource().Open(u(address), with);
            return !person->Mailbox()->FolderLocation().isEmpty();
        };
        QVERIFY(opens("mailto:u4@t") && opens("mailto:STAR*@t"));
        for (const char* address : {"u4@t", "mailto:", "mailto:*@t", "mailto:nobody@t",
                                    "mailto:u1@t", "mailto:off@t", "mailto:u4@t)(cn=*"})
            QVERIFY_THROWS_EXCEPTION(Error, opens(address));
        platform::OpenArguments others;
        others.CreateOptions = 0;
        QVERIFY_THROWS_EXCEPTION(Error, opens("mailto:u4@t", others));
    }
};

} // namespace

QTEST_MAIN(AdsiTest)
#include "adsi_test.moc"
