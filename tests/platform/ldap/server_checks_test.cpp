// Checks of servers, many at a time, on loopback; calls that never return.
#include "platform/engine/network_address.h"
#include "platform/engine_contract.h"
#include "platform/ldap/host_network.h"
#include "platform/ldap/ldap_probe.h"

#include <QTcpServer>
#include <QTcpSocket>

#include <sys/eventfd.h>
#include <sys/resource.h>

using namespace rehome;
using namespace std::chrono_literals;

/// A request to end the process, which is met by an exception.
struct Request final : platform::Interruption {
    struct Met {};
    int descriptor() const override { return event; }
    void checkpoint() override {
        if (event >= 0)
            throw Met();
    }
    bool held() const override { return false; }
    void waitFor(const QString& what) override { waits += what; }

    int event = -1;
    QStringList waits;
};

struct Checks {
    explicit Checks(std::chrono::milliseconds limit = 2s)
        : probe(network, &request, limit, good.serverPort()) {
        silent.setListenBacklogSize(0); // and full with the first
        silent.listen(QHostAddress("127.0.0.2"), good.serverPort());
        queued.connectToHost("127.0.0.2", good.serverPort());
        queued.waitForConnected();
    }
    void begin(int count, const QStringList& hosts) {
        servers.resize(size_t(count));
        for (int i = 0; i < count; ++i) {
            const QString host = "ncacn_ip_tcp:" + hosts.at(i % hosts.size());
            servers[size_t(i)].distinguishedName = QString("CN=EX%1").arg(i);
            servers[size_t(i)].setValues(engine::NetworkAddress, {host.toUtf8()});
        }
        probe.beginChecks(servers);
    }
    QString check(size_t i) {
        return test::errorOf([&] { probe.checkServer(servers.at(i)); });
    }

    struct Good : QTcpServer {
        Good() { setListenBacklogSize(256), listen(QHostAddress("127.0.0.1")); }
    } good;
    QTcpServer silent;
    QTcpSocket queued;
    ldap::HostNetwork network;
    Request request;
    ldap::LdapProbe probe;
    std::vector<engine::Entry> servers;
};

class ServerChecksTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void limitsRunSideBySide() {
        Checks checks;
        const rlimit few{64, 4096};
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &few), 0);
        QElapsedTimer elapsed;
        elapsed.start();
        checks.begin(200, {"127.0.0.1", "127.0.0.2"});
        for (size_t i = 0; i < 200; ++i)
            QCOMPARE(checks.check(i).section(": ", 1).left(20),
                     i % 2 ? "Connection timed out" : "");
        // The last begins after 199 / 32 tenths of a second; one after the other is 200 seconds.
        QVERIFY(elapsed.elapsed() >= 2600 && elapsed.elapsed() < 100'000);
        const QString waits = checks.request.waits.last();
        test::checkPart(waits, QString("%1 of 200 servers: EX").arg(waits.count("EX")));
    }
    void aCheckIsConsumedOnce() {
        Checks checks;
        checks.begin(2, {"127.0.0.1"});
        for (int i = 0; i < 2; ++i) { // one wait may bring both
            QVERIFY(checks.good.hasPendingConnections() ||
                    checks.good.waitForNewConnection(30'000));
            checks.good.nextPendingConnection();
        }
        QCOMPARE(checks.check(0) + checks.check(0), QString());
        checks.good.close();
        QCOMPARE(checks.check(1), QString());
        test::checkPart(checks.check(1), "CN=EX1 does not answer at 127.0.0.1, TCP port");
    }
    void aSignalIsMetWhileChecksAreUnderWay() {
        Checks checks(1h);
        checks.begin(32, {"127.0.0.2"});
        checks.request.event = eventfd(1, 0);
        QVERIFY_THROWS_EXCEPTION(Request::Met, checks.check(31));
    }
    /// The program ends with calls and checks under way, some of which end in the middle of it.
    void cleanupTestCase() {
        platform::BlockingCall<int> forEver(pause);
        Checks(1h).begin(64, {"127.0.0.2", "127.0.0.1", "no.rehome.test"});
        QVERIFY(!forEver.await(QDeadlineTimer(100), nullptr));
    }
};

QTEST_GUILESS_MAIN(ServerChecksTest)
#include "server_checks_test.moc"
