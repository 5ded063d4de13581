#include "platform/waiting.h"

#include <array>
#include <cerrno>

namespace rehome::platform {

namespace {

constexpr qint64 Part = 250; ///< milliseconds between two checkpoints

} // namespace

int awaitEvent(int descriptor, short event, QDeadlineTimer deadline, Interruption* interruption) {
    for (;;) {
        const bool heard = interruption && !interruption->held();
        std::array<pollfd, 2> states{pollfd{descriptor, event, 0},
                                     pollfd{heard ? interruption->descriptor() : -1, POLLIN, 0}};
        const qint64 left = deadline.remainingTime(); // -1: for ever
        const bool inParts = interruption && (left < 0 || left > Part);
        const int ready = poll(states.data(), states.size(), int(inParts ? Part : left));
        if (interruption && (ready == 0 || states.at(1).revents != 0))
            interruption->checkpoint();
        if (ready == 0 && inParts)
            continue;
        if (ready == 0 || states.at(0).revents != 0 || (ready < 0 && errno != EINTR))
            return ready;
    }
}

} // namespace rehome::platform
