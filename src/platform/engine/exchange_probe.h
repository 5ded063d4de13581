#pragma once

#include "platform/engine/engine.h"

namespace rehome::engine {

/// Finds out about Exchange servers and stores what searches do not return. All calls may block,
/// and may end the process.
class ExchangeProbe {
public:
    virtual ~ExchangeProbe() = default;

    /// Returns the attributes with which servers and stores must have been read.
    virtual QStringList attributes() const { return {}; }
    /// Lets the checks of all servers of an enumeration begin in parallel; checkServer() uses each
    /// once. Cancels the checks that have begun before.
    virtual void beginChecks(const std::vector<Entry>& servers) { static_cast<void>(servers); }
    /// Throws Error if the server does not respond.
    virtual void checkServer(const Entry& server) = 0;
    /// Returns the state of a mailbox store: 0 online, 1 offline, 2 mounting, 3 dismounting. Throws
    /// Error if it cannot be determined.
    virtual qint16 storeStatus(const Entry& store) = 0;
};

} // namespace rehome::engine
