#pragma once

#include "app/application.h"
#include "platform/engine/engine.h"
#include "platform/engine/exchange_probe.h"
#include "platform/engine/mailbox_opener.h"
#include "platform/platform.h"

#include <functional>

namespace rehome::app {

/// What the tool runs over.
struct Engines {
    engine::Engine& directory;
    engine::ExchangeProbe& probe;
    engine::MailboxOpener& opener;
    platform::Network& network;
};

/// Makes the journal and the application object, titled so, and returns what `body` does. An
/// exception that leaves `body` is shown and ends the process. To be called once, and before
/// anything is opened.
int runProgram(int argc, char** argv, const QString& title, journal::KeptJournal::Of of,
               const std::function<int(Application&)>& body);

/// Loads and shows the main window over an engine and runs until the process ends; where it is
/// asked for, with a Trace in between. Throws Error where the window cannot be loaded.
int runTool(Application& application, const Engines& engines, const QString& caption);

} // namespace rehome::app
