#pragma once

#include <QDeadlineTimer>

#include <chrono>

namespace rehome::ldap {

/// Whether the directory responds, as all connections to it have seen. One thread.
class Health {
public:
    /// A request has timed out. If it had the full time-out, only the short one is used for the
    /// next `fullTimeoutInterval`.
    void noteTimeout(bool hadShortTimeout, std::chrono::milliseconds fullTimeoutInterval) {
        ++m_timeouts;
        m_responds = false;
        if (!hadShortTimeout)
            m_shortTimeoutUntil.setRemainingTime(fullTimeoutInterval);
    }
    /// A response has been read. Returns the number of time-outs before it.
    int noteResponse() {
        m_responds = true;
        return m_timeouts;
    }
    /// Returns false if nothing has been read since the last time-out.
    bool responds() const { return m_responds; }
    /// Returns true if a new connection is to get the short time-out only.
    bool wantsShortTimeout() const { return !m_responds && !m_shortTimeoutUntil.hasExpired(); }
    /// Returns true if any request has timed out since noteResponse() returned `timeouts`.
    bool hasTimedOutSince(int timeouts) const { return m_timeouts != timeouts; }

private:
    int m_timeouts = 0;
    bool m_responds = true;
    QDeadlineTimer m_shortTimeoutUntil;
};

} // namespace rehome::ldap
