#pragma once

#include "platform/blocking_call.h"

#include <QDeadlineTimer>
#include <QString>

#include <chrono>

namespace rehome::ldap {

/// Checks in a thread of its own whether a TCP port accepts connections: connects to the first of
/// the host's addresses that responds, and hangs up. Its destruction cancels the check.
class TcpCheck {
public:
    using Clock = std::chrono::steady_clock;

    /// Begins at `begin`, or at once if that is past, and ends at the deadline at the latest, name
    /// look-up included. `port` 1 to 65535. Throws Error if no thread is left.
    TcpCheck(const QString& host, quint16 port, QDeadlineTimer deadline,
             Clock::time_point begin = {});
    ~TcpCheck() { *m_cancelled = true; }
    TcpCheck(const TcpCheck&) = delete;
    TcpCheck& operator=(const TcpCheck&) = delete;

    bool isOver() const { return m_call.ended() || m_deadline.hasExpired(); }
    /// Blocks until it is over, but no longer than `until`. May end the process; `interruption` may
    /// be null.
    void wait(QDeadlineTimer until, platform::Interruption* interruption) const;
    /// To be called once, when it is over. Throws Error with the reason if no address responded.
    void requireSuccess();

private:
    struct Outcome {
        int lookUp = 0;     ///< an error of getaddrinfo; 0: none
        int connection = 0; ///< an errno; 0: connected
    };
    using Flag = std::shared_ptr<std::atomic<bool>>;

    static Outcome run(const QByteArray& host, const QByteArray& port, QDeadlineTimer deadline,
                       std::atomic<bool>& lookedUp, const std::atomic<bool>& cancelled);

    QDeadlineTimer m_deadline;
    Flag m_lookedUp = std::make_shared<std::atomic<bool>>(false);
    Flag m_cancelled = std::make_shared<std::atomic<bool>>(false);
    platform::BlockingCall<Outcome> m_call;
};

/// Throws Error with the reason if a host's TCP port does not accept a connection before the
/// deadline, name look-up included. Blocks, and may end the process.
void checkTcpPort(const QString& host, quint16 port, QDeadlineTimer deadline,
                  platform::Interruption* interruption = nullptr);

} // namespace rehome::ldap
