#pragma once

#include "platform/blocking_call.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace rehome::journal {

/// The system log (facility user): systemd's with fields of our own, or syslog without them. Waits
/// at most 1 s for the log. After that, nothing is sent until the log has taken the last message.
class SystemLog {
public:
    /// Lines are logged under `identity`, which must outlive it, with the process number.
    explicit SystemLog(const char* identity);

    /// Logs one line, at level warning if `failure`, otherwise notice. `fields`: each "NAME=VALUE".
    void tell(const QString& line, bool failure, const QList<QByteArray>& fields) noexcept;
    /// Sends a record to systemd's log. Returns false if there is none, it refused, or it did not
    /// respond.
    [[nodiscard]] bool keep(const QByteArray& record, const QList<QByteArray>& fields) noexcept;

private:
    bool within(std::function<bool()> call);

    const char* m_identity;
    std::optional<platform::BlockingCall<bool>> m_call; ///< the last one, until it has ended
};

} // namespace rehome::journal
