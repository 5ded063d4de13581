#pragma once

#include "platform/interruption.h"

#include <QDeadlineTimer>

#include <chrono>
#include <memory>

struct ldap;

namespace rehome::ldap {

/// Sits between the client library and its socket, below TLS and SASL. Every read and write waits
/// for a limited time, also inside a handshake or a half-sent record, where the library itself
/// would wait for ever; and a write to a connection that the peer has closed is an error, not a
/// signal that ends the process.
class SocketLayer {
public:
    /// Takes effect when the handle connects. Must outlive the handle, which holds on to it.
    /// `interruption` ends every wait, where there is one.
    SocketLayer(::ldap* handle, std::chrono::milliseconds limit,
                platform::Interruption* interruption);
    ~SocketLayer();
    SocketLayer(const SocketLayer&) = delete;
    SocketLayer& operator=(const SocketLayer&) = delete;

    /// For each read and write.
    void setLimit(std::chrono::milliseconds limit);
    /// What ends every wait from now on, if anything.
    void setInterruption(platform::Interruption* interruption);
    /// Waits until there is something to read. False where the time runs out.
    bool awaitReadable(std::chrono::milliseconds limit);
    /// Whether anything has been read since this was last asked.
    bool anyRead();
    /// Whether a read or a write has run out of time.
    bool timedOut() const;

private:
    struct Hooks;
    std::unique_ptr<Hooks> m_hooks;
};

} // namespace rehome::ldap
