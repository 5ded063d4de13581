#pragma once

#include "platform/interruption.h"

#include <QDeadlineTimer>

#include <chrono>
#include <memory>

struct ldap;

namespace rehome::ldap {

/// A layer between libldap and its socket, below TLS and SASL. Every read and write has a time-out,
/// also inside a handshake or a partial record, for which libldap would wait for ever. A write to a
/// connection that the peer has closed is an error and raises no SIGPIPE.
class SocketLayer {
public:
    /// Takes effect when the handle connects. Must outlive the handle. `interruption`: as in
    /// LdapSettings.
    SocketLayer(::ldap* handle, std::chrono::milliseconds timeout,
                platform::Interruption* interruption);
    ~SocketLayer();
    SocketLayer(const SocketLayer&) = delete;
    SocketLayer& operator=(const SocketLayer&) = delete;

    /// For each read and write.
    void setTimeout(std::chrono::milliseconds timeout);
    /// For each wait from now on; null: none.
    void setInterruption(platform::Interruption* interruption);
    /// Waits until there is something to read. Returns false after the time-out. May end the
    /// process.
    bool awaitReadable(std::chrono::milliseconds timeout);
    /// Returns whether anything has been read since the last call.
    bool takeAnyRead();
    /// Returns true once a read, a write or awaitReadable() has timed out.
    bool timedOut() const;

private:
    struct Hooks;
    std::unique_ptr<Hooks> m_hooks;
};

} // namespace rehome::ldap
