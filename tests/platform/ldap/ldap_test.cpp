// The engine and the probe against a real Active Directory.
#include "platform/error.h"
#include "platform/ldap/host_network.h"
#include "platform/ldap/ldap_engine.h"
#include "platform/ldap/ldap_probe.h"
#include "support/test_directory.h"

#include <QElapsedTimer>
#include <QTest>
#include <QUuid>

#include <set>

using namespace rehome;
using namespace Qt::Literals::StringLiterals;

class LdapTest : public QObject {
    Q_OBJECT

    test::TestDirectory m_directory;
    ldap::LdapEngine m_engine{limited({})};
    std::unique_ptr<engine::Session> m_session;

    static ldap::LdapSettings limited(const QStringList& servers) {
        return {std::chrono::seconds(2), std::chrono::seconds(2), 1000, servers};
    }
    QString user(int number) const {
        return u"CN=user%1,"_s.arg(number, 4, 10, QChar(u'0')) + m_directory.value("USERS");
    }
    QString server(const QString& name) const {
        return u"CN=%1,"_s.arg(name) + m_directory.value("SERVERS");
    }
    engine::Entry read(const QString& base, const QStringList& attributes) {
        engine::SearchRequest request;
        request.base = base;
        request.attributes = attributes;
        const auto entry = m_session->search(request)->next();
        return entry ? *entry : engine::Entry{};
    }
    engine::SearchRequest everybody() const {
        engine::SearchRequest request;
        request.base = m_directory.value("BASE");
        request.scope = engine::Scope::Subtree;
        request.filter = u"(&(objectCategory=person)(mailNickname=crowd*))"_s;
        request.attributes = QStringList{u"mail"_s};
        return request;
    }
    template <class Action>
    static QString failureOf(const Action& action) {
        try {
            action();
        } catch (const Error& error) {
            return error.description();
        }
        return u"no failure"_s;
    }

private Q_SLOTS:
    void initTestCase() { qputenv("LDAPTLS_REQCERT", "never"); }
    void init() {
        m_directory.useTicket("ADMIN_CACHE");
        m_session = m_engine.openSession();
    }

    void readsAndWritesByNameAndByGuid() {
        QCOMPARE(read({}, {u"DEFAULTnamingcontext"_s}).text(u"defaultNamingContext"_s),
                 m_directory.value("BASE"));
        const QByteArray guid = read(user(1), {u"objectGUID"_s}).values(u"objectGUID"_s).value(0);
        QCOMPARE(guid.size(), 16);
        const auto part = [&](int from, int size) {
            QByteArray bytes = guid.mid(from, size);
            std::reverse(bytes.begin(), bytes.end());
            return bytes;
        };
        const QString base = u"<GUID=%1>"_s.arg(
            QUuid::fromRfc4122(part(0, 4) + part(4, 2) + part(6, 2) + guid.mid(8))
                .toString(QUuid::WithoutBraces));
        const QStringList asked{u"mail"_s, u"PROXYADDRESSES"_s, u"homeMDB"_s};
        const auto before = read(base, asked);
        QCOMPARE(before.distinguishedName, user(1));
        QCOMPARE(before.values(u"proxyAddresses"_s).size(), 2);

        const QList<QByteArray> addresses{"SMTP:a@b", "X400:c=\xc3\xa4;", "smtp:c@d"};
        m_session->modify(base, {{u"homeMDB"_s, {}},
                                 {u"msExchMailboxGuid"_s, {}},
                                 {u"mail"_s, {"a@b"}},
                                 {u"proxyAddresses"_s, addresses}});
        const auto after = read(user(1), asked);
        QCOMPARE(after.text(u"MAIL"_s), u"a@b"_s);
        auto written = after.values(u"proxyAddresses"_s);
        std::sort(written.begin(), written.end());
        QCOMPARE(written, addresses);
        QVERIFY(after.values(u"homeMDB"_s).isEmpty());
        m_session->modify(base, {{u"homeMDB"_s, before.values(u"homeMDB"_s)},
                                 {u"mail"_s, before.values(u"mail"_s)},
                                 {u"proxyAddresses"_s, before.values(u"proxyAddresses"_s)}});
    }

