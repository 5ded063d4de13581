#pragma once

#include "platform/desktop.h"
#include "platform/exchange/exchange_management.h"
#include "platform/journal.h"

namespace rehome::platform {

/// Everything through which the program reaches the outside world.
struct Platform {
    exchange::ExchangeManagement& Exchange;
    platform::Network& Network;
    platform::Desktop& Desktop;
    platform::Journal& Journal;
    adsi::DirectoryServices& Directory = Exchange.Directory();
    exchange::UserChanges& Changes = Exchange.Changes();
};

} // namespace rehome::platform
