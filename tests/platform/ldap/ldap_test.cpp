// The engine and the probe against a real Active Directory.
#include "platform/engine_contract.h"
#include "platform/ldap/ldap_engine.h"
#include "support/test_directory.h"

#include <QElapsedTimer>

using namespace rehome;
using test::errorOf;
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
    QString mailOf(int number) { return test::one(*m_session, user(number)).text(u"mail"_s); }
private Q_SLOTS:
    void initTestCase() { qputenv("LDAPTLS_REQCERT", "never"); }
    void init() {
        m_directory.useTicket("ADMIN_CACHE");
        m_session = m_engine.openSession();
    }

    void aRefusedRequestSaysWhyAndWhatHelps() {
        const QString missing = errorOf([&] { mailOf(9999); });
        QVERIFY2(missing.contains(u"(result 32)"_s) && missing.contains(u"refresh"_s),
                 qPrintable(missing));
        const QString nul = errorOf([&] { test::one(*m_session, u"CN=a"_s + QChar(0)); });
        QVERIFY2(nul.contains(u"NUL"_s), qPrintable(nul));
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
        QTest::newRow("the next") << admin << u"ldap://127.77.255.254 ldap://"_s + address
                                  << QString();
        QTest::newRow("ldaps") << admin << u"ldaps://"_s + address << QString();
        QTest::newRow("StartTLS") << admin << u"ldap://%1/??\?\?!StartTLS"_s.arg(address)
                                  << QString();
        QTest::newRow("ldaps, other name") << admin << u"ldaps://"_s + alias << u"is not trusted"_s;
        QTest::newRow("StartTLS, other name")
            << admin << u"ldap://%1/??\?\?StartTLS"_s.arg(alias) << u"is not trusted"_s;
    }
    void signingOnSaysWhatIsMissing() {
        QFETCH(QByteArray, tickets);
        QFETCH(QString, server);
        QFETCH(QString, said);
        qputenv("KRB5CCNAME", tickets);
        ldap::LdapEngine engine(limited(server.split(u' ')));
        const QString description =
            errorOf([&] { (void)engine.openSession()->search({})->next(); });
        QVERIFY2(said.isEmpty() ? description.isEmpty() : description.contains(said),
                 qPrintable(description));
    }

    void listsThousandsOrFails() {
        const engine::SearchRequest everybody{m_directory.value("BASE"),
                                              engine::Scope::Subtree,
                                              u"(sAMAccountName=crowd*)"_s,
                                              {u"cn"_s}};
        const QStringList listed = test::names(*m_session, everybody);
        QCOMPARE(QSet<QString>(listed.begin(), listed.end()).size(), 3000);
        const auto entries = m_session->search(everybody);
        QVERIFY(entries->next());
        m_directory.restart();
        int more = 0;
        const QString said = errorOf([&] {
            while (entries->next())
                ++more;
        });
        QVERIFY2(said.contains(u"connection to the server was lost"_s), qPrintable(said));
        QVERIFY(more < 2999);
        QCOMPARE(mailOf(3), u"user0003@rehome.test"_s);
    }

    void aRestartBetweenTwoOperationsIsNotNoticed() {
        m_directory.restart();
        m_session->modify(user(4), {{u"mail"_s, {"user0004@rehome.test"}}});
        QCOMPARE(mailOf(4), u"user0004@rehome.test"_s);
    }

    void aFrozenServerEndsInAnError() {
        ldap::LdapEngine secure(limited({u"ldaps://"_s + m_directory.value("ADDRESS")}));
        m_directory.signal(SIGSTOP);
        QElapsedTimer time;
        time.start();
        const QString search = errorOf([&] { mailOf(5); });
        const QString again = errorOf([&] { mailOf(5); });
        const QString tls = errorOf([&] { (void)secure.openSession(); });
        const auto taken = time.elapsed();
        m_directory.signal(SIGCONT);
        for (const QString& said : {search, again, tls})
            QVERIFY2(said.contains(u"no answer within 2 seconds"_s), qPrintable(said));
        QVERIFY2(taken < 9000, qPrintable(QString::number(taken)));
        QCOMPARE(mailOf(5), u"user0005@rehome.test"_s);
    }
};

QTEST_GUILESS_MAIN(LdapTest)
#include "ldap_test.moc"