    void aRefusedRequestSaysWhyAndWhatHelps_data() {
        QTest::addColumn<QString>("base");
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QStringList>("said");
        const QString all = u"(objectClass=*)"_s;
        QTest::newRow("missing") << u"CN=nobody,DC=rehome,DC=test"_s << all
                                 << QStringList{u"(result 32)"_s, u"refresh"_s};
        QTest::newRow("malformed") << u"<GUID=12>"_s << all << QStringList{u"(result 34)"_s};
        QTest::newRow("elsewhere")
            << u"DC=other,DC=test"_s << all << QStringList{u"DC=other,DC=test"_s};
        QTest::newRow("filter") << QString() << u"(cn=*"_s << QStringList{u"filter"_s};
        QTest::newRow("NUL") << u"CN=a"_s + QChar(0) << all << QStringList{u"NUL"_s};
    }
    void aRefusedRequestSaysWhyAndWhatHelps() {
        QFETCH(QString, base);
        QFETCH(QString, filter);
        QFETCH(QStringList, said);
        engine::SearchRequest request{base, engine::Scope::Base, filter, {}};
        const QString description = failureOf([&] { (void)m_session->search(request)->next(); });
        for (const QString& part : said)
            QVERIFY2(description.contains(part), qPrintable(description));
        QVERIFY(read({}, {u"defaultNamingContext"_s}).attributes.size() == 1);
    }

    void anOrdinaryUserMayLookButNotWrite() {
        m_directory.useTicket("USER_CACHE");
        m_session = m_engine.openSession();
        QVERIFY(!read(server(u"EXUP"_s), {u"networkAddress"_s}).attributes.empty());
        const QString said = failureOf([&] {
            m_session->modify(user(2), {{u"mail"_s, {"mine@x"}}});
        });
        QVERIFY2(said.contains(user(2)) && said.contains(u"(result 50)"_s) &&
                     said.contains(u"no write property access"_s) && said.contains(u"kinit"_s),
                 qPrintable(said));
        QCOMPARE(read(user(2), {u"mail"_s}).text(u"mail"_s), u"user0002@rehome.test"_s);
    }

    void signingOnSaysWhatIsMissing_data() {
        QTest::addColumn<QByteArray>("tickets");
        QTest::addColumn<QString>("server");
        QTest::addColumn<QString>("said");
        const QString address = m_directory.value("ADDRESS");
        const QByteArray admin = m_directory.value("ADMIN_CACHE").toUtf8();
        // Another spelling of the address, which the certificate does not hold.
        quint32 number = 0;
        for (const QString& part : address.split(u'.'))
            number = number << 8 | part.toUInt();
        const QString alias = QString::number(number);
        QTest::newRow("none") << QByteArray("/nowhere") << u"ldap://"_s + address
                              << u"no Kerberos ticket: run kinit"_s;
        QTest::newRow("expired") << m_directory.value("EXPIRED_CACHE").toUtf8()
                                 << u"ldap://"_s + address << u"has expired: run kinit"_s;
        QTest::newRow("nobody") << admin << u"ldap://127.77.255.254"_s << u"cannot be reached"_s;
        QTest::newRow("ldaps") << admin << u"ldaps://"_s + address << u"no failure"_s;
        QTest::newRow("StartTLS") << admin << u"ldap://%1/??\?\?!StartTLS"_s.arg(address)
                                  << u"no failure"_s;
        QTest::newRow("ldaps, other name") << admin << u"ldaps://"_s + alias << u"is not trusted"_s;
        QTest::newRow("StartTLS, other name")
            << admin << u"ldap://%1/??\?\?StartTLS"_s.arg(alias) << u"is not trusted"_s;
    }
    void signingOnSaysWhatIsMissing() {
        QFETCH(QByteArray, tickets);
        QFETCH(QString, server);
        QFETCH(QString, said);
        qputenv("KRB5CCNAME", tickets);
        ldap::LdapEngine engine(limited({server}));
        const QString description =
            failureOf([&] { (void)engine.openSession()->search({})->next(); });
        QVERIFY2(description.contains(said), qPrintable(description));
    }

