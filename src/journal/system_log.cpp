#include "journal/system_log.h"

// The macro variants, which name the source's line, would make each entry's place ours.
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <sys/uio.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <array>

namespace rehome::journal {

namespace {

/// Without it the library calls a record that nobody took a success.
constexpr const char* LogSocket = "/run/systemd/journal/socket";

iovec field(const QByteArray& text) {
    return {const_cast<char*>(text.constData()), size_t(text.size())};
}

} // namespace

SystemLog::SystemLog(const char* identity) : m_identity(identity) {
    openlog(identity, LOG_PID, LOG_USER);
}

SystemLog::~SystemLog() {
    closelog();
}

void SystemLog::tell(const QString& line, bool failure) noexcept {
    syslog(failure ? LOG_WARNING : LOG_NOTICE, "%s", line.toUtf8().constData());
}

bool SystemLog::keep(const QByteArray& record) noexcept {
    if (access(LogSocket, W_OK) != 0)
        return false;
    const QByteArray message = "MESSAGE=" + record, priority = "PRIORITY=5",
                     identity = QByteArray("SYSLOG_IDENTIFIER=") + m_identity;
    const std::array fields{field(message), field(priority), field(identity)};
    return sd_journal_sendv(fields.data(), int(fields.size())) == 0;
}

} // namespace rehome::journal
