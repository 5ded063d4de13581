#pragma once

#include "platform/blocking_call.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace rehome::journal {

/// The system log (facility user): systemd's with fields of our own, or syslog without them. A log
/// that takes nothing holds nobody up: after a second it is left alone until it has taken that.
class SystemLog {
public:
    /// Lines are logged under `identity`, which must outlive it, with the process number.
    explicit SystemLog(const char* identity);
    ~SystemLog();
    SystemLog(const SystemLog&) = delete;
    SystemLog& operator=(const SystemLog&) = delete;

    /// One line. `failure`: at level warning, else notice. `fields`: each "NAME=VALUE".
    void tell(const QString& line, bool failure, const QList<QByteArray>& fields) noexcept;
    /// Keeps a record where the log tells whether it took it, as systemd's does. False where there
    /// is no such log or it refused.
    [[nodiscard]] bool keep(const QByteArray& record, const QList<QByteArray>& fields) noexcept;

private:
    bool within(std::function<bool()> call) noexcept;

    const char* m_identity;
    std::optional<platform::BlockingCall<bool>> m_call; ///< the last one, until it has ended
};

} // namespace rehome::journal