    void goesToTheNextServer() {
        ldap::LdapEngine engine(
            limited({u"ldap://127.77.255.254"_s, m_directory.value("LDAPURI")}));
        QVERIFY(engine.openSession()->search({})->next());
    }

    void listsThousandsOrFails() {
        QVERIFY(m_directory.run("crowd", u"3000"_s));
        {
            std::set<QString> names;
            const auto entries = m_session->search(everybody());
            while (const auto entry = entries->next())
                names.insert(entry->text(u"mail"_s));
            QCOMPARE(names.size(), size_t(3000));
        }
        auto entries = m_session->search(everybody());
        for (int i = 0; i < 10; ++i)
            QVERIFY(entries->next());
        QVERIFY(m_directory.run("restart"));
        int more = 0;
        const QString said = failureOf([&] {
            while (entries->next())
                ++more;
        });
        QVERIFY2(said.contains(u"connection to the server was lost"_s), qPrintable(said));
        QVERIFY(more < 2990);
        QCOMPARE(read(user(3), {u"mail"_s}).text(u"mail"_s), u"user0003@rehome.test"_s);
        QVERIFY(m_directory.run("crowd", u"0"_s));
    }

    void aRestartBetweenTwoOperationsIsNotNoticed() {
        QVERIFY(m_directory.run("restart"));
        m_session->modify(user(4), {{u"displayName"_s, {"After the restart"}}});
        QCOMPARE(read(user(4), {u"displayName"_s}).text(u"displayName"_s), u"After the restart"_s);
    }

    void aFrozenServerEndsInAnError() {
        ldap::LdapEngine secure(limited({u"ldaps://"_s + m_directory.value("ADDRESS")}));
        m_directory.signal(SIGSTOP);
        QElapsedTimer time;
        time.start();
        const QString search = failureOf([&] { read(user(5), {u"mail"_s}); });
        const QString again = failureOf([&] { read(user(5), {u"mail"_s}); });
        const QString tls = failureOf([&] { (void)secure.openSession(); });
        const auto taken = time.elapsed();
        m_directory.signal(SIGCONT);
        for (const QString& said : {search, again, tls})
            QVERIFY2(said.contains(u"no answer within 2 seconds"_s), qPrintable(said));
        QVERIFY2(taken < 9000, qPrintable(QString::number(taken)));
        QCOMPARE(read(user(5), {u"mail"_s}).text(u"mail"_s), u"user0005@rehome.test"_s);
    }

    void theProbeTellsStoresAndServers() {
        ldap::HostNetwork network;
        QCOMPARE(network.ComputerName(), m_directory.value("LOCAL"));
        ldap::LdapProbe probe(m_engine, network);
        const QString group = u"CN=First Storage Group,CN=InformationStore,"_s + server(u"EXUP"_s);
        QCOMPARE(probe.storeStatus(u"CN=Mailbox Store,"_s + group), qint16(0));
        QCOMPARE(probe.storeStatus(u"CN=Accounts\\, Sales,"_s + group), qint16(1));
        probe.checkServer(server(u"EXUP"_s));
        const QString said = failureOf([&] { probe.checkServer(server(u"EXDOWN"_s)); });
        QVERIFY2(said.contains(u"does not answer"_s), qPrintable(said));
        ldap::LdapProbe closed(m_engine, network, std::chrono::seconds(3), 9);
        closed.checkServer(server(network.ComputerName())); // the local one is not asked
        QVERIFY(failureOf([&] { closed.checkServer(server(u"EXUP"_s)); }) != u"no failure"_s);
        QVERIFY(failureOf([&] { (void)probe.storeStatus(u"CN=gone,"_s + group); }) !=
                u"no failure"_s);
    }
};

QTEST_GUILESS_MAIN(LdapTest)
#include "ldap_test.moc"
