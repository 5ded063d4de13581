// Mailboxes on the web server that samba_directory.py runs; the servers' objects are in process.
#include "platform/engine_contract.h"
#include "platform/http/directory_only_opener.h"
#include "platform/http/http_opener.h"
#include "platform/http/tls_failure.h"
#include "platform/http/trial.h"
#include "support/rehearsal.h"

#include <QProcess>

using namespace rehome;
using namespace std::chrono_literals;

const QString odd = "10"; // the server that answers by a table

/// How it may answer.
static QString multistatus(const QString& contacts, const QString& status = "200 OK",
                           const QString& type = {}, const QString& href = "/exchange/NAME/") {
    return "HTTP/1.1 207 Some\n\n<?xml version=\"1.0\"?>" + type +
           "<multistatus xmlns=\"DAV:\" xmlns:m=\"urn:schemas:httpmail:\"><response><href>" + href +
           "</href><propstat><status>HTTP/1.1 404 Not Found</status><prop><m:inbox/></prop>"
           "</propstat><propstat><prop>" +
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
    QString open(http::HttpOpener& opener, const QString& addresses, const QString& server = "1",
                 const QString& store = "CN=Store", bool moved = true) const {
        const auto session = m_directory->engine.openSession();
        QString location;
        const QString error = test::errorOf([&] {
            location = opener.open(*session, {userDN(addresses), addresses.split(','), store,
                                              serverDN(server), moved});
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
    /// What a mailbox so named is answered with.
    void answer(const QString& name, QString text) const {
        QFile file(m_place + "web/answers/" + name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.write(text.replace("NAME", name).toUtf8()) > 0);
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
        const auto server = [&](const QString& name, const QString& number) {
            text.server(name, "networkAddress: ncacn_vns_spp:X\nnetworkAddress: ncacn_ip_tcp:\n"
                              "networkAddress: NCACN_ip_tcp:" +
                                  m_web + number + "[1234]\n");
        };
        for (const QString& number : QString("1 2 3 4 5 6 7 8 10 11").split(' '))
            server(number, number);
        text.server("path", "networkAddress: ncacn_ip_tcp:" + m_web + "1/exchange/a?\n")
            .server("nowhere");
        // Servers whose web service the directory tells of: where they are, and what it says.
        const QString tls = "msExchSecureBindings: :443:\n", t = "msExchDefaultDomain: T\n";
        const QString mbx = "folderPathname: mbx\n", other = "folderPathname: P\n";
        for (const QStringList& is : QList<QStringList>{{"none", "1", {}, {}},
                                                        {"bare", "7", {}, mbx},
                                                        {"up", "10", {}, mbx},
                                                        {"slow", "5", {}, mbx},
                                                        {"tls", "7", tls, mbx},
                                                        {"t", "10", tls, mbx + t},
                                                        {"in t", "10", tls + t, mbx},
                                                        {"public", "10", tls, other + t}}) {
            server(is[0], is[1]);
            const QString first = "CN=1,CN=HTTP,CN=Protocols," + serverDN(is[0]);
            text.object(first, {"protocolCfgHTTPServer"}, is[2]);
            if (!is[3].isEmpty())
                text.object("CN=EXCHANGE," + first, {"msExchProtocolCfgHTTPVirtualDirectory"},
                            is[3]);
        }
        m_directory = std::make_unique<test::Rehearsal>(text);
    }
    void init() { useTicket("admin.cc"); }

    void saysWhatTheServerAnswered() {
        const QString any = "answer-", good = "<m:contacts>\n" + m_contacts + " </m:contacts>";
        const QString strange = QStringLiteral("O'Neil & söhne #1%2F+;?x");
        const QString entity = "<m:contacts>&e;</m:contacts>";
        const QString bomb = "<!DOCTYPE m [<!ENTITY d \"ddddd\"><!ENTITY e \"&d;&d;&d;&d;\">]>";
        const QString refused = "You may not open this mailbox",
                      none = "does not offer to authenticate";
        const auto status = [](int number, const QString& head = {}) {
            return QString("HTTP/1.1 %1 No\n%2\nNo").arg(number).arg(head);
        };
        const auto unauthorised = [&](const QString& offer) {
            return status(401, "WWW-Authenticate: " + offer + '\n');
        };
        const QString nobody = "rehome-check-asks-for-nobody", alone = "directory:CN=";
        const struct {
            QString server, mailbox, answered, said, ticket = "admin.cc";
            bool moved = true;
        } cases[] = {
            {"1", "plain", {}, m_contacts},
            {"1", strange, {}, m_contacts},
            {"4", "plain", {}, m_contacts}, // TLS 1.0
            {odd, any, multistatus(good), m_contacts},
            {odd, any, multistatus(QString(good).replace("contacts>", "inbox>")), m_contacts},
            {odd, any, multistatus(QString(good).replace("contacts>", "msgfolderroot>")),
             m_contacts},
            {"1", "absent", {}, "HTTP status 404. There is no such mailbox there yet; or PROPFIND"},
            {odd, any, status(404, "MS-WebStorage: 6.5\n"), "no such mailbox there yet."},
            {"1", "plain", {}, "HTTP status 401. Check your Kerberos ticket", "none.cc"},
            {odd, any, unauthorised("Negotiate TOKEN\nWWW-Authenticate: Negotiate"), refused},
            {odd, any, unauthorised("negotiate"), refused},
            {odd, any, unauthorised("Basic realm=\"x\", Negotiate"), refused},
            {odd, any, unauthorised("NTLM\nWWW-Authenticate: Basic"),
             none + " with a ticket (Negotiate), but: NTLM, Basic."},
            {odd, any, status(401), none},
            {odd, any, status(400), "MaxFieldLength"},
            {odd, any, status(403), "HTTP status 403. Have the right"},
            {odd, nobody, status(405), "blocks PROPFIND"},
            {odd, any, status(407), "as a proxy does"},
            {odd, nobody, status(440), "turn forms-based authentication off"},
            {odd, any, status(500), "own logs"},
            {odd, any, status(501), "blocks PROPFIND"},
            {odd, any, status(503), "The store CN=Store or the web service is not"},
            {odd, any, status(200), "HTTP status 200"},
            {odd, any, status(302, "Location: https://" + m_web + "9/%2Fx\n"),
             "refers to https://" + m_web + "9/%2Fx (HTTP status 302), where nothing is sent"},
            {odd, any, status(302, "Location: https://x/" + QString(5000, 'x') + '\n'),
             "//x/" + QString(1989, 'x') +
                 "… (HTTP status 302), where nothing is sent. The server"},
            {odd, any, multistatus(good, "404 Not Found"), "no such mailbox there yet."},
            {odd, any, multistatus(good, "401 No"), refused},
            {odd, any, multistatus(good, "503 No"), "The store CN=Store or"},
            {odd, any, multistatus(good, "200 OK", {}, "https://x/exchange/other/"),
             "about \"https://x/exchange/other/\", which is not this mailbox"},
            {odd, any, multistatus("<m:contacts> </m:contacts>"), "names no folder"},
            {odd, any, multistatus("<contacts>x</contacts>"), "no such mailbox"},
            {odd, any, multistatus("<m:contacts><a/></m:contacts>"), "not well-formed"},
            {odd, any, multistatus(good) + "<", "not well-formed"},
            {odd, any, multistatus(good).chopped(15), "not well-formed"},
            {odd, any, multistatus(good).replace("multistatus xmlns", "m xmlns"), "no multistatus"},
            {odd, any, multistatus(entity), "not well-formed"},
            {odd, any, multistatus(entity, "200 OK", bomb), "a document type, which is refused"},
            {odd, any, multistatus(good + QString(32768, ' ')), "longer than 32768 bytes"},
            {odd, any, status(207, QString("A: %1\n").arg("", 7000, QChar('x')).repeated(5)),
             "longer than 32768 bytes"},
            {odd, any, status(207, "Content-Length: 9000\n"), "no whole answer came"},
            {odd, "never", {}, "no answer within 2 seconds"},
            {"5", "plain", {}, "cannot be reached"},
            {"2", "plain", {}, "its authority is not known here"},
            {"6", "plain", {}, "it is for another name"},
            {"11", "plain", {}, "it has expired"},
            {"3", "plain", {}, "what answers at TCP port 443 is not TLS"},
            {"7", "plain", {}, "cannot be reached (Failed to connect to " + m_web + "7 port 443: "},
            {"8", "plain", {}, "the server refuses what is offered"}, // anonymous ciphers
            {"path", "plain", {}, "names no host"},
            {"nowhere", "plain", {}, "names no host"},
            {"1", "..", {}, "names no mailbox"},
            // Only a name that the server cannot join to somebody else's address is asked for.
            {odd, "jane@s.t,J@T,jd@t", {}, "=jane@s.t"},
            {"t", "jane@s.t,J@T,jd@t", {}, "=J"},
            {"in t", "jane@s.t,J@T,jd@t", {}, "=J"},
            {"t", "jane@s.t", {}, "=jane@s.t"},
            {"public", "jane@s.t,J@T", {}, "=jane@s.t"},
            {odd, "j@t,j2@t", multistatus(good, "200 OK", {}, "/exchange/J2"), m_contacts},
            // The directory alone counts.
            {"none", "a", {}, alone},
            {"none", "a", {}, alone},
            {"none", "b", {}, "has not moved", "admin.cc", false},
            {"bare", "c", {}, alone},
            {"bare", "d", {}, "has not moved", "admin.cc", false},
            {"up", "up", multistatus(good), m_contacts},
            {"slow", "f", {}, "cannot be reached"},
            {"tls", "g", {}, "cannot be reached"},
        };
        for (const QString name : {"jane@s.t", "J"})
            answer(name, multistatus("<m:contacts>=" + name + "</m:contacts>"));
        makeMailboxes({"plain", strange});
        const auto session = m_directory->engine.openSession();
        int number = 0;
        for (const auto& [server, mailbox, answered, said, ticket, moved] : cases) {
            useTicket(ticket);
            const QString name = mailbox == any ? mailbox + QString::number(number++) : mailbox;
            if (!answered.isNull())
                answer(name.section(',', 0, 0), answered);
            http::HttpOpener opener(m_directoryOnly, {2s, 10s});
            opener.beginRound();
            const QDeadlineTimer limit(4s);
            const QString seen = open(opener, name, server, "CN=Store", moved);
            QVERIFY(!limit.hasExpired());
            QVERIFY2(said == m_contacts ? seen == said : seen.contains(said),
                     qPrintable(server + ' ' + name + ": " + seen + " lacks " + said));
            if (mailbox != "plain" && mailbox != nobody)
                continue; // and as it can be tried beforehand
            const QString tried = test::errorOf([&, &on = server] {
                static_cast<void>(http::tryServer(*session, serverDN(on), {2s}));
            });
            QVERIFY2(said == m_contacts ? tried.isEmpty() : tried.contains(said),
                     qPrintable(tried));
        }
        QCOMPARE(m_journal.lines.size(), 2); // once of each mailbox that counts
        test::checkPart(m_journal.lines[0],
                        " counts as repopulated without having been opened: no");
        test::checkPart(m_journal.lines[1],
                        "bare,CN=Servers,CN=Configuration,DC=t offers no https");
        QCOMPARE(log("odd.log").filter("answer-4 ").size(), 3); // good tokens, each with a 401
        QCOMPARE(log("odd.log").filter("delegated"), QStringList());
    }

    /// What this computer's OpenSSL cannot play: recorded errors, and what is said of them.
    void explainsRecordedFailuresOfTls() {
        const QString openssl = "error:0A000%1:SSL routines::%2";
        const QPair<QString, QString> recorded[] = {
            {openssl.arg("152", "unsafe legacy renegotiation disabled"), "MS10-049"},
            {openssl.arg("18A", "dh key too small"), "2048 bits"},
            {openssl.arg("42E", "tlsv1 alert protocol version"), "Turn TLS 1.0 or newer on"},
            {"OpenSSL SSL_connect: Connection reset by peer in connection to h:443", "KB 948963"},
            {"SSL certificate problem: EE certificate key too weak", "2048 bits"},
            {"SSL certificate problem: certificate is not yet valid", "both clocks"},
            {"SSL certificate problem: unable to get local issuer certificate", "update-ca-"},
            {"anything else", "names host."},
        };
        for (const auto& [error, remedy] : recorded)
            test::checkPart(http::tlsFailure(error, "host").remedy, remedy);
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
                    !opened.contains(name) && open(slow, name, odd) == "x")
                    opened += name;
            QTest::qSleep(200);
        }
        QCOMPARE(opened.size(), 7);
        QTRY_COMPARE(log("odd.log").filter("answer-slow").size(), 7);
        http::HttpOpener early(m_directoryOnly, {2s, 100ms});
        test::checkPart(open(early, "answer-slow7", odd), "no answer yet");
        QTest::qSleep(900);
        early.beginRound(); // moved on meanwhile, the mailbox is asked for again
        test::checkPart(open(early, "answer-slow7", odd, "CN=Other"), "no answer yet");
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
