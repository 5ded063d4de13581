#pragma once

#include "platform/interruption.h"

#include <QDeadlineTimer>

#include <poll.h>

namespace rehome::platform {

/// Polls a descriptor for `event` until the deadline: more than 0 when it has come, 0 when the time
/// has run out, less where polling fails (errno). A request to end the process is met at once.
/// Descriptor -1: waits until the deadline.
int awaitEvent(int descriptor, short event, QDeadlineTimer deadline, Interruption* interruption);

} // namespace rehome::platform
