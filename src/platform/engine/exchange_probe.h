#pragma once

#include "platform/engine/engine.h"

namespace rehome::engine {

/// What a directory cannot tell about Exchange.
class ExchangeProbe {
public:
    virtual ~ExchangeProbe() = default;

    /// What the objects of servers and stores must have been read with.
    virtual QStringList attributes() const { return {}; }
    /// Throws Error where the server does not answer.
    virtual void checkServer(const Entry& server) = 0;
    /// The running state of a mailbox store: 0 online, 1 offline, 2 mounting, 3 dismounting. Throws
    /// Error.
    virtual qint16 storeStatus(const Entry& store) = 0;
};

} // namespace rehome::engine
