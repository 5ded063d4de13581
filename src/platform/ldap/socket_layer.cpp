#include "platform/ldap/socket_layer.h"

#include "platform/waiting.h"

#include <lber.h>
#include <ldap.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace rehome::ldap {

struct SocketLayer::Hooks {
    std::chrono::milliseconds timeout;
    platform::Interruption* interruption;
    bool timedOut = false;
    bool anyRead = false;
    int descriptor = -1;
    ldap_conncb callbacks{connected, closed, this};

    static Hooks& of(Sockbuf_IO_Desc* layer) { return *static_cast<Hooks*>(layer->sbiod_pvt); }

    bool await(short event, QDeadlineTimer until) {
        const int ready = platform::awaitEvent(descriptor, event, until, interruption);
        if (ready == 0) {
            timedOut = true;
            errno = ETIMEDOUT;
        }
        return ready > 0;
    }

    static int attach(Sockbuf_IO_Desc* layer, void* hooks) {
        layer->sbiod_pvt = hooks;
        return 0;
    }
    static int detach(Sockbuf_IO_Desc*) { return 0; }
    static int control(Sockbuf_IO_Desc* layer, int option, void* argument) {
        return LBER_SBIOD_CTRL_NEXT(layer, option, argument);
    }
    static ber_slen_t read(Sockbuf_IO_Desc* layer, void* data, ber_len_t length) {
        Hooks& hooks = of(layer);
        ber_slen_t received = recv(hooks.descriptor, data, length, MSG_DONTWAIT);
        if (received < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) &&
            hooks.await(POLLIN, QDeadlineTimer(hooks.timeout)))
            received = recv(hooks.descriptor, data, length, 0);
        hooks.anyRead = hooks.anyRead || received >= 0;
        return received;
    }
    static ber_slen_t write(Sockbuf_IO_Desc* layer, void* data, ber_len_t length) {
        Hooks& hooks = of(layer);
        const QDeadlineTimer until(hooks.timeout);
        const char* next = static_cast<const char*>(data);
        for (ber_len_t rest = length; rest > 0;) {
            const auto sent = send(hooks.descriptor, next, rest, MSG_NOSIGNAL | MSG_DONTWAIT);
            if (sent >= 0) {
                next += sent;
                rest -= ber_len_t(sent);
            } else if (errno == EAGAIN ? !hooks.await(POLLOUT, until) : errno != EINTR) {
                return -1;
            }
        }
        return ber_slen_t(length);
    }

    static int connected(LDAP*, Sockbuf* buffer, LDAPURLDesc*, sockaddr*, ldap_conncb* callbacks) {
        static Sockbuf_IO layer{attach, detach, control, read, write, detach};
        auto* hooks = static_cast<Hooks*>(callbacks->lc_arg);
        ber_sockbuf_ctrl(buffer, LBER_SB_OPT_GET_FD, &hooks->descriptor);
        if (ber_sockbuf_add_io(buffer, &layer, LBER_SBIOD_LEVEL_PROVIDER + 5, hooks) != 0)
            return -1;
        // The library would read each message in pieces, for two fifths of a long list's cost.
        return ber_sockbuf_add_io(buffer, &ber_sockbuf_io_readahead, LBER_SBIOD_LEVEL_PROVIDER + 6,
                                  nullptr);
    }
    static void closed(LDAP*, Sockbuf*, ldap_conncb*) {}
};

SocketLayer::SocketLayer(LDAP* handle, std::chrono::milliseconds timeout,
                         platform::Interruption* interruption)
    : m_hooks(new Hooks{timeout, interruption}) {
    ldap_set_option(handle, LDAP_OPT_CONNECT_CB, &m_hooks->callbacks);
}

SocketLayer::~SocketLayer() = default;

void SocketLayer::setTimeout(std::chrono::milliseconds timeout) {
    m_hooks->timeout = timeout;
}

void SocketLayer::setInterruption(platform::Interruption* interruption) {
    m_hooks->interruption = interruption;
}

bool SocketLayer::awaitReadable(std::chrono::milliseconds timeout) {
    return m_hooks->await(POLLIN, QDeadlineTimer(timeout));
}

bool SocketLayer::takeAnyRead() {
    return std::exchange(m_hooks->anyRead, false);
}

bool SocketLayer::timedOut() const {
    return m_hooks->timedOut;
}

} // namespace rehome::ldap
