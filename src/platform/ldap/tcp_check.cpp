#include "platform/ldap/tcp_check.h"

#include "platform/error.h"

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

namespace rehome::ldap {

using namespace Qt::Literals::StringLiterals;

namespace {

struct Socket {
    const int descriptor;
    ~Socket() {
        if (descriptor >= 0)
            close(descriptor);
    }
};

/// 0, or why not (errno).
int tryAddress(const addrinfo& address, QDeadlineTimer deadline) {
    const Socket socket{::socket(address.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)};
    if (socket.descriptor < 0)
        return errno;
    if (connect(socket.descriptor, address.ai_addr, address.ai_addrlen) == 0)
        return 0;
    if (errno != EINPROGRESS)
        return errno;
    const int ready = platform::awaitEvent(socket.descriptor, POLLOUT, deadline, nullptr);
    if (ready <= 0)
        return ready == 0 ? ETIMEDOUT : errno;
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(socket.descriptor, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

} // namespace

TcpCheck::TcpCheck(const QString& host, quint16 port, QDeadlineTimer deadline,
                   Clock::time_point begin)
    : m_deadline(deadline), m_call([=, host = host.toUtf8(), port = QByteArray::number(port),
                                    lookedUp = m_lookedUp, cancelled = m_cancelled] {
          std::this_thread::sleep_until(begin);
          return run(host, port, deadline, *lookedUp, *cancelled);
      }) {
}

/// Runs in the thread. It uses nothing but the C library, because the process may be ending.
TcpCheck::Outcome TcpCheck::run(const QByteArray& host, const QByteArray& port,
                                QDeadlineTimer deadline, std::atomic<bool>& lookedUp,
                                const std::atomic<bool>& cancelled) {
    if (cancelled)
        return {};
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV | AI_ADDRCONFIG;
    addrinfo* found = nullptr;
    Outcome outcome;
    outcome.lookUp = getaddrinfo(host.constData(), port.constData(), &hints, &found);
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, freeaddrinfo);
    lookedUp = true;
    for (const addrinfo* address = found; address && !cancelled; address = address->ai_next) {
        // Divide the remaining time evenly, so that an address that does not respond leaves time
        // for the others.
        qint64 left = 1;
        for (const addrinfo* other = address->ai_next; other; other = other->ai_next)
            ++left;
        const QDeadlineTimer share(deadline.remainingTime() / left);
        outcome.connection = tryAddress(*address, share);
        if (outcome.connection == 0)
            break;
    }
    return outcome;
}

void TcpCheck::wait(QDeadlineTimer until, platform::Interruption* interruption) const {
    if (!isOver())
        platform::awaitEvent(m_call.descriptor(), POLLIN, qMin(until, m_deadline), interruption);
}

void TcpCheck::requireSuccess() {
    const auto outcome = m_call.await(m_deadline, nullptr);
    if (!outcome && !*m_lookedUp)
        throw Error(u"the name was not looked up in time"_s);
    if (outcome && outcome->lookUp != 0)
        throw Error(QString::fromLocal8Bit(gai_strerror(outcome->lookUp)));
    if (const int error = outcome ? outcome->connection : ETIMEDOUT; error != 0)
        throw Error(QString::fromLocal8Bit(std::strerror(error)));
}

void checkTcpPort(const QString& host, quint16 port, QDeadlineTimer deadline,
                  platform::Interruption* interruption) {
    TcpCheck check(host, port, deadline);
    check.wait(deadline, interruption);
    check.requireSuccess();
}

} // namespace rehome::ldap
