#pragma once

#include "app/application.h"
#include "platform/engine/engine.h"
#include "platform/engine/exchange_probe.h"

namespace rehome::app {

/// What the tool runs over.
struct Engines {
    engine::Engine& directory;
    engine::ExchangeProbe& probe;
    platform::Network& network;
};

/// Loads and shows the main window over an engine and runs until the process ends. Throws Error
/// where the window cannot be loaded.
int runTool(Application& application, platform::Journal& journal, const Engines& engines,
            const QString& caption);

} // namespace rehome::app
