#pragma once

#include "platform/blocking_call.h"

#include <QDeadlineTimer>
#include <QString>

#include <chrono>

namespace rehome::ldap {

/// Whether a TCP port accepts connections: connects and hangs up again, at the first of the host's
/// addresses that answers. Runs by itself until it is over or given up, which its destruction does.
class TcpCheck {
public:
    using Clock = std::chrono::steady_clock;

    /// Begins at `begin`, or at once if that is past; is over at the deadline, the name looked up
    /// or not. Throws Error if the system has no thread left.
    TcpCheck(const QString& host, quint16 port, QDeadlineTimer deadline,
             Clock::time_point begin = {});
    ~TcpCheck() { *m_givenUp = true; }
    TcpCheck(const TcpCheck&) = delete;
    TcpCheck& operator=(const TcpCheck&) = delete;

    bool isOver() const { return m_call.ended() || m_deadline.hasExpired(); }
    /// Returns when it is over, or at `until`. A request to end the process is met.
    void wait(QDeadlineTimer until, platform::Interruption* interruption) const;
    /// To be asked once, when it is over. Throws Error saying why no address has answered.
    void requireAnswer();

private:
    struct Outcome {
        int lookUp = 0;     ///< an error of getaddrinfo
        int connection = 0; ///< an errno
    };
    using Flag = std::shared_ptr<std::atomic<bool>>;

    static Outcome run(const QByteArray& host, const QByteArray& port, QDeadlineTimer deadline,
                       std::atomic<bool>& lookedUp, const std::atomic<bool>& givenUp);

    QDeadlineTimer m_deadline;
    Flag m_lookedUp = std::make_shared<std::atomic<bool>>(false);
    Flag m_givenUp = std::make_shared<std::atomic<bool>>(false);
    platform::BlockingCall<Outcome> m_call;
};

/// Throws Error saying why a host's TCP port does not accept a connection before the deadline,
/// which the name look-up counts towards.
void checkTcpPort(const QString& host, quint16 port, QDeadlineTimer deadline,
                  platform::Interruption* interruption = nullptr);

} // namespace rehome::ldap
