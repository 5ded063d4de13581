#pragma once

#include <QString>

namespace rehome::engine {

/// What a directory cannot tell about Exchange.
class ExchangeProbe {
public:
    virtual ~ExchangeProbe() = default;

    /// Throws Error where the server, given by distinguished name, does not answer.
    virtual void checkServer(const QString& serverName) = 0;
    /// The running state of a mailbox store given by its distinguished name: 0 online, 1 offline,
    /// 2 mounting, 3 dismounting. Throws Error.
    virtual qint16 storeStatus(const QString& storeName) = 0;
};

} // namespace rehome::engine
