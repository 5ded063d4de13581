#include "platform/ldap/tcp_check.h"

#include "platform/error.h"
#include "platform/ldap/waiting.h"

#include <netdb.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <utility>

namespace rehome::ldap {

using namespace Qt::Literals::StringLiterals;

namespace {

class Descriptor {
public:
    explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
    ~Descriptor() {
        if (m_descriptor >= 0)
            close(m_descriptor);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return m_descriptor; }

private:
    int m_descriptor;
};

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

/// A look-up in a thread of the C library's. It cannot be called off while a name server is being
/// asked, and so holds on to itself until it has ended.
struct LookUp {
    QByteArray host, port;
    addrinfo hints{};
    gaicb request{};
    const Descriptor ended{eventfd(0, EFD_CLOEXEC)};
    std::shared_ptr<LookUp> self;

    LookUp(const QString& hostName, quint16 portNumber)
        : host(hostName.toUtf8()), port(QByteArray::number(portNumber)) {
        hints.ai_socktype = SOCK_STREAM;
        hints.ai_flags = AI_NUMERICSERV | AI_ADDRCONFIG;
        request.ar_name = host.constData();
        request.ar_service = port.constData();
        request.ar_request = &hints;
    }
    ~LookUp() {
        if (request.ar_result)
            freeaddrinfo(request.ar_result);
    }
    LookUp(const LookUp&) = delete;
    LookUp& operator=(const LookUp&) = delete;

    static void end(sigval value) {
        const auto lookUp = std::move(static_cast<LookUp*>(value.sival_ptr)->self);
        eventfd_write(lookUp->ended.get(), 1);
    }
};

Addresses lookUp(const QString& host, quint16 port, QDeadlineTimer deadline,
                 platform::Interruption* interruption) {
    const auto asked = std::make_shared<LookUp>(host, port);
    asked->self = asked;
    gaicb* list[]{&asked->request};
    sigevent whenEnded{};
    whenEnded.sigev_notify = SIGEV_THREAD;
    whenEnded.sigev_notify_function = LookUp::end;
    whenEnded.sigev_value.sival_ptr = asked.get();
    if (const int refused = getaddrinfo_a(GAI_NOWAIT, list, 1, &whenEnded); refused != 0) {
        asked->self.reset();
        throw Error(QString::fromLocal8Bit(gai_strerror(refused)));
    }
    if (awaitEvent(asked->ended.get(), POLLIN, deadline, interruption) <= 0)
        throw Error(u"the name was not looked up in time"_s);
    if (const int failed = gai_error(&asked->request); failed != 0)
        throw Error(QString::fromLocal8Bit(gai_strerror(failed)));
    return Addresses(std::exchange(asked->request.ar_result, nullptr), freeaddrinfo);
}

/// 0, or why not (errno).
int tryAddress(const addrinfo& address, QDeadlineTimer deadline,
               platform::Interruption* interruption) {
    const Descriptor socket(
        ::socket(address.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (socket.get() < 0)
        return errno;
    if (connect(socket.get(), address.ai_addr, address.ai_addrlen) == 0)
        return 0;
    if (errno != EINPROGRESS)
        return errno;
    const int ready = awaitEvent(socket.get(), POLLOUT, deadline, interruption);
    if (ready <= 0)
        return ready == 0 ? ETIMEDOUT : errno;
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

} // namespace

void checkTcpPort(const QString& host, quint16 port, QDeadlineTimer deadline,
                  platform::Interruption* interruption) {
    const Addresses addresses = lookUp(host, port, deadline, interruption);
    int error = 0;
    for (const addrinfo* address = addresses.get(); address; address = address->ai_next) {
        // Nobody waits for the last address alone while an earlier one is silent.
        qint64 left = 1;
        for (const addrinfo* other = address->ai_next; other; other = other->ai_next)
            ++left;
        const QDeadlineTimer share(deadline.remainingTime() / left);
        error = tryAddress(*address, share, interruption);
        if (error == 0)
            return;
    }
    throw Error(QString::fromLocal8Bit(std::strerror(error)));
}

} // namespace rehome::ldap
