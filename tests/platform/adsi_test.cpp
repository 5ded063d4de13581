#include "platform/adsi/command_text.h"
#include "platform/adsi/directory.h"
#include "platform/engine/escape.h"
#include "platform/error.h"
#include "support/rehearsal.h"

#include <QTest>

using namespace rehome;
using test::OrganisationText;

namespace {

QString u(const char* text) {
    return QString::fromUtf8(text);
}

/// Passes on to an engine, counts what is asked of it and fails where told.
struct CountingEngine final : engine::Engine {
    explicit CountingEngine(engine::Engine& inner) : inner(inner) {}

    struct CountedEntries final : engine::Entries {
        CountedEntries(CountingEngine& engine, std::unique_ptr<engine::Entries> inner)
            : engine(engine), inner(std::move(inner)) {
            ++engine.open;
        }
        ~CountedEntries() override { --engine.open; }
        std::optional<engine::Entry> next() override {
            if (--engine.entriesLeft < 0)
                throw Error(u("the search broke off"));
            return inner->next();
        }
        CountingEngine& engine;
        std::unique_ptr<engine::Entries> inner;
    };
    struct CountedSession final : engine::Session {
        CountedSession(CountingEngine& engine, std::unique_ptr<engine::Session> inner)
            : engine(engine), inner(std::move(inner)) {}
        std::unique_ptr<engine::Entries> search(const engine::SearchRequest& request) override {
            ++engine.trips;
            return std::make_unique<CountedEntries>(engine, inner->search(request));
        }
        void modify(const QString& name, const QList<engine::Replacement>& all) override {
            ++engine.trips;
            inner->modify(name, all);
        }
        CountingEngine& engine;
        std::unique_ptr<engine::Session> inner;
    };
    std::unique_ptr<engine::Session> openSession() override {
        if (refuses)
            throw Error(u("no session"));
        return std::make_unique<CountedSession>(*this, inner.openSession());
    }

