// Mailboxes on the web server that samba_directory.py runs; the servers' objects are in process.
#include "platform/engine_contract.h"
#include "platform/http/directory_only_opener.h"
#include "platform/http/http_opener.h"
#include "support/rehearsal.h"

#include <QProcess>

#include <sys/stat.h>

using namespace rehome;
using namespace std::chrono_literals;

/// How a server may answer.
static QString multistatus(const QString& contacts, const QString& status = "200 OK",
                           const QString& type = {}) {
    return "Status: 207\n\n<?xml version=\"1.0\"?>" + type +
           "<multistatus xmlns=\"DAV:\" xmlns:m=\"urn:schemas:httpmail:\"><response>"
           "<propstat><status>HTTP/1.1 404 Not Found</status><prop><m:inbox/></prop></propstat>"
           "<propstat><prop>" +
           contacts + "</prop><status>HTTP/1.1 " + status +
           "</status></propstat></response></multistatus>";
}

class HttpTest : public QObject, test::OrganisationText {
    Q_OBJECT

    const QString m_web = qEnvironmentVariable("REHOME_TEST_WEB");
    const QString m_place = qEnvironmentVariable("REHOME_TEST_DIRECTORY") + '/';
    const QString m_contacts = "https://" + m_web + "1/Contacts";
    std::unique_ptr<test::Rehearsal> m_directory;
    test::TestJournal m_journal;
    http::DirectoryOnlyOpener m_directoryOnly{m_journal};

