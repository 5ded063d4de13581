#pragma once

#include "platform/interruption.h"

#include <QStringList>

#include <chrono>

namespace rehome::ldap {

struct LdapSettings {
    /// For making a connection, for each answer while signing on, and for reading the root object.
    /// All of it, with what libraries look up meanwhile, has three times as long.
    std::chrono::milliseconds connectLimit{10'000};
    /// For each answer afterwards; a search has one limit per entry, not one in all.
    std::chrono::milliseconds answerLimit{60'000};
    /// Entries asked for at a time, 1 to 1000: domain controllers send no more by default.
    int pageSize = 1000;
    /// LDAP URIs by priority, as ControllerRace tries them; empty: found as locateServers says.
    QList<QStringList> servers;
    /// For finding out whether a directory that let a limit run out answers again: for connecting,
    /// each answer while signing on, and reading its root object.
    std::chrono::milliseconds revivalLimit{2'000};
    /// After so long, connecting and signing on get their usual limits once: it may just be slow.
    std::chrono::milliseconds revivalPause{60'000};
    /// Ends a wait. Must outlive the engine.
    platform::Interruption* interruption = nullptr;
};

} // namespace rehome::ldap
