#include "app/signals.h"

#include "app/trace.h"
#include "platform/error.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <utility>

namespace rehome::app {

namespace {

constexpr int Ending[] = {SIGINT, SIGTERM, SIGHUP};

// A handler knows nothing but what is global.
int pipeEnds[2] = {-1, -1};
// Set on whichever thread the signal interrupts, and read on the first one.
std::atomic<int> received = 0;
static_assert(std::atomic<int>::is_always_lock_free, "a handler must not wait for a lock");

extern "C" void noteSignal(int signal) {
    const int kept = errno;
    received = signal;
    static_cast<void>(!write(pipeEnds[1], "", 1));
    errno = kept;
}

} // namespace

Signals::Signals(std::function<void()> last, journal::Progress& progress)
    : m_last(std::move(last)), m_progress(progress) {
    if (pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0)
        throw Error(
            QStringLiteral("No pipe for signals could be made: %1.").arg(qt_error_string(errno)));
    // A reader of the error stream who goes away is a failure to write, not the end.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // likewise a file that may not grow
    for (const int signal : Ending) {
        struct sigaction before {};
        sigaction(signal, nullptr, &before);
        if (before.sa_handler == SIG_IGN)
            continue; // as nohup asks
        struct sigaction action {};
        action.sa_handler = noteSignal;
        sigfillset(&action.sa_mask);
        sigaction(signal, &action, nullptr);
    }
}

Signals::~Signals() {
    for (const int signal : Ending)
        std::signal(signal, SIG_DFL);
    for (int& end : pipeEnds)
        close(std::exchange(end, -1));
}

int Signals::descriptor() const {
    return pipeEnds[0];
}

void Signals::checkpoint() {
    m_progress.update();
    const int signal = received;
    if (!signal || m_holds > 0)
        return;
    m_last();
    m_progress.erase();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void Signals::waitFor(const QString& what) {
    m_progress.waitFor(what);
    if (what != m_awaited)
        qCDebug(traceCategory).noquote() << "waiting for" << what;
    m_awaited = what;
}

void Signals::release() {
    --m_holds;
    checkpoint();
}

Signals::Suspension::Suspension(Signals& signals)
    : m_signals(signals), m_holds(std::exchange(signals.m_holds, 0)) {
    signals.checkpoint();
}

} // namespace rehome::app
