#pragma once

#include "platform/engine/engine.h"

namespace rehome::engine {

/// What a directory cannot tell about Exchange.
class ExchangeProbe {
public:
    virtual ~ExchangeProbe() = default;

    /// What the objects of servers and stores must have been read with.
    virtual QStringList attributes() const { return {}; }
    /// All servers of an enumeration, before the first is checked: their checks may begin side by
    /// side, each to be consumed by checkServer. Checks begun before are given up.
    virtual void beginChecks(const std::vector<Entry>& servers) { static_cast<void>(servers); }
    /// Throws Error if the server does not answer.
    virtual void checkServer(const Entry& server) = 0;
    /// The running state of a mailbox store: 0 online, 1 offline, 2 mounting, 3 dismounting. Throws
    /// Error.
    virtual qint16 storeStatus(const Entry& store) = 0;
};

} // namespace rehome::engine
