// What Active Directory does and Samba does not, against a little server of the tests' own.
#include "platform/engine_contract.h"
#include "platform/ldap/ldap_engine.h"
#include "platform/ldap/server_location.h"

#include <QLocalServer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QUrl>

#include <ldap.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <csignal>
#include <list>
#include <mutex>
#include <thread>

using namespace rehome;
using namespace std::chrono_literals;
using std::chrono::milliseconds;

template <class T, auto release>
using Owned = std::unique_ptr<T, decltype([](T* owned) { release(owned); })>;
using Socket = Owned<Sockbuf, ber_sockbuf_free>; ///< closes it
using Message = Owned<BerElement, [](BerElement* message) { ber_free(message, 1); }>;

/// A request about CN=x (RFC 4511), and what is said to it.
struct Request {
    Sockbuf* socket;
    int id = 0;
    ber_tag_t kind = 0;
    QByteArray content{}; ///< with the controls, not decoded

    bool paged() const { return content.contains(LDAP_CONTROL_PAGEDRESULTS); }
    /// Where a search goes on: the number of its cookie, which is "=number", or of its range.
    int first() const { return std::atoi(content.mid(content.lastIndexOf('=') + 1)); }

    template <class... Parts>
    void send(const char* format, ber_tag_t answer, Parts... parts) const {
        const Message message(ber_alloc_t(LBER_USE_DER));
        ber_printf(message.get(), format, id, answer, parts...);
        ber_flush2(socket, message.get(), LBER_FLUSH_FREE_NEVER);
    }
    void entry(const QByteArray& name, const QByteArray& type, const QByteArrayList& values) const {
        std::vector<const char*> texts(values.begin(), values.end());
        texts.push_back(nullptr);
        send("{it{s{{s[v]}}}}", LDAP_RES_SEARCH_ENTRY, name.data(), type.data(), texts.data());
    }
    void result(int code = LDAP_SUCCESS, const char* remark = "") const {
        const bool search = kind == LDAP_REQ_SEARCH;
        send("{it{ess}}", search ? LDAP_RES_SEARCH_RESULT : kind + 1, code, "", remark);
    }
    void page(const QByteArray& cookie) const {
        send("{it{ess}t{{st{{is}}}}}", LDAP_RES_SEARCH_RESULT, LDAP_SUCCESS, "", "",
             LDAP_TAG_CONTROLS, LDAP_CONTROL_PAGEDRESULTS, LBER_OCTETSTRING, 0, cookie.data());
    }
    void hangUp() const {
        int descriptor = -1;
        ber_sockbuf_ctrl(socket, LBER_SB_OPT_GET_FD, &descriptor);
        shutdown(descriptor, SHUT_RDWR);
    }
};

/// A server that answers as it is told, and a session with it.
struct Server {
    ~Server() { shutdown(int(listener.socketDescriptor()), SHUT_RDWR); } // ends the thread