    /// The location of a mailbox on one of the servers, or why it does not open.
    QString open(http::HttpOpener& opener, const QString& name, const QString& server = "1",
                 const QString& store = "CN=Store") const {
        const auto session = m_directory->engine.openSession();
        QString location;
        const QString error = test::errorOf([&] {
            location = opener.open(*session, {userDN(name), name, store, serverDN(server)});
        });
        return error.isEmpty() ? location : error;
    }
    void makeMailboxes(const QStringList& names) const {
        QCOMPARE(QProcess::execute(QFINDTESTDATA("../../support/web_server.py"), names), 0);
    }
    QStringList log(const char* name) const {
        QFile file(m_place + name);
        return file.open(QIODevice::ReadOnly) ? QString(file.readAll()).split('\n') : QStringList();
    }
    /// What a mailbox so named is answered with; it can be read for ever, where there is none.
    void answer(const QString& name, const QString& text) const {
        QFile file(m_place + "web/answers/" + name);
        if (text.isNull())
            QCOMPARE(::mkfifo(qPrintable(file.fileName()), 0666), 0);
        else
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) > 0);
    }
    void useTicket(const QString& cache) const {
        qputenv("KRB5CCNAME", (m_place + cache).toUtf8());
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY2(!m_web.isEmpty(), "to be run by tests/support/samba_directory.py");
        for (const char* variable : {"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"})
            qputenv(variable, ("http://" + m_web + "9:80").toUtf8());
        OrganisationText text("none");
        for (const QString& number : QString("1 2 3 4 5 6 7 8 without").split(' '))
            text.server(number, "networkAddress: ncacn_vns_spp:X\nnetworkAddress: ncacn_ip_tcp:\n"
                                "networkAddress: NCACN_ip_tcp:" +
                                    m_web + number.left(1).replace('w', '1') + "[1234]\n");
        text.server("odd", "networkAddress: ncacn_ip_tcp:" + m_web + "1/exchange/a?\n")
            .server("nowhere");
        text.object("CN=1,CN=HTTP,CN=Protocols," + serverDN("without"), {"protocolCfgHTTPServer"});
        m_directory = std::make_unique<test::Rehearsal>(text);
    }
    void init() { useTicket("admin.cc"); }

    void saysWhatTheServerAnswered() {
        const QString any = "answer-", good = "<m:contacts>\n" + m_contacts + " </m:contacts>";
        const QString odd = QStringLiteral("O'Neil & söhne #1%2F+;?x"),
                      entity = "<m:contacts>&e;</m:contacts>";
        const QString bomb = "<!DOCTYPE m [<!ENTITY d \"ddddd\"><!ENTITY e \"&d;&d;&d;&d;\">]>";
        const struct {
            QString server, mailbox, answered, said, ticket = "admin.cc";
        } cases[] = {
            {"1", "plain", {}, m_contacts},
            {"1", odd, {}, m_contacts},
            {"4", "plain", {}, m_contacts}, // TLS 1.0
            {"1", any, multistatus(good), m_contacts},
            {"1", "absent", {}, "HTTP status 404"},
            {"1", "plain", {}, "HTTP status 401. Check your Kerberos ticket", "none.cc"},
            {"1", any, "Status: 403\n\nNo", "HTTP status 403. Have the right"},
            {"1", any, "Status: 440\n\nNo", "turn forms-based authentication off"},
            {"1", any, "Status: 503\n\nNo", "The store CN=Store is not available"},
            {"1", any, "Status: 200\n\n<html/>", "HTTP status 200"},
            {"1", any, "Status: 302\nLocation: https://" + m_web + "9/%2Fx\n\n",
             "refers to https://" + m_web + "9/%2Fx (HTTP status 302), where nothing is sent"},
            {"1", any, "Status: 302\nLocation: https://x/" + QString(5000, 'x') + "\n\n",
             "//x/" + QString(1989, 'x') +
                 "… (HTTP status 302), where nothing is sent. The server"},
            {"1", any, multistatus(good, "404 Not Found"), "HTTP status 404"},
            {"1", any, multistatus(good, "503 No"), "The store CN=Store is not available"},
            {"1", any, multistatus("<m:contacts> </m:contacts>"), "names no contacts folder"},
            {"1", any, multistatus("<contacts>x</contacts>"), "names no contacts folder"},
            {"1", any, multistatus("<m:contacts><a/></m:contacts>"), "not well-formed"},
            {"1", any, multistatus(good) + "<", "not well-formed"},
            {"1", any, multistatus(good).chopped(15), "not well-formed"},
            {"1", any, multistatus(good).replace("multistatus xmlns", "m xmlns"), "no multistatus"},
            {"1", any, multistatus(entity), "not well-formed"},
            {"1", any, multistatus(entity, "200 OK", bomb), "a document type, which is refused"},
            {"1", any, multistatus(good + QString(32768, ' ')), "longer than 32768 bytes"},
            {"1", any,
             "Status: 207\n" + QString("A: %1\n").arg("", 7000, QChar('x')).repeated(5) + "\n\n",
             "longer than 32768 bytes"},
            {"1", any, {}, "no answer within 2 seconds"},
            {"5", "plain", {}, "cannot be reached"},
            {"2", "plain", {}, "is not trusted"},
            {"6", "plain", {}, "is not trusted"}, // trusted, but for another name
            {"3", "plain", {}, "opened over https and never in clear"},
            {"7", "plain", {}, "cannot be reached (Failed to connect to " + m_web + "7 port 443: "},
            {"8", "plain", {}, "no secure connection"}, // anonymous ciphers
            {"odd", "plain", {}, "names no host"},
            {"nowhere", "plain", {}, "names no host"},
            {"1", "..", {}, "names no mailbox"},
            {"without", "a", {}, "directory:" + userDN("a")},
            {"without", "b", {}, "directory:" + userDN("b")},
            {"without", "a", {}, "directory:" + userDN("a")},
        };
        makeMailboxes({"plain", odd});
        int number = 0;
        for (const auto& [server, mailbox, answered, said, ticket] : cases) {
            useTicket(ticket);
            const QString name = mailbox == any ? mailbox + QString::number(number++) : mailbox;
            if (mailbox == any)
                answer(name, answered);
            http::HttpOpener opener(m_directoryOnly, {2s, 10s});
            opener.beginRound();
            const QDeadlineTimer limit(4s);
            const QString seen = open(opener, name, server);
            QVERIFY(!limit.hasExpired());
            QVERIFY2(said == m_contacts ? seen == said : seen.contains(said),
                     qPrintable(server + ' ' + name + ": " + seen + " lacks " + said));
        }
        QCOMPARE(m_journal.lines.size(), 2); // once of each that its server has no web service
        test::checkPart(m_journal.lines.at(1), userDN("b") + " counts as repopulated without");
    }

    void hundredsShareAConnection() {
        QStringList names;
        for (int i = 0; i < 300; ++i)
            names += "many" + QString::number(i);
        http::HttpOpener opener(m_directoryOnly, {4500ms, 10s});
        for (int round = 0; round < 4; ++round) { // they appear after three
            if (round == 3)
                makeMailboxes(names);
            opener.beginRound();
            const auto begin = std::chrono::steady_clock::now();
            for (const QString& name : std::as_const(names))
                test::checkPart(open(opener, name), round < 3 ? "status 404" : m_contacts);
            QVERIFY(std::chrono::steady_clock::now() - begin < 10s);
        }
        // Address, user, method, path, status, and how many were asked for before.
        QStringList asked;
        QTRY_COMPARE((asked = log("asked.log").filter("PROPFIND /exchange/many")).size(), 1200);
        QCOMPARE(asked.filter(m_web + "1:443 Administrator@REHOME.TEST ").size(), 1200);
        QVERIFY(asked.filter(QRegularExpression(" 0$")).size() <= 2);
    }

    void nobodyWaitsForEver() {
        http::HttpOpener silent(m_directoryOnly, {300ms, 10s, 1s, 0s});
        makeMailboxes({"near"});
        for (const QString turn : {"far0", "far1", "far2", "far0"}) { // silent server
            silent.beginRound();
            QCOMPARE(open(silent, "near"), m_contacts);
            for (const QString name : {"far0", "far1", "far2"})
                QCOMPARE(open(silent, name, "5").contains("cannot be reached"), name == turn);
        }
        http::HttpOpener patient(m_directoryOnly, {4500ms, 3s, 300ms});
        QSet<QString> reasons;
        for (int round = 0; round < 5; ++round) {
            patient.beginRound();
            for (const QString name : {"far0", "far1", "far2"})
                reasons += open(patient, name, "5");
        }
        QCOMPARE(reasons.values().filter("(SSL connection timeout)").size(), 1); // asked once
        QCOMPARE(reasons.values().filter("again after this: SSL connection timeout").size(), 2);
    }

    void aLateAnswerIsTakenInALaterRound() {
        http::HttpOpener slow(m_directoryOnly, {2s, 500ms});
        QSet<QString> opened;
        for (int i = 0; i < 8; ++i)
            answer("answer-slow" + QString::number(i), multistatus("<m:contacts>x</m:contacts>"));
        for (int round = 0; round < 20 && opened.size() < 7; ++round) {
            slow.beginRound();
            for (int i = 0; i < 7; ++i)
                if (const QString name = "answer-slow" + QString::number(i);
                    !opened.contains(name) && open(slow, name) == "x")
                    opened += name;
            QTest::qSleep(200);
        }
        QCOMPARE(opened.size(), 7);
        QTRY_COMPARE(log("asked.log").filter("PROPFIND /exchange/answer-slow").size(), 7);
        http::HttpOpener early(m_directoryOnly, {2s, 100ms});
        test::checkPart(open(early, "answer-slow7"), "no answer yet");
        QTest::qSleep(900);
        early.beginRound(); // moved on meanwhile, the mailbox is asked for again
        test::checkPart(open(early, "answer-slow7", "1", "CN=Other"), "no answer yet");
    }

    void aSilentKerberosServerIsLeftToItself() {
        answer("krb5", "[libdefaults]\nrdns = false\n[realms]\nREHOME.TEST = {\nkdc = " + m_web +
                           "1:53\n}\n");
        const QByteArray good = qgetenv("KRB5_CONFIG");
        qputenv("KRB5_CONFIG", (m_place + "web/answers/krb5").toUtf8());
        useTicket("user.cc"); // with none for the web server
        http::HttpOpener opener(m_directoryOnly, {4500ms, 1100ms, 1s, 2s});
        test::checkPart(open(opener, "plain"), "no answer yet");
        test::checkPart(open(opener, "near"), "has not answered the last request yet");
        qputenv("KRB5_CONFIG", good);
        QTRY_COMPARE((opener.beginRound(), open(opener, "plain")), m_contacts);
    }

    void cleanupTestCase() {
        // Nothing has gone to the proxy, to port 80 or where an answer referred to.
        QCOMPARE(log("asked.log").filter(QRegularExpression("^[0-9.]*(9:|:80 )")), QStringList());
    }
};

QTEST_GUILESS_MAIN(HttpTest)
#include "http_test.moc"