    engine::Engine& inner;
    bool refuses = false;
    int trips = 0;
    int open = 0;
    int entriesLeft = 1000;
};

const char* const Everybody = "<LDAP://DC=t>;(mailNickname=*);mail,proxyAddresses;subtree";

class AdsiTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void commandTexts_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("parts"); // empty: refused
        QTest::newRow("plain") << u("<LDAP://DC=t>;(a=b);x,y;subtree") << u("DC=t|(a=b)|x,y|2");
        QTest::newRow("semicolons in base and filter")
            << u("<LDAP://OU=a\\;b\\>,DC=t>;(a=\\28;>);x;base")
            << u("OU=a\\;b\\>,DC=t|(a=\\28;>)|x|0");
        QTest::newRow("root") << u("<LDAP://RootDSE>;(a=*);x;onelevel") << u("|(a=*)|x|1");
        QTest::newRow("no base") << u("(a=b);x;subtree") << QString();
        QTest::newRow("three parts") << u("<LDAP://DC=t>;(a=b);subtree") << QString();
        QTest::newRow("unknown scope") << u("<LDAP://DC=t>;(a=b);x;deep") << QString();
        QTest::newRow("other provider") << u("<GC://DC=t>;(a=b);x;subtree") << QString();
        QTest::newRow("empty attribute") << u("<LDAP://DC=t>;(a=b);x,;subtree") << QString();
    }
    void commandTexts() {
        QFETCH(QString, text);
        QFETCH(QString, parts);
        if (parts.isEmpty()) {
            QVERIFY_THROWS_EXCEPTION(Error, adsi::parseCommandText(text));
            return;
        }
        const auto request = adsi::parseCommandText(text);
        QCOMPARE(QStringList({request.base, request.filter, request.attributes.join(u','),
                              QString::number(static_cast<int>(request.scope))})
                     .join(u'|'),
                 parts);
    }

    void escapes() {
        QCOMPARE(engine::filterValue(u("a*(b)\\c") + QChar(0) + u("ü")),
                 u("a\\2a\\28b\\29\\5cc\\00ü"));
        QCOMPARE(engine::parentName(u("CN=a\\,b,CN=\"c,d\",DC=t"), 2), u("DC=t"));
        QCOMPARE(engine::parentName(u("DC=t"), 3), QString());
        QCOMPARE(engine::firstValue(u("CN=a\\,\\C3\\BC\\\\,DC=t")), u("a,ü\\"));
    }

    void connections() {
        CountingEngine engine(rehearsal.engine);
        adsi::Directory directory(engine);
        const auto connection = directory.CreateConnection();
        const auto open = [&](const char* text, const char* user, int options) {
            connection->Open(u(text), u(user), {}, options);
        };
        QVERIFY_THROWS_EXCEPTION(Error, open("ADs Provider", "", -1)); // no provider yet
        connection->setProvider(u("ADSDSOObject"));
        QVERIFY_THROWS_EXCEPTION(Error, open("Other", "", -1));
        QVERIFY_THROWS_EXCEPTION(Error, open("ADs Provider", "somebody", -1));
        QVERIFY_THROWS_EXCEPTION(Error, open("ADs Provider", "", 1));
        QVERIFY_THROWS_EXCEPTION(Error, connection->Execute(u(Everybody), -1));
        engine.refuses = true;
        QVERIFY_THROWS_EXCEPTION(Error, open("ADs Provider", "", -1));
        engine.refuses = false;
        open("ADs Provider", "", -1);
        QVERIFY(!connection->Execute(u(Everybody), -1)->Bof());
        connection->Close();
        QVERIFY_THROWS_EXCEPTION(Error, connection->Execute(u(Everybody), -1));
    }

    void recordSets() {
        CountingEngine engine(rehearsal.engine);
        adsi::Directory directory(engine);
        const auto connection = opened(directory);
        auto rs = connection->Execute(u(Everybody), -1);
        rs->MoveFirst();
        QCOMPARE(platform::toText(rs->Fields(u("MAIL"))), u("u1@t"));
        QCOMPARE(std::get<QStringList>(rs->Fields(u("ProxyAddresses")).Value),
                 QStringList(u("SMTP:u1@t")));
        QVERIFY_THROWS_EXCEPTION(Error, rs->Fields(u("homeMDB"))); // not asked for
        rs->MoveNext();
        QVERIFY_THROWS_EXCEPTION(Error, rs->MoveFirst());
        QCOMPARE(engine.open, 1);
        rs.reset(); // let go before its end
        QCOMPARE(engine.open, 0);

        const auto none = connection->Execute(u("<LDAP://DC=t>;(mail=x);mail;subtree"), -1);
        QVERIFY(none->Bof() && none->Eof());
        QVERIFY_THROWS_EXCEPTION(Error, none->MoveFirst());
        engine.entriesLeft = 2;
        const auto broken = connection->Execute(u(Everybody), -1);
        broken->MoveNext();
        QVERIFY_THROWS_EXCEPTION(Error, broken->MoveNext());
        QVERIFY_THROWS_EXCEPTION(Error, connection->Execute(u(Everybody), -1)); // at the first
        broken->Close();
        QVERIFY_THROWS_EXCEPTION(Error, broken->Fields(u("mail")));
    }

    void nothingIsWrittenBeforeSetInfo() {
        const QString dn = OrganisationText::userDN(u("u1"));
        const auto user = rehearsal.plainDirectory.BindUser(u("LDAP://") + dn);
        user->setEmailAddress(u("staged@t"));
        user->Put(u("ProxyAddresses"), QStringList({u("SMTP:a@t"), u("smtp:b@t")}));
        QCOMPARE(user->EmailAddress(), u("staged@t"));
        QCOMPARE(rehearsal.directory(dn, u("mail")), QStringList(u("u1@t")));
        user->SetInfo();
        QCOMPARE(rehearsal.directory(dn, u("mail")), QStringList(u("staged@t")));
        QCOMPARE(rehearsal.directory(dn, u("proxyAddresses")).size(), 2);
        user->Put(u("proxyAddresses"), platform::Value());
        user->SetInfo();
        QVERIFY(rehearsal.directory(dn, u("proxyAddresses")).isEmpty());
        QVERIFY_THROWS_EXCEPTION(Error, user->GetEx(u("proxyAddresses")));

        QVERIFY_THROWS_EXCEPTION(Error, rehearsal.plainDirectory.BindUser(
                                            u("LDAP://") + OrganisationText::serverDN(u("EX1"))));
        QVERIFY_THROWS_EXCEPTION(Error, rehearsal.plainDirectory.BindObject(u("DC=t")));
        QVERIFY_THROWS_EXCEPTION(Error, rehearsal.plainDirectory.BindObject(u("LDAP://CN=no")));
    }

    void roundTripsOfAMove() {
        CountingEngine engine(rehearsal.engine);
        adsi::Directory directory(engine);
        exchange::ExchangeObjects exchange(directory, rehearsal.probe, rehearsal.journal);
        const QString path = u("LDAP://") + OrganisationText::userDN(u("u2"));
        const auto dropped = directory.BindUser(path);
        exchange.MailboxStoreOf(*dropped)->DeleteMailbox();
        dropped->SetInfo();
        const auto created = directory.BindUser(path);
        exchange.MailboxStoreOf(*created)->CreateMailbox(u("LDAP://") +
                                                         OrganisationText::storeDN(u("EX1/SG/A")));
        created->SetInfo();
        QCOMPARE(engine.trips, 6);
    }

    void persons() {
        OrganisationText text = test::smallOrganisation();
        text.user(u("off"), u("EX2/SG/D"));
        text.user(u("twin"), u("EX1/SG/A"), u("proxyAddresses: smtp:u1@t\n"));
        text.user(u("star*"), u("EX1/SG/A"));
        test::Rehearsal r(text);
        const auto opens = [&](const char* address) {
            const auto person = r.plainExchange.CreatePerson();
            person->DataSource().Open(u(address));
            return !person->Mailbox()->FolderLocation().isEmpty();
        };
        QVERIFY(opens("mailto:u4@t") && opens("mailto:STAR*@t"));
        for (const char* address : {"u4@t", "mailto:", "mailto:*@t", "mailto:nobody@t",
                                    "mailto:u1@t", "mailto:off@t", "mailto:u4@t)(cn=*"})
            QVERIFY_THROWS_EXCEPTION(Error, opens(address));
        platform::OpenArguments others;
        others.CreateOptions = 0;
        QVERIFY_THROWS_EXCEPTION(
            Error, r.plainExchange.CreatePerson()->DataSource().Open(u("mailto:u4@t"), others));
    }

private:
    static std::unique_ptr<platform::Connection> opened(adsi::Directory& directory) {
        auto connection = directory.CreateConnection();
        connection->setProvider(u("ADSDSOObject"));
        connection->Open(u("ADs Provider"), {}, {}, -1);
        return connection;
    }

    test::Rehearsal rehearsal;
};

} // namespace

QTEST_MAIN(AdsiTest)
#include "adsi_test.moc"
