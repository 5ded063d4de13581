#pragma once

#include "platform/interruption.h"

#include <QStringList>

#include <chrono>

namespace rehome::ldap {

struct LdapSettings {
    /// For connecting, for each response while authenticating, and for reading the rootDSE.
    /// Everything together, with the name look-ups of libraries, has three times as long.
    std::chrono::milliseconds connectTimeout{10'000};
    /// For each response afterwards: of a search, for each entry and not for the whole search.
    std::chrono::milliseconds responseTimeout{60'000};
    /// Entries of a page, 1 to 1000: domain controllers send no more by default.
    int pageSize = 1000;
    /// LDAP URIs by priority, as ControllerRace tries them; empty: those of locateServers().
    QList<QStringList> servers;
    /// Replaces connectTimeout after a time-out, to find out whether the directory responds again.
    std::chrono::milliseconds shortTimeout{2'000};
    /// How long to use only shortTimeout before trying connectTimeout once: the directory may just
    /// be slow.
    std::chrono::milliseconds fullTimeoutInterval{60'000};
    /// Requests to end the process, which every wait meets; null: none. Must outlive the engine.
    platform::Interruption* interruption = nullptr;
};

} // namespace rehome::ldap
