#pragma once

#include "app/application.h"

#include <functional>

namespace rehome::app {

/// Logs what `summary` returns, or why it failed, as soon as the event loop runs. The call is made
/// once, in a thread of its own, because it may take as long as reading the list: it must own all
/// that it uses and touch no observer, journal or window. If the process ends first, there is no
/// line.
void logUnlisted(Application& application, std::function<QString()> summary);

} // namespace rehome::app
