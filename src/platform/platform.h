#pragma once

#include "platform/desktop.h"
#include "platform/directory_services.h"
#include "platform/exchange_management.h"
#include "platform/journal.h"

namespace rehome::platform {

/// Everything that the tool reaches the outside world through. Must outlive what it is given to.
struct Platform {
    platform::DirectoryServices& Directory;
    platform::ExchangeManagement& Exchange;
    platform::Network& Network;
    platform::Desktop& Desktop;
    platform::Journal& Journal;
};

} // namespace rehome::platform
