#include "platform/adsi/command_text.h"
#include "platform/engine/escape.h"
#include "support/rehearsal.h"

#include <QTest>

using namespace rehome;

class AdsiTest : public QObject, test::OrganisationText {
    Q_OBJECT

private Q_SLOTS:
    void texts() {
        const auto request =
            adsi::parseCommandText("<LDAP://OU=a\\;b\\>,DC=t>;(a=\\28;>);x,y;onelevel");
        QCOMPARE(request.base + request.filter + request.attributes.join('|'),
                 "OU=a\\;b\\>,DC=t(a=\\28;>)x|y");
        QCOMPARE(request.scope, engine::Scope::OneLevel);
        for (const char* wrong : {"(a=b);x;subtree", "<LDAP://DC=t>;(a=b);x;deep",
                                  "<GC://DC=t>;(a=b);x;subtree", "<LDAP://DC=t>;(a=b);x,;subtree"})
            QVERIFY_THROWS_EXCEPTION(Error, adsi::parseCommandText(wrong));

        QCOMPARE(engine::filterValue(QString("a*(b)\\c") + QChar(0)), "a\\2a\\28b\\29\\5cc\\00");
        QCOMPARE(engine::parentName("CN=a\\,b,CN=\"c,d\",DC=t", 2), "DC=t");
        QCOMPARE(engine::firstValue("CN=a\\,\\C3\\BC\\\\,DC=t"), "a,ü\\");
    }

    void recordSets() {
        test::Rehearsal r;
        const auto connection = r.directory.CreateConnection();
        const auto open = [&] { connection->Open("ADs Provider", {}, {}, -1); };
        const auto search = [&] {
            return connection->Execute("<LDAP://DC=t>;(mail=*);mail,proxyAddresses;subtree", -1);
        };
        QVERIFY_THROWS_EXCEPTION(Error, open()); // no provider yet
        connection->setProvider("ADSDSOObject");
        QVERIFY_THROWS_EXCEPTION(Error, search());
        open();
        auto rs = search();
        rs->MoveFirst();
        const auto list = rs->Fields("PROXYaddresses").Value;
        QCOMPARE(std::get<QStringList>(list), {"SMTP:u1@t"});   // a list even of one
        QVERIFY_THROWS_EXCEPTION(Error, rs->Fields("homeMDB")); // not asked for
        rs->MoveNext();
        QVERIFY_THROWS_EXCEPTION(Error, rs->MoveFirst());
        const auto closed = search(), orphan = search();
        r.calls.entriesLeft = 0;
        QVERIFY_THROWS_EXCEPTION(Error, rs->MoveNext());
        QVERIFY_THROWS_EXCEPTION(Error, rs->Fields("mail")); // of the record before
        r.calls.entriesLeft = 0; // a search that fails at once does so when it is executed
        QVERIFY_THROWS_EXCEPTION(Error, search());
        rs.reset();
        closed->Close();
        QCOMPARE(r.calls.searchesUnderWay, 1);
        connection->Close();
        QVERIFY_THROWS_EXCEPTION(Error, orphan->MoveNext());
        QVERIFY_THROWS_EXCEPTION(Error, search());
    }

    void nothingIsWrittenBeforeSetInfo() {
        test::Rehearsal r;
        const auto user = r.directory.BindUser("LDAP://" + userDN("u1"));
        const QStringList addresses{"SMTP:a@t", "smtp:b@t"};
        user->setEmailAddress("staged@t");
        user->Put("ProxyAddresses", addresses);
        QCOMPARE(user->EmailAddress(), "staged@t");
        QVERIFY(r.calls.made.filter("modify").isEmpty());
        user->SetInfo();
        QCOMPARE(r.calls.made.filter("modify").size(), 1);
        QCOMPARE(r.values(userDN("u1"), "mail"), {"staged@t"});
        QCOMPARE(r.values(userDN("u1"), "proxyAddresses"), addresses);
        user->Put("proxyAddresses", platform::Value());
        user->SetInfo();
        QVERIFY(r.values(userDN("u1"), "proxyAddresses").isEmpty());
        QVERIFY_THROWS_EXCEPTION(Error, user->GetEx("proxyAddresses"));
        for (const QString& path : {"LDAP://" + serverDN("EX1"), QString("DC=t"),
                                    QString("LDAP://"), QString("LDAP://CN=no")})
            QVERIFY_THROWS_EXCEPTION(Error, r.directory.BindUser(path));
    }

    void persons() {
        OrganisationText text = test::smallOrganisation();
        text.user("star*", "EX1/SG/A").user("twin", "EX1/SG/A", "proxyAddresses: smtp:u1@t\n");
        test::Rehearsal r(text);
        const auto opens = [&](const char* address) {
            const auto person = r.exchange.CreatePerson();
            person->DataSource().Open(address, {});
            return !person->Mailbox()->FolderLocation().isEmpty();
        };
        QVERIFY(opens("mailto:u4@t") && opens("mailto:STAR*@t"));
        for (const char* wrong : {"u4@t", "mailto:", "mailto:*@t", "mailto:nobody@t", "mailto:u1@t",
                                  "mailto:u3@t", "mailto:u4@t)(cn=*"}) // u3's store is offline
            QVERIFY_THROWS_EXCEPTION(Error, opens(wrong));
    }
};

QTEST_MAIN(AdsiTest)
#include "adsi_test.moc"
