#include "journal/system_log.h"

// The macro variants, which name the source's line, would make each entry's place ours.
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <sys/uio.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <vector>

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

void SystemLog::tell(const QString& line, bool failure, const QList<QByteArray>& fields) noexcept {
    const int level = failure ? LOG_WARNING : LOG_NOTICE;
    const QByteArray message = line.toUtf8();
    if (!send(message, level, fields))
        syslog(level, "%s", message.constData());
}

bool SystemLog::keep(const QByteArray& record, const QList<QByteArray>& fields) noexcept {
    return send(record, LOG_NOTICE, fields);
}

bool SystemLog::send(const QByteArray& message, int level, QList<QByteArray> fields) noexcept {
    if (access(LogSocket, W_OK) != 0)
        return false;
    // These are those that syslog() would give it.
    fields = QList<QByteArray>{"MESSAGE=" + message, "PRIORITY=" + QByteArray::number(level),
                               QByteArray("SYSLOG_IDENTIFIER=") + m_identity,
                               "SYSLOG_FACILITY=" + QByteArray::number(LOG_USER >> 3),
                               "SYSLOG_PID=" + QByteArray::number(getpid())} +
             fields;
    std::vector<iovec> sent;
    for (const QByteArray& one : fields)
        sent.push_back(field(one));
    return sd_journal_sendv(sent.data(), int(sent.size())) == 0;
}

} // namespace rehome::journal
