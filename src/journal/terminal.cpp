#include "journal/terminal.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <utility>

namespace rehome::journal {

namespace {

constexpr int Flags = O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

/// The first of them that is a terminal, reopened.
Reopened terminalAt(int stream) {
    for (const int descriptor : {stream, STDOUT_FILENO})
        if (isatty(descriptor) == 1)
            if (Reopened terminal(descriptor); terminal.descriptor() >= 0)
                return terminal;
    return Reopened::controllingTerminal();
}

} // namespace

Reopened::Reopened(int stream) {
    struct stat state {};
    const bool waits =
        isatty(stream) == 1 || (fstat(stream, &state) == 0 && S_ISFIFO(state.st_mode));
    if (!waits || (fcntl(stream, F_GETFL) & O_ACCMODE) == O_RDONLY)
        return;
    std::array<char, 32> path{};
    std::snprintf(path.data(), path.size(), "/proc/self/fd/%d", stream);
    m_descriptor = open(path.data(), Flags);
}

Reopened Reopened::controllingTerminal() {
    Reopened terminal;
    terminal.m_descriptor = open("/dev/tty", Flags);
    return terminal;
}

Reopened::~Reopened() {
    if (m_descriptor >= 0)
        close(m_descriptor);
}

Reopened::Reopened(Reopened&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)) {
}

Reopened& Reopened::operator=(Reopened&& other) noexcept {
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
}

Terminal::Terminal(int stream) : m_isStream(isatty(stream) == 1), m_terminal(terminalAt(stream)) {
}

int Terminal::columns() const {
    winsize size{};
    return ioctl(m_terminal.descriptor(), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col
                                                                                     : 80;
}

void Terminal::write(const QByteArray& text) const {
    // A terminal that the process does not belong to has no background.
    const pid_t foreground = tcgetpgrp(m_terminal.descriptor());
    if (foreground >= 0 && foreground != getpgrp())
        return;
    // It may go into the background right now, and would be stopped.
    sigset_t stops, before;
    sigemptyset(&stops);
    sigaddset(&stops, SIGTTOU);
    pthread_sigmask(SIG_BLOCK, &stops, &before);
    static_cast<void>(!::write(m_terminal.descriptor(), text.constData(), size_t(text.size())));
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace rehome::journal