    void serve(int connection) {
        const Socket socket(ber_sockbuf_alloc());
        ber_sockbuf_add_io(socket.get(), &ber_sockbuf_io_fd, LBER_SBIOD_LEVEL_PROVIDER,
                           &connection);
        for (;;) {
            const Message message(ber_alloc_t(LBER_USE_DER));
            ber_len_t length = 0;
            errno = 0;
            if (ber_get_next(socket.get(), &length, message.get()) == LBER_ERROR) {
                ended = errno;
                return;
            }
            Request asked{socket.get(), 0, 0, QByteArray(qsizetype(length), '\0')};
            ber_scanf(message.get(), "it", &asked.id, &asked.kind);
            ber_read(message.get(), asked.content.data(), length);
            const bool aboutX = asked.content.contains("CN=x");
            std::unique_lock busy(mutex);
            log += asked.kind == LDAP_REQ_BIND      ? 'b'
                   : asked.kind == LDAP_REQ_MODIFY  ? 'm'
                   : asked.kind == LDAP_REQ_SEARCH  ? aboutX ? 's' : 'r'
                   : asked.kind == LDAP_REQ_ABANDON ? 'a'
                                                    : '-';
            busy.unlock();
            // Aliases are not followed; no limit of size, none of time.
            if (asked.kind == LDAP_REQ_SEARCH &&
                !asked.content.contains(QByteArray::fromHex("0a0100020100020100")))
                return;
            if (frozen)
                continue;
            QTest::qSleep(asked.kind == LDAP_REQ_BIND ? bindTakes.load() : 0);
            if (aboutX) {
                ++requests;
                answer(asked);
                continue;
            }
            if (asked.kind == LDAP_REQ_SEARCH) {
                asked.send("{it{s{{s[s]}{s[s]}}}}", LDAP_RES_SEARCH_ENTRY, "", "supportedControl",
                           LDAP_CONTROL_PAGEDRESULTS, type.load(), value.load());
                QTest::qSleep(10); // for the end of the answer to come by itself
            }
            if (asked.kind == LDAP_REQ_SEARCH || asked.kind == LDAP_REQ_BIND)
                asked.result(asked.kind == LDAP_REQ_BIND ? signsOn.load() : LDAP_SUCCESS, remark);
        }
    }

    const std::function<void(const Request&)> answer;
    std::atomic<int> requests = 0; ///< so far, but for those of a new session
    std::atomic<bool> frozen = false;
    std::atomic<int> signsOn = LDAP_SUCCESS;
    std::atomic<const char*> remark = ""; ///< where the request is not about CN=x
    std::atomic<int> bindTakes = 0;       ///< milliseconds
    std::atomic<const char*> type = "isSynchronized", value = "TRUE"; ///< of the root object
    std::atomic<int> ended = -1; ///< errno at the end of a connection
    std::mutex mutex{};          ///< of what follows
    QByteArray log{};            ///< one letter for each request
    const QTemporaryDir folder{};
    QLocalServer listener{};
    const bool listening = listener.listen(folder.filePath("socket"));
    std::jthread thread{[this] {
        std::list<std::jthread> connections;
        for (int next = 0;
             (next = accept(int(listener.socketDescriptor()), nullptr, nullptr)) >= 0;)
            connections.emplace_back([this, next] { serve(next); });
    }};
    const QString uri = "ldapi://" + QUrl::toPercentEncoding(listener.fullServerName());
    ldap::LdapEngine engine{{1s, 1s, 1000, {{uri}}, 200ms, 1500ms}};
    std::unique_ptr<engine::Session> session = engine.openSession();
};

/// What a search (s) or a modification (m) fails with.
static QString failure(engine::Session& session, char operation) {
    return test::errorOf([&] {
        if (operation == 's')
            test::one(session, "CN=x");
        else
            session.modify("CN=x", {{"mail", {"a"}}});
    });
}

/// The names from CN=first to CN=last-1.
static QByteArrayList numbered(int first, int last) {
    QByteArrayList names;
    while (first < last)
        names += "CN=" + QByteArray::number(first++);
    return names;
}

class LdapProtocolTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        std::signal(SIGPIPE, SIG_IGN); // as the tool does
        // Other programs' limits, which do not count.
        for (const char* limit : {"LDAPSIZELIMIT", "LDAPTIMELIMIT"})
            qputenv(limit, "1");
        qputenv("LDAPDEREF", "always");
    }
    void goesOnWithTheServerThatAnsweredLast() {
        const auto hangsUp = [](const Request& asked) { asked.hangUp(); };
        Server first{hangsUp}, second{hangsUp};
        ldap::LdapEngine engine{{1s, 1s, 1000, {{first.uri}, {second.uri}}}};
        first.signsOn = LDAP_BUSY;
        const auto session = engine.openSession();
        first.signsOn = LDAP_SUCCESS;
        QVERIFY(!failure(*session, 's').isEmpty()); // at two connections
        QCOMPARE(first.log.count('b'), 2);          // of its own session; refused
        QCOMPARE(second.log.count('b'), 3);
    }
    void theFirstThatAnswersIsUsed() {
        const auto become = [](Server& server, QByteArrayView how) {
            server.frozen = how == "frozen";
            server.bindTakes = how == "slow" ? 300 : 0;
            server.signsOn = how == "busy" ? LDAP_BUSY : LDAP_SUCCESS;
            server.type = how == "read-only" ? "supportedCapabilities" : "isSynchronized";
            server.value = how == "read-only" ? "1.2.840.113556.1.4.1920"
                           : how == "lags"    ? "FALSE"
                                              : "TRUE";
        };
        constexpr int limit = 1500;
        for (const auto& [line, before, beside, how, howOther, used, after] :
             {std::tuple(__LINE__, 0, 7, "frozen", "well", 1, 0), // side by side
              {__LINE__, 0, 8, "frozen", "well", 1, limit},       // but not more than eight
              {__LINE__, 1, 0, "frozen", "well", 1, 1000}, // a later priority: after a second
              {__LINE__, 1, 0, "slow", "well", 0, 0},
              {__LINE__, 0, 1, "lags", "slow", 1, 0},
              {__LINE__, 1, 0, "read-only", "slow", 1, 0},
              {__LINE__, 1, 0, "read-only", "busy", 0, 0},
              {__LINE__, 0, 1, "lags", "read-only", 0, 0}}) {
            Server first{{}}, second{{}};
            become(first, how);
            become(second, howOther);
            const QList<QStringList> servers{QStringList(before, first.uri),
                                             QStringList(beside, first.uri) << second.uri};
            ldap::LdapEngine engine{{milliseconds(limit), 1s, 1000, servers}};
            const QDeadlineTimer earliest(after);
            const auto session = engine.openSession();
            const QString server = test::one(*session, "").server;
            QVERIFY2(server == (used == 0 ? first : second).uri && earliest.hasExpired() &&
                         (!first.frozen || after == limit || first.ended < 0),
                     qPrintable(QString::number(line)));
            QTRY_VERIFY(!first.frozen || first.ended >= 0); // left behind, and of no account
            test::one(*session, "");
            QCOMPARE(second.log.count('b'), used == 1 ? 2 : second.log.count('b'));
        }
    }
    void whatIsNoStandInIsPassedOver() {
        std::atomic<bool> down = false;
        const auto answer = [&](const Request& asked) { down ? asked.hangUp() : asked.result(); };
        Server first{answer}, other{answer};
        first.type = other.type = "defaultNamingContext";
        first.value = "DC=a";
        other.value = "DC=b";
        ldap::LdapEngine engine{{1s, 1s, 1000, {{first.uri}, {other.uri}}}};
        const auto session = engine.openSession();
        down = true;
        first.signsOn = LDAP_UNAVAILABLE;
        const QString said = failure(*session, 's');
        test::checkPart(said, "Signing on at " + first.uri);
        test::checkPart(said, "Using " + other.uri + " failed: it holds the domain DC=b");
        for (const QString uri : {"ldap://gc.test:3268", "ldaps://gc.test:3269"})
            test::checkPart(test::errorOf([&] {
                                (void)ldap::LdapEngine({1s, 1s, 1000, {{uri}}}).openSession();
                            }),
                            "Using " + uri + " failed: port 32");
    }
    void sessionsShareAConnection() {
        Server server{[](const Request& asked) { // two pages
            asked.entry("CN=x", "cn", {"x"});
            asked.paged() ? asked.page(asked.first() == 1 ? "" : "=1") : asked.result();
        }};
        const auto other = server.engine.openSession();
        const engine::SearchRequest list{"CN=x", engine::Scope::OneLevel, "(cn=y)", {"cn"}};
        const auto others = other->search(list);
        QCOMPARE(failure(*server.session, 's'), QString());
        QCOMPARE(server.log.count('b'), 1);
        const auto own = server.session->search(list); // some servers end the first of two
        QCOMPARE(server.log.count('b'), 2);
        server.session.reset();
        QVERIFY(own->next());
        QVERIFY(!test::errorOf([&] { own->next(); }).isEmpty());
        QVERIFY(others->next() && others->next() && !others->next());
        QVERIFY(other->search(list)->next());
        QCOMPARE(server.log.count('b'), 2);
    }
    void aChangeThatIsGivenUpIsReset() {
        Server server{{}};
        // Over TCP we would not sign on in clear: the connection becomes one afterwards.
        QTcpServer listener;
        QVERIFY(listener.listen(QHostAddress::LocalHost));
        QTcpSocket client;
        client.connectToHost(QHostAddress::LocalHost, listener.serverPort());
        QVERIFY(client.waitForConnected());
        for (int own = 3; own < 1024; ++own) {
            sockaddr_un peer{};
            socklen_t size = sizeof peer;
            if (getpeername(own, reinterpret_cast<sockaddr*>(&peer), &size) == 0 &&
                server.listener.fullServerName() == peer.sun_path)
                dup2(int(client.socketDescriptor()), own);
        }
        server.frozen = true;
        const std::jthread serving([&, peer = accept(int(listener.socketDescriptor()), nullptr,
                                                     nullptr)] { server.serve(peer); });
        test::checkPart(failure(*server.session, 'm'), "not known whether the change was made");
        QTRY_COMPARE(server.ended, ECONNRESET);
    }
    void tellsEqualReasonsOnce() {
        QStringList servers;
        for (int i = 0; i < 40; ++i)
            servers += QString("ldapi://%2Fnowhere") + QString::number(i);
        const QDeadlineTimer begun(39 * 15); // 20 ms apart
        const QString said = test::errorOf([&] {
            (void)ldap::LdapEngine({1s, 1s, 1000, {servers}}).openSession();
        });
        QVERIFY(begun.hasExpired());
        QCOMPARE(said.count("failed"), 1);
        test::checkPart(said, servers.join(", "));
        // No other server would accept a user without a ticket.
        qputenv("KRB5CCNAME", "FILE:/nowhere");
        Server server{{}};
        server.signsOn = LDAP_INVALID_CREDENTIALS;
        ldap::LdapEngine engine({1s, 1s, 1000, {40, {server.uri}}});
        test::checkPart(test::errorOf([&] { (void)engine.openSession(); }), "run kinit");
        QCOMPARE(server.log.count('b'), 2); // with its own session
        server.remark = "80090346: LdapErr: DSID-0C0904F5, comment: AcceptSecurityContext error";
        test::checkPart(test::errorOf([&] { (void)engine.openSession(); }),
                        "demands channel binding");
        QCOMPARE(server.log.count('b'), 42);
    }
    void aChangeGoesToTheServerThatItNames() {
        std::atomic<bool> down = false;
        const auto answer = [](const Request& asked) {
            if (asked.kind == LDAP_REQ_SEARCH)
                asked.entry("CN=x", "cn", {"x"});
            asked.result();
        };
        Server first{[&](const Request&asked) { down ? asked.hangUp() : answer(asked); }},
            second{answer};
        ldap::LdapEngine engine{{1s, 1s, 1000, {{first.uri}, {second.uri}}}};
        const auto session = engine.openSession();
        QCOMPARE(test::one(*session, "CN=x").server, first.uri);
        down = true;
        first.signsOn = LDAP_UNAVAILABLE;
        QCOMPARE(test::one(*session, "CN=x").server, second.uri); // a search goes on elsewhere
        const QList<engine::Change> change{{"mail", {"a"}}};
        QVERIFY_THROWS_EXCEPTION(engine::DirectoryFailed,
                                 session->modify("CN=x", change, first.uri));
        const engine::SearchRequest named{"CN=x", {}, "(objectClass=*)", {}, first.uri};
        QVERIFY_THROWS_EXCEPTION(engine::DirectoryFailed, (void)session->search(named));
        down = false;
        first.signsOn = LDAP_SUCCESS;
        session->modify("CN=x", change, first.uri);
        QCOMPARE(first.log.count('m'), 1);
        QCOMPARE(second.log.count('m'), 0);
        QCOMPARE(test::one(*session, "CN=x").server, second.uri); // the run stays where it is
        down = true;
        QVERIFY_THROWS_EXCEPTION(engine::OutcomeUnknown,
                                 session->modify("CN=x", change, first.uri));
        QCOMPARE(first.log.count('m') + second.log.count('m'), 2);
    }
    void pagesThroughMoreThanAServerSendsAtOnce() {
        Server other{{}};
        const QByteArray elsewhere = other.uri.toUtf8() + "/DC=other";
        const auto answer = [&](const Request& asked) {
            const int first = asked.first(), last = qMin(first + 1000, 2500);
            for (const QByteArray& name : numbered(first, last))
                asked.entry(name, "cn", {name});
            asked.send("{it{s}}", LDAP_RES_SEARCH_REFERENCE, elsewhere.data());
            if (!asked.paged())
                return asked.result(LDAP_SIZELIMIT_EXCEEDED);
            asked.page(last < 2500 ? "=" + QByteArray::number(last) : "");
        };
        Server server{answer};
        auto found = test::names(*server.session,
                                 {"CN=x", engine::Scope::Subtree, "(objectClass=*)", {"cn"}});
        QCOMPARE(found.size(), 2500);
        QCOMPARE(found.removeDuplicates(), 0);
        QCOMPARE(server.requests, 3);
        QCOMPARE(other.log, "br"); // its own session's: no referral was followed
        Server endless{[](const Request& asked) { asked.entry("CN=x", "cn", {"x"}); }};
        QVERIFY(endless.session->search({"CN=x", engine::Scope::Subtree, "(a=*)", {"cn"}})->next());
        QTRY_VERIFY(endless.log.endsWith('a')); // nobody reads on
        Server lost{[&](const Request& asked) {
            answer(asked);
            if (asked.first() == 1000)
                asked.hangUp();
        }};
        const auto entries =
            lost.session->search({"CN=x", engine::Scope::Subtree, "(objectClass=*)", {"cn"}});
        for (int i = 0; i < 2000; ++i)
            QVERIFY(entries->next());
        QVERIFY(!test::errorOf([&] { entries->next(); }).isEmpty());
    }
    void fetchesAllValuesOfARangedAttribute() {
        Server server{[](const Request& asked) {
            const int first = asked.first(), last = qMin(first + 1500, 3200);
            const QByteArray end = last < 3200 ? QByteArray::number(last - 1) : "*";
            asked.entry("CN=x", "member;range=" + QByteArray::number(first) + '-' + end,
                        numbered(first, last));
            asked.result();
        }};
        const auto entry = test::one(*server.session, "CN=x", {"member"});
        QCOMPARE(entry.attributes().size(), size_t(1));
        QCOMPARE(entry.values("member"), numbered(0, 3200));
    }
    void whatIsMissingOrUnreadableIsAnError() {
        using Answer = std::function<void(const Request&)>;
        const auto ranges = [](int first, int last, const char* mark) -> Answer {
            return [=](const Request& asked) {
                if (asked.first() == 0)
                    return asked.entry("CN=x", "cn;range=0-9", numbered(0, 10));
                if (asked.first() == 15) // after a part that was too short
                    asked.entry("CN=x", "cn;range=15-*", numbered(15, 20));
                else if (*mark)
                    asked.entry("CN=x", mark, numbered(first, last));
            };
        };
        const auto sends = [](const char* format, const char* name, const char* type) -> Answer {
            return [=](const Request& asked) {
                asked.send(format, LDAP_RES_SEARCH_ENTRY, name, type, "\xff");
            };
        };
        const auto ends = [](int code) -> Answer {
            return [=](const Request& asked) {
                asked.entry("CN=before", "cn", {"x"});
                if (code == LDAP_SERVER_DOWN)
                    return asked.hangUp();
                asked.send("{it{esst{s}}}", LDAP_RES_SEARCH_RESULT, code, "", "something else",
                           LDAP_TAG_REFERRAL, "ldap://other.test/CN=x");
            };
        };
        for (const auto& [line, said, answer] : QList<std::tuple<int, const char*, Answer>>{
                 {__LINE__, "press Exit, wait, start again. Reported: something else",
                  ends(LDAP_BUSY)},
                 {__LINE__, "MaxQueryDuration", ends(LDAP_TIMELIMIT_EXCEEDED)},
                 {__LINE__, "LDAP policies", ends(LDAP_ADMINLIMIT_EXCEEDED)},
                 {__LINE__, "in pages", ends(LDAP_UNAVAILABLE_CRITICAL_EXTENSION)},
                 {__LINE__, "ldap://other.test/CN=x", ends(LDAP_REFERRAL)},
                 {__LINE__, "connection to the server was lost", ends(LDAP_SERVER_DOWN)},
                 {__LINE__, "incomplete", ranges(0, 0, "")},
                 {__LINE__, "incomplete", ranges(0, 0, "cn")},
                 {__LINE__, "incomplete", ranges(10, 20, "cn")},
                 {__LINE__, "incomplete", ranges(9, 20, "cn;range=9-*")},
                 {__LINE__, "incomplete", ranges(10, 15, "cn;range=10-19")},
                 {__LINE__, "incomplete", ranges(10, 10, "cn;range=10-9")},
                 {__LINE__, "incomplete", ranges(10, 20, "cn;range=10-x")},
                 {__LINE__, "incomplete", ranges(10, 20, "cn;range=10-9223372036854775807")},
                 {__LINE__, "incomplete", ranges(10, 20, "sn;range=10-*")},
                 {__LINE__, "incomplete", sends("{it{s}}", "CN=x", "")},
                 {__LINE__, "incomplete", sends("{it{s{{s}}}}", "CN=x", "cn")},
                 {__LINE__, "incomplete", sends("{it{s{{s[s]}}}}", "CN=\xff", "cn")},
                 {__LINE__, "incomplete", sends("{it{s{{s[s]}}}}", "CN=x", "\xff")},
                 {__LINE__, "incomplete", sends("{it{s{{s[s]}}}}", "CN=x", "homeMDB")},
                 {__LINE__, "incomplete", [](const Request& asked) {
                      asked.send("{it{ess}t{{sts}}}", LDAP_RES_SEARCH_RESULT, LDAP_SUCCESS, "", "",
                                 LDAP_TAG_CONTROLS, LDAP_CONTROL_PAGEDRESULTS, LBER_OCTETSTRING,
                                 "no cookie");
                  }}}) {
            Server server{[&, answer = answer](const Request& asked) {
                answer(asked);
                asked.result();
            }};
            const engine::SearchRequest request{"CN=x", engine::Scope::OneLevel, "(a=*)", {"cn"}};
            const QString seen = test::errorOf([&] { test::names(*server.session, request); });
            QVERIFY2(seen.contains(said), qPrintable(QString("%1: %2").arg(line).arg(seen)));
        }
    }
    void aSessionThatHasEndedIsMadeAnewButNoModifySentAgain() {
        // Each request is answered, unanswered (-), answered before the connection ends (h), with
        // what cannot be read (x) or with 52 (u), or the server says that it disconnects (n).
        for (const auto& [answers, said] :
             {std::pair("hh.-.-.", "not known whether the change was made"),
              {"hh.-.x.", "not known whether the change was made"},
              {"hh.n.n.", "lost.*not known whether the change was made.*has expired"},
              {"hh.u.u.", "\\(result 52\\)"}}) {
            Server server{[&, answers = answers](const Request& asked) {
                const char how = answers[server.requests - 1];
                if (how == 'x')
                    asked.send("{it{}}", LDAP_RES_MODIFY);
                else if (how == 'n') // of an expired session; of one that was idle
                    Request{asked.socket}.send(
                        "{it{essts}}", LDAP_RES_EXTENDED,
                        asked.kind == LDAP_REQ_MODIFY ? LDAP_UNAVAILABLE
                                                      : LDAP_STRONG_AUTH_REQUIRED,
                        "", "it has expired", LDAP_TAG_EXOP_RES_OID, LDAP_NOTICE_OF_DISCONNECTION);
                else if (how != '-')
                    asked.result(how == 'u' ? LDAP_UNAVAILABLE : LDAP_SUCCESS);
                if (how == '-' || how == 'h' || how == 'n')
                    asked.hangUp();
            }};
            QStringList told;
            for (const char operation : QByteArray("mmssms")) {
                told += failure(*server.session, operation);
                QTest::qSleep(50); // what is lost while idle is not noticed
            }
            told.removeAll(QString());
            QVERIFY2(told.size() == 1 && told.at(0).contains(QRegularExpression(said)),
                     qPrintable(told.join('|')));
            QCOMPARE(server.requests, 7);
            QCOMPARE(server.log.count('b'), 5);
        }
    }
    void namesAnObjectByTheBytesOfItsGuid() {
        for (const auto& [name, sent] :
             {std::pair("<GUID=04030201-0605-0807-090A-0b0c0d0e0f10>",
                        "<GUID=0102030405060708090a0b0c0d0e0f10>"),
              {"<GUID=04030201-0605-0807-090a0b0c0d0e0f10>",
               "<GUID=04030201-0605-0807-090a0b0c0d0e0f10>"}}) { // malformed
            QByteArrayList seen;
            Server server{[&](const Request& asked) {
                seen += asked.content;
                asked.result();
            }};
            test::names(*server.session, {name, engine::Scope::Base, "(cn=CN=x)", {"cn"}});
            server.session->modify(name, {{"mail", {"CN=x"}}});
            QCOMPARE(seen.size(), 2);
            QVERIFY(seen.at(0).contains(sent) && seen.at(1).contains(sent));
        }
    }
    void aBusyServerIsAskedAgainForAWhile() {
        for (const auto& [refusals, sent, said] :
             {std::tuple(1, 2, ""), {3, 4, ""}, {4, 4, "busy: wait, then press Refresh."}}) {
            Server server{[&, refusals = refusals](const Request& asked) {
                asked.result(server.requests > refusals ? LDAP_SUCCESS : LDAP_BUSY);
            }};
            const QDeadlineTimer limit(2s);
            const QString seen = failure(*server.session, 'm');
            QVERIFY2(seen.contains(said) && seen.isEmpty() == !*said, qPrintable(seen));
            QVERIFY(!limit.hasExpired());
            QCOMPARE(server.requests, sent);
            QCOMPARE(server.log.count('b'), 1); // on the same connection
        }
        // At each write of a move.
        Server server{[&](const Request& asked) {
            asked.result(server.requests % 2 ? LDAP_BUSY : LDAP_SUCCESS);
        }};
        const QList<engine::Change> drop{{"homeMDB", {"a"}, engine::Change::Kind::Delete}},
            creation{{"homeMDB", {"b"}, engine::Change::Kind::Add}};
        server.session->modify("CN=x", drop);
        server.session->modify("CN=x", creation);
        QCOMPARE(server.log.count('m'), 4);
    }
    void aFrozenDirectoryCostsOneTimeLimit() {
        Server server{[](const Request& asked) {
            if (asked.kind == LDAP_REQ_MODIFY)
                QTest::qSleep(400); // more than the short limit: no change is cut short
            asked.result();
        }};
        const auto other = server.engine.openSession();
        ldap::LdapEngine quick{{300ms, 1s, 1000, {{server.uri}}}}; // to connect
        QCOMPARE(failure(*quick.openSession(), 'm'), QString());
        server.frozen = true;
        QVERIFY(failure(*server.session, 's').contains("within 1 seconds"));
        const QDeadlineTimer limit(3s);
        for (const QString& said :
             {failure(*other, 'm'), failure(*server.session, 's'), failure(*server.session, 'm'),
              test::errorOf([&] { (void)server.engine.openSession(); })})
            test::checkPart(said, "within 0.2 seconds");
        QVERIFY(!limit.hasExpired());
        server.frozen = false;
        server.log.clear();
        QCOMPARE(failure(*other, 'm'), QString());
        QCOMPARE(failure(*server.session, 'm'), QString());
        QCOMPARE(failure(*server.session, 's'), QString());
        server.log.replace("-", "");
        QCOMPARE(server.log, "brmms");
        server.frozen = true;
        QVERIFY(failure(*server.session, 's').contains("within 1 seconds"));
        server.frozen = false;
        server.bindTakes = 300;
        QVERIFY(failure(*server.session, 's').contains("within 0.2 seconds"));
        QTRY_COMPARE(failure(*server.session, 's'), QString()); // slow is not frozen for ever
    }
    void aRequestToEndIsMetInEveryWait() {
        struct Ending final : platform::Interruption {
            int descriptor() const override { return -1; } // it is looked for now and then
            void checkpoint() override { asked ? throw Error("ended") : void(); }
            bool held() const override { return false; }
            void waitFor(const QString&) override {}
            bool asked = false;
        } ending;
        Server server{{}};
        const ldap::LdapSettings settings{1s, 1s, 1000, {{server.uri}}, 1s, 1s, &ending};
        ldap::LdapEngine engine(settings), later(settings);
        const auto session = engine.openSession();
        server.frozen = ending.asked = true;
        QCOMPARE(failure(*session, 's'), "ended");
        QCOMPARE(test::errorOf([&] { (void)later.openSession(); }), "ended");
    }
    void aServerThatReadsNoMoreCostsOneTimeLimit() {
        Server server{[](const Request& asked) {
            if (asked.kind == LDAP_REQ_SEARCH) {
                asked.entry("CN=x", "cn", {"x"});
                QTest::qSleep(1500);
            }
            asked.result();
        }};
        QCOMPARE(failure(*server.session, 'm'), QString());
        const auto list = server.session->search({"CN=x", engine::Scope::OneLevel, "(a=*)", {}});
        const engine::Change large{"mail", {QByteArray(10'000'000, 'a')}};
        const QString said = test::errorOf([&] { server.session->modify("CN=x", {large}); });
        QVERIFY2(said.contains("within 1 seconds"), qPrintable(said));
    }
    void serversComeByPriority() {
        std::mt19937 chance{1};
        QCOMPARE(
            ldap::orderBySrvRules(
                {{"c", 3268, 20, 100}, {"a", 389, 10, 90}, {"b", 389, 0, 0}, {"d", 389, 10, 0}},
                chance),
            (QList<QStringList>{{"ldap://b"}, {"ldap://a", "ldap://d"}, {"ldap://c:3268"}}));
        int heavy = 0; // nine times of ten it comes first
        for (int i = 0; i < 1000; ++i)
            heavy += ldap::orderBySrvRules({{"a", 389, 0, 10}, {"b", 389, 0, 90}}, chance)[0][0]
                         .endsWith('b');
        QVERIFY(heavy > 850 && heavy < 950);
    }
};

QTEST_GUILESS_MAIN(LdapProtocolTest)
#include "ldap_protocol_test.moc"
