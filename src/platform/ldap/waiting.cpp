#include "platform/ldap/waiting.h"

#include <array>
#include <cerrno>

namespace rehome::ldap {

int awaitEvent(int descriptor, short event, QDeadlineTimer deadline,
               platform::Interruption* interruption) {
    for (;;) {
        const bool heard = interruption && !interruption->held();
        std::array<pollfd, 2> states{pollfd{descriptor, event, 0},
                                     pollfd{heard ? interruption->descriptor() : -1, POLLIN, 0}};
        const int ready =
            poll(states.data(), states.size(), int(deadline.remainingTime())); // -1: for ever
        if (states.at(1).revents != 0)
            interruption->checkpoint();
        if (ready == 0 || states.at(0).revents != 0 || (ready < 0 && errno != EINTR))
            return ready;
    }
}

} // namespace rehome::ldap
