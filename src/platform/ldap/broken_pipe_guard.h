#pragma once

#include <csignal>

namespace rehome::ldap {

/// Keeps a write to a connection that the peer has closed from ending the process (SIGPIPE) while
/// it lives, on this thread only: the client library writes without MSG_NOSIGNAL.
class BrokenPipeGuard {
public:
    BrokenPipeGuard();
    ~BrokenPipeGuard();
    BrokenPipeGuard(const BrokenPipeGuard&) = delete;
    BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

private:
    sigset_t m_before{};
    bool m_pendingBefore = false;
};

} // namespace rehome::ldap
