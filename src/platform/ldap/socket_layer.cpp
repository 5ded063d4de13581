#include "platform/ldap/socket_layer.h"

#include "platform/ldap/waiting.h"

#include <lber.h>
#include <ldap.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace rehome::ldap {

struct SocketLayer::Hooks {
    std::chrono::milliseconds limit;
    platform::Interruption* interruption;
    QDeadlineTimer deadline{QDeadlineTimer::Forever};
    bool timedOut = false;
    int descriptor = -1;
    ldap_conncb callbacks{connected, closed, this};

    static Hooks& of(Sockbuf_IO_Desc* layer) { return *static_cast<Hooks*>(layer->sbiod_pvt); }

    std::chrono::milliseconds left(std::chrono::milliseconds most) const {
        return deadline.isForever()
                   ? most
                   : std::min(most, std::chrono::milliseconds(deadline.remainingTime()));
    }
    bool await(short event, std::chrono::milliseconds most) {
        const int ready = awaitEvent(descriptor, event, QDeadlineTimer(left(most)), interruption);
        if (ready == 0) {
            timedOut = true;
            errno = ETIMEDOUT;
        }
        return ready > 0;
    }
    bool await(short event) { return await(event, limit); }

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
        const ber_slen_t received = recv(hooks.descriptor, data, length, MSG_DONTWAIT);
        if (received >= 0 || (errno != EAGAIN && errno != EWOULDBLOCK))
            return received;
        return hooks.await(POLLIN) ? recv(hooks.descriptor, data, length, 0) : -1;
    }
    static ber_slen_t write(Sockbuf_IO_Desc* layer, void* data, ber_len_t length) {
        Hooks& hooks = of(layer);
        return hooks.await(POLLOUT) ? send(hooks.descriptor, data, length, MSG_NOSIGNAL) : -1;
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

SocketLayer::SocketLayer(LDAP* handle, std::chrono::milliseconds limit,
                         platform::Interruption* interruption)
    : m_hooks(new Hooks{limit, interruption}) {
    ldap_set_option(handle, LDAP_OPT_CONNECT_CB, &m_hooks->callbacks);
}

SocketLayer::~SocketLayer() = default;

void SocketLayer::setLimit(std::chrono::milliseconds limit) {
    m_hooks->limit = limit;
}

void SocketLayer::setDeadline(QDeadlineTimer deadline) {
    m_hooks->deadline = deadline;
}

std::chrono::milliseconds SocketLayer::left(std::chrono::milliseconds limit) const {
    return m_hooks->left(limit);
}

bool SocketLayer::awaitReadable(std::chrono::milliseconds limit) {
    return m_hooks->await(POLLIN, limit);
}

bool SocketLayer::timedOut() const {
    return m_hooks->timedOut;
}

} // namespace rehome::ldap
