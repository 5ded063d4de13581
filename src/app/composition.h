#pragma once

#include "app/application.h"
#include "platform/engine/engine.h"
#include "platform/engine/exchange_probe.h"
#include "platform/engine/mailbox_opener.h"

#include <functional>

namespace rehome::app {

/// What the tool runs over.
struct Engines {
    engine::Engine& directory;
    engine::ExchangeProbe& probe;
    engine::MailboxOpener& opener;
    platform::Network& network;
};

/// Makes the application object, titled so, with the standard error stream for its journal, and
/// returns what `body` does. An exception that leaves `body` is shown and ends the process.
int runProgram(int argc, char** argv, const QString& title,
               const std::function<int(Application&)>& body);

/// Loads and shows the main window over an engine and runs until the process ends; where the
/// environment asks for it, with a Trace in between. Throws Error where the window cannot be
/// loaded.
int runTool(Application& application, const Engines& engines, const QString& caption);

} // namespace rehome::app
