#include "platform/ldap/broken_pipe_guard.h"

#include <ctime>

namespace rehome::ldap {

namespace {

sigset_t brokenPipe() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

bool isPending() {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}

} // namespace

BrokenPipeGuard::BrokenPipeGuard() : m_pendingBefore(isPending()) {
    const sigset_t set = brokenPipe();
    pthread_sigmask(SIG_BLOCK, &set, &m_before);
}

BrokenPipeGuard::~BrokenPipeGuard() {
    if (!m_pendingBefore && isPending()) {
        const sigset_t set = brokenPipe();
        const timespec atOnce{};
        sigtimedwait(&set, nullptr, &atOnce);
    }
    pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

} // namespace rehome::ldap
