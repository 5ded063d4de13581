// Checks of servers, many at a time, on loopback; calls that never return.
#include "platform/engine/network_address.h"
#include "platform/engine_contract.h"
#include "platform/ldap/host_network.h"
#include "platform/ldap/ldap_probe.h"

#include <QProcess>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

using namespace rehome;
using namespace std::chrono_literals;

namespace {

struct Listener {
    explicit Listener(const char* host, int queue, quint16 port = 0) {
        sockaddr_in address{AF_INET, htons(port), {inet_addr(host)}, {}};
        auto* name = reinterpret_cast<sockaddr*>(&address);
        if (bind(descriptor, name, size) != 0 || listen(descriptor, queue) != 0)
            qFatal("no listener at %s", host);
        getsockname(descriptor, name, &size);
        number = ntohs(address.sin_port);
        if (queue == 0) // a full one is a silent server
            connect(queued, name, size);
    }
    ~Listener() { close(descriptor), close(queued); }

    const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
    const int queued = socket(AF_INET, SOCK_STREAM, 0);
    socklen_t size = sizeof(sockaddr_in);
    quint16 number = 0;
};

/// A request to end the process, which is met by an exception.
struct Request final : platform::Interruption {
    struct Met {};
    int descriptor() const override { return event; }
    void checkpoint() override {
        if (pollfd state{event, POLLIN, 0}; poll(&state, 1, 0) > 0)
            throw Met();
    }
    bool held() const override { return false; }
    void waitFor(const QString& what) override { waits += what; }

    const int event = eventfd(0, 0);
    QStringList waits;
};

struct Checks {
    explicit Checks(std::chrono::milliseconds limit = 2s)
        : probe(network, &request, limit, good.number) {}
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

    const Listener good{"127.0.0.1", 256}, silent{"127.0.0.2", 0, good.number};
    ldap::HostNetwork network;
    Request request;
    ldap::LdapProbe probe;
    std::vector<engine::Entry> servers;
};

} // namespace

class ServerChecksTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void limitsRunSideBySide() {
        Checks checks;
        QElapsedTimer elapsed;
        elapsed.start();
        checks.begin(200, {"127.0.0.1", "127.0.0.2"});
        for (size_t i = 0; i < 200; ++i)
            QCOMPARE(checks.check(i).isEmpty(), i % 2 == 0);
        // The last begins after 199 / 32 tenths of a second; one after the other is 200 seconds.
        QVERIFY(elapsed.elapsed() >= 2600 && elapsed.elapsed() < 100'000);
        const QString waits = checks.request.waits.last();
        test::checkPart(waits, QString("%1 of 200 servers: EX").arg(waits.count("EX")));
    }
    void aCheckIsConsumedOnce() {
        Checks checks;
        checks.begin(2, {"127.0.0.1"});
        for (int i = 0; i < 2; ++i)
            QVERIFY(accept(checks.good.descriptor, nullptr, nullptr) >= 0);
        QCOMPARE(checks.check(0) + checks.check(0), QString());
        shutdown(checks.good.descriptor, SHUT_RDWR);
        QCOMPARE(checks.check(1), QString());
        test::checkPart(checks.check(1), "CN=EX1 does not answer at 127.0.0.1, TCP port");
    }
    void aSignalIsMetWhileChecksAreUnderWay() {
        Checks checks(1h);
        checks.begin(32, {"127.0.0.2"});
        eventfd_write(checks.request.event, 1);
        QVERIFY_THROWS_EXCEPTION(Request::Met, checks.check(31));
    }
    void nothingWaitsForCallsAtTheEnd() {
        QProcess program;
        program.start(QCoreApplication::applicationFilePath(), {"end"});
        QVERIFY(program.waitForFinished());
        QVERIFY2(program.exitCode() == 0, program.readAllStandardError());
    }
};

/// Ends with calls and checks under way, some of which end in the middle of it.
static int end() {
    const platform::BlockingCall<int> forEver(pause);
    std::vector<platform::BlockingCall<QByteArray>> calls;
    for (int i = 0; i < 50; ++i)
        calls.emplace_back([i] { return usleep(i * 1000), QByteArray(99, 'x'); });
    Checks(1h).begin(64, {"127.0.0.2", "127.0.0.1", "no.rehome.test"});
    return forEver.ended();
}

int main(int argc, char** argv) {
    if (argc > 1 && qstrcmp(argv[1], "end") == 0)
        return end();
    QCoreApplication application(argc, argv);
    ServerChecksTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "server_checks_test.moc"
