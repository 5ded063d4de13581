#pragma once

#include "platform/error.h"
#include "platform/ldap/waiting.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace rehome::ldap {

/// A library call that may block for longer than anybody should wait (a name look-up, a sign-on),
/// in a thread of its own. Whoever no longer waits for it leaves the thread behind: the call must
/// own all that it uses, and touch nothing of the program's (no observer, journal or window).
template <class Result>
class BlockingCall {
    struct State {
        const int event = eventfd(0, EFD_CLOEXEC);
        std::atomic<bool> ended = false;
        std::optional<Result> result;
        std::exception_ptr failure;

        State() = default;
        ~State() {
            if (event >= 0)
                close(event);
        }
        State(const State&) = delete;
        State& operator=(const State&) = delete;
    };

public:
    /// Begins the call. Throws Error if the system has no thread or descriptor left.
    explicit BlockingCall(std::function<Result()> call) {
        const auto refuse = [](int error) {
            throw Error(QStringLiteral("This computer has no thread or file descriptor left: %1.")
                            .arg(QString::fromStdString(std::system_category().message(error))));
        };
        if (m_state->event < 0)
            refuse(errno);
        // Signals are for the thread that can end the program.
        sigset_t all, before;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
        int refused = 0;
        try {
            std::thread(run, m_state, std::move(call)).detach();
        } catch (const std::system_error& error) {
            refused = error.code().value();
        }
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        if (refused != 0)
            refuse(refused);
    }

    /// Becomes readable when the call has ended, and stays so.
    int descriptor() const { return m_state->event; }
    bool ended() const { return m_state->ended.load(std::memory_order_acquire); }

    /// What the call returned, once; throws what it threw. None if it has not ended before the
    /// deadline. A request to end the process is met while this waits.
    std::optional<Result> await(QDeadlineTimer deadline, platform::Interruption* interruption) {
        awaitEvent(descriptor(), POLLIN, deadline, interruption);
        if (!ended())
            return std::nullopt;
        if (m_state->failure)
            std::rethrow_exception(std::exchange(m_state->failure, nullptr));
        return std::exchange(m_state->result, std::nullopt);
    }

private:
    static void run(const std::shared_ptr<State>& state, std::function<Result()> call) noexcept {
        try {
            state->result = call();
        } catch (...) {
            state->failure = std::current_exception();
        }
        call = nullptr; // what it owns goes with its thread, not with whoever waits
        state->ended.store(true, std::memory_order_release);
        eventfd_write(state->event, 1);
    }

    std::shared_ptr<State> m_state = std::make_shared<State>();
};

} // namespace rehome::ldap
