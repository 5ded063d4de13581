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
    void texts() {
        const auto request =
            adsi::parseCommandText(u("<LDAP://OU=a\\;b\\>,DC=t>;(a=\\28;>);x,y;onelevel"));
        QCOMPARE(request.base + request.filter + request.attributes.join(u'|'),
                 u("OU=a\\;b\\>,DC=t(a=\\28;>)x|y"));
        QCOMPARE(request.scope, engine::Scope::OneLevel);
        for (const char* wrong : {"(a=b);x;subtree", "<LDAP://DC=t>;(a=b);x;deep",
                                  "<GC://DC=t>;(a=b);x;subtree", "<LDAP://DC=t>;(a=b);x,;subtree"})
            QVERIFY_THROWS_EXCEPTION(Error, adsi::parseCommandText(u(wrong)));

        QCOMPARE(engine::filterValue(u("a*(b)\\c") + QChar(0)), u("a\\2a\\28b\\29\\5cc\\00"));
        QCOMPARE(engine::parentName(u("CN=a\\,b,CN=\"c,d\",DC=t"), 2), u("DC=t"));
        QCOMPARE(engine::firstValue(u("CN=a\\,\\C3\\BC\\\\,DC=t")), u("a,ü\\"));
    }

    void connections() {
        test::Rehearsal r;
        const auto connection = r.directory.CreateConnection();
        const auto open = [&] { connection->Open(u("ADs Provider"), {}, {}, -1); };
        const QString everybody = u("<LDAP://DC=t>;(mail=*);mail;subtree");
        QVERIFY_THROWS_EXCEPTION(Error, open()); // no provider yet
        connection->setProvider(u("ADSDSOObject"));
        r.calls.failing = u("session");
        QVERIFY_THROWS_EXCEPTION(Error, open());
        QVERIFY_THROWS_EXCEPTION(Error, connection->Execute(everybody, -1));
        r.calls.failing.clear();
        open();
        const auto rs = connection->Execute(everybody, -1);
        QVERIFY(!rs->Bof());
        connection->Close();
        QVERIFY_THROWS_EXCEPTION(Error, rs->MoveNext());
        QVERIFY_THROWS_EXCEPTION(Error, connection->Execute(everybody, -1));
    }

    void recordSets() {
        test::Rehearsal r;
        auto rs = r.users();
        rs->MoveFirst();
        const auto list = rs->Fields(u("PROXYaddresses")).Value;
        QCOMPARE(std::get<QStringList>(list), QStringList(u("SMTP:u1@t"))); // a list even of one
        QVERIFY_THROWS_EXCEPTION(Error, rs->Fields(u("homeMDB")));          // not asked for
        rs->MoveNext();
        QVERIFY_THROWS_EXCEPTION(Error, rs->MoveFirst());
        const auto other = r.users();
        r.calls.entriesLeft = 0;
        QVERIFY_THROWS_EXCEPTION(Error, rs->MoveNext());
        QVERIFY_THROWS_EXCEPTION(Error, rs->Fields(u("mail"))); // of the record before
        r.calls.entriesLeft = 0; // a search that fails at once does so when it is executed
        QVERIFY_THROWS_EXCEPTION(Error, r.users());
        rs.reset();
        QCOMPARE(r.calls.searchesUnderWay, 1);
        other->Close();
        QCOMPARE(r.calls.searchesUnderWay, 0);
    }

    void nothingIsWrittenBeforeSetInfo() {
        test::Rehearsal r;
        const QString dn = OrganisationText::userDN(u("u1"));
        const auto user = r.directory.BindUser(u("LDAP://") + dn);
        const QStringList addresses{u("SMTP:a@t"), u("smtp:b@t")};
        user->setEmailAddress(u("staged@t"));
        user->Put(u("ProxyAddresses"), addresses);
        QCOMPARE(user->EmailAddress(), u("staged@t"));
        QVERIFY(r.calls.made.filter(u("modify")).isEmpty());
        user->SetInfo();
        QCOMPARE(r.calls.made.filter(u("modify")).size(), 1);
        QCOMPARE(r.values(dn, u("mail")) + r.values(dn, u("proxyAddresses")),
                 QStringList(u("staged@t")) + addresses);
        user->Put(u("proxyAddresses"), platform::Value());
        user->SetInfo();
        QVERIFY(r.values(dn, u("proxyAddresses")).isEmpty());
        QVERIFY_THROWS_EXCEPTION(Error, user->GetEx(u("proxyAddresses")));
        const QString server = u("LDAP://") + OrganisationText::serverDN(u("EX1"));
        for (const QString& path : {server, u("DC=t"), u("LDAP://"), u("LDAP://CN=no")})
            QVERIFY_THROWS_EXCEPTION(Error, r.directory.BindUser(path));
    }

    void persons() {
        OrganisationText text = test::smallOrganisation();
        text.user(u("off"), u("EX2/SG/D")).user(u("star*"), u("EX1/SG/A"));
        text.user(u("twin"), u("EX1/SG/A"), u("proxyAddresses: smtp:u1@t\n"));
        test::Rehearsal r(text);
        const auto opens = [&](const char* address) {
            const auto person = r.exchange.CreatePerson();
            person->DataSource().Open(u(address), {});
            return !person->Mailbox()->FolderLocation().isEmpty();
        };
        QVERIFY(opens("mailto:u4@t") && opens("mailto:STAR*@t"));
        for (const char* address : {"u4@t", "mailto:", "mailto:*@t", "mailto:nobody@t",
                                    "mailto:u1@t", "mailto:off@t", "mailto:u4@t)(cn=*"})
            QVERIFY_THROWS_EXCEPTION(Error, opens(address));
    }
};

} // namespace

QTEST_MAIN(AdsiTest)
#include "adsi_test.moc"
