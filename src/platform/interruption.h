#pragma once

namespace rehome::platform {

/// Requests from outside to end the process (signals).
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
};

} // namespace rehome::platform
