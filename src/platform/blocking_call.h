#pragma once

#include "platform/waiting.h"

#include <unistd.h>

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace rehome::platform {

/// Runs `body` in a detached thread, which meets no signals. `body` must not throw. Throws Error if
/// the system has no thread left.
void runDetached(std::function<void()> body);

/// An event descriptor: it becomes readable when written to. Throws Error if the system has no
/// descriptor left.
int makeEvent(bool readable);

/// A library call that may block for longer than anybody should wait (a name look-up, a sign-on),
/// in a thread of its own. A caller that no longer waits leaves the thread behind: the call must
/// own all that it uses, and touch nothing of the program's (no observer, journal or window).
template <class Result>
class BlockingCall {
    struct State {
        std::mutex mutex; ///< of `event`, and of ending
        int event = -1;   ///< made when somebody waits: hundreds of calls may be under way
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
    /// Begins the call. Throws Error if the system has no thread left.
    explicit BlockingCall(std::function<Result()> call) {
        runDetached([state = m_state, call = std::move(call)]() mutable { run(*state, call); });
    }

    /// Becomes readable when the call has ended, and stays so. Throws Error if the system has no
    /// descriptor left.
    int descriptor() const {
        const std::lock_guard lock(m_state->mutex);
        if (m_state->event < 0)
            m_state->event = makeEvent(ended());
        return m_state->event;
    }
    bool ended() const { return m_state->ended.load(std::memory_order_acquire); }

    /// What the call returned, once; throws what it threw. None if it has not ended before the
    /// deadline. A request to end the process is met while this waits.
    std::optional<Result> await(QDeadlineTimer deadline, Interruption* interruption) {
        if (!ended())
            awaitEvent(descriptor(), POLLIN, deadline, interruption);
        if (!ended())
            return std::nullopt;
        if (m_state->failure)
            std::rethrow_exception(std::exchange(m_state->failure, nullptr));
        return std::exchange(m_state->result, std::nullopt);
    }

private:
    static void run(State& state, std::function<Result()>& call) noexcept {
        try {
            state.result = call();
        } catch (...) {
            state.failure = std::current_exception();
        }
        call = nullptr; // what it owns is destroyed here, not in the thread that waits
        const std::lock_guard lock(state.mutex);
        state.ended.store(true, std::memory_order_release);
        if (state.event >= 0)
            static_cast<void>(!write(state.event, &One, sizeof One));
    }

    static constexpr quint64 One = 1;
    std::shared_ptr<State> m_state = std::make_shared<State>();
};

} // namespace rehome::platform
