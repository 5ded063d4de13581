#pragma once

#include <QByteArray>
#include <QString>

namespace rehome::journal {

/// The system log (syslog, facility user).
class SystemLog {
public:
    /// Lines are logged under `identity`, which must outlive it, with the process number.
    explicit SystemLog(const char* identity);
    ~SystemLog();
    SystemLog(const SystemLog&) = delete;
    SystemLog& operator=(const SystemLog&) = delete;

    /// One line. `failure`: at level warning, else notice.
    void tell(const QString& line, bool failure) noexcept;
    /// Keeps a record where the log tells whether it took it, as systemd's does. False where there
    /// is no such log or it refused.
    [[nodiscard]] bool keep(const QByteArray& record) noexcept;

private:
    const char* m_identity;
};

} // namespace rehome::journal
