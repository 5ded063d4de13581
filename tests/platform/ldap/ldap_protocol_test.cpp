// What Active Directory does and Samba does not, against a little server of the tests' own.
#include "platform/engine_contract.h"
#include "platform/ldap/ldap_engine.h"
#include "platform/ldap/server_location.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>

using namespace rehome;
using test::errorOf;
using namespace Qt::Literals::StringLiterals;

class LdapProtocolTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_folder;
    QProcess m_server;
    std::unique_ptr<ldap::LdapEngine> m_engine;
    std::unique_ptr<engine::Session> m_session;

    static engine::SearchRequest request(const QString& base, const QString& attribute,
                                         engine::Scope scope = engine::Scope::Base) {
        engine::SearchRequest request;
        request.base = base;
        request.scope = scope;
        request.attributes = QStringList{attribute};
        return request;
    }
    int requestsFor(const QByteArray& base) {
        const auto log = m_session->search(request(u"CN=Log"_s, u"requests"_s))->next();
        for (const QByteArray& line : log ? log->values(u"requests"_s) : QList<QByteArray>())
            if (line.startsWith(base + ' '))
                return line.mid(base.size() + 1).toInt();
        return 0;
    }

private Q_SLOTS:
    void initTestCase() {
        const QString path = m_folder.filePath(u"socket"_s);
        m_server.start(u"/usr/bin/python3"_s, {QStringLiteral(REHOME_RESPONDER), path});
        QVERIFY(m_server.waitForReadyRead());
        ldap::LdapSettings settings;
        settings.connectLimit = settings.answerLimit = std::chrono::seconds(2);
        settings.servers =
            QStringList{u"ldapi://"_s + QString::fromUtf8(QUrl::toPercentEncoding(path))};
        m_engine = std::make_unique<ldap::LdapEngine>(settings);
    }
    void init() { m_session = m_engine->openSession(); }
    void cleanupTestCase() {
        m_server.kill();
        QVERIFY(m_server.waitForFinished());
    }

    void pagesThroughMoreThanAServerSendsAtOnce() {
        const QStringList found =
            test::names(*m_session, request(u"CN=Many"_s, u"cn"_s, engine::Scope::Subtree));
        QCOMPARE(QSet<QString>(found.begin(), found.end()).size(), 2500);
        QCOMPARE(requestsFor("CN=Many"), 3);
    }
    void fetchesAllValuesOfARangedAttribute() {
        const auto entry = m_session->search(request(u"CN=Ranged"_s, u"member"_s))->next();
        QVERIFY(entry);
        QCOMPARE(entry->attributes.size(), size_t(1));
        const auto values = entry->values(u"member"_s);
        QCOMPARE(values.size(), 3200);
        for (int i = 0; i < 3200; ++i)
            QCOMPARE(values.at(i), "CN=" + QByteArray::number(i));
    }
    void aReferralIsAnErrorThatSaysWhere() {
        const QString said =
            errorOf([&] { m_session->search(request(u"CN=Elsewhere"_s, u"cn"_s))->next(); });
        QVERIFY2(said.contains(u"ldap://other.test/CN=Elsewhere"_s), qPrintable(said));
    }
    void aSearchThatBreaksOffIsAnError() {
        const auto entries = m_session->search(request(u"CN=Breaks"_s, u"cn"_s));
        for (int i = 0; i < 7; ++i)
            QVERIFY(entries->next());
        const QString said = errorOf([&] { entries->next(); });
        QVERIFY2(said.contains(u"busy with something else"_s), qPrintable(said));
    }
    void aConnectionDroppedWhileIdleIsOpenedAgainUnseen() {
        m_session->modify(u"CN=HangUp"_s, {{u"mail"_s, {"a"}}});
        QTest::qWait(100);
        m_session->modify(u"CN=HangUp"_s, {{u"mail"_s, {"b"}}});
        QTest::qWait(100);
        QVERIFY(m_session->search(request(u"CN=Ranged"_s, u"member"_s))->next());
        QCOMPARE(requestsFor("CN=HangUp"), 2);
    }
    void anUnansweredSearchIsSentAgain() {
        m_session->search(request(u"CN=SwallowOnce"_s, u"cn"_s))->next();
        QCOMPARE(requestsFor("CN=SwallowOnce"), 2);
    }
    void anUnansweredModifyIsNeverSentAgain() {
        const QString said = errorOf([&] {
            m_session->modify(u"CN=Swallow"_s, {{u"mail"_s, {"a"}}});
        });
        QVERIFY2(said.contains(u"not known whether the change was made"_s), qPrintable(said));
        QCOMPARE(requestsFor("CN=Swallow"), 1);
    }
    void serversComeByPriorityThenByWeight() {
        std::mt19937 chance{1};
        int heavyFirst = 0;
        for (int i = 0; i < 1000; ++i) {
            const QStringList order = ldap::inOrder(
                {{u"c"_s, 3268, 20, 100}, {u"a"_s, 389, 10, 90}, {u"b"_s, 389, 10, 10}}, chance);
            QCOMPARE(order.size(), 3);
            QCOMPARE(order.last(), u"ldap://c:3268"_s);
            heavyFirst += order.first() == u"ldap://a"_s;
        }
        QVERIFY(heavyFirst > 850 && heavyFirst < 950);
    }
};

QTEST_GUILESS_MAIN(LdapProtocolTest)
#include "ldap_protocol_test.moc"
