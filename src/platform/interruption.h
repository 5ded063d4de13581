#pragma once

#include <QString>

namespace rehome::platform {

/// What may come between while the process waits: requests from outside to end it (signals), and
/// somebody who wants to know what is waited for. Every wait calls checkpoint() at least four times
/// a second.
class Interruption {
public:
    virtual ~Interruption() = default;
    /// Becomes readable when there is such a request.
    virtual int descriptor() const = 0;
    /// Ends the process where there is one and it is not held back; otherwise returns.
    virtual void checkpoint() = 0;
    /// Whether checkpoint() would return although there is a request: waiting goes on without the
    /// descriptor then.
    virtual bool held() const = 0;
    /// What the waits are for from now on.
    virtual void waitFor(const QString& what) = 0;
};

} // namespace rehome::platform
