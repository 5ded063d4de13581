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

/// sd_journal_sendv() returns success if this socket does not exist.
constexpr const char* LogSocket = "/run/systemd/journal/socket";

iovec field(const QByteArray& text) {
    return {const_cast<char*>(text.constData()), size_t(text.size())};
}

/// Sends to systemd's log. Returns false if there is none, or it refused.
bool send(const QByteArray& message, int level, const char* identity, QList<QByteArray> fields) {
    if (access(LogSocket, W_OK) != 0)
        return false;
    // The fields that syslog() would send.
    fields = QList<QByteArray>{"MESSAGE=" + message, "PRIORITY=" + QByteArray::number(level),
                               QByteArray("SYSLOG_IDENTIFIER=") + identity,
                               "SYSLOG_FACILITY=" + QByteArray::number(LOG_USER >> 3),
                               "SYSLOG_PID=" + QByteArray::number(getpid())} +
             fields;
    std::vector<iovec> sent;
    for (const QByteArray& one : fields)
        sent.push_back(field(one));
    return sd_journal_sendv(sent.data(), int(sent.size())) == 0;
}

} // namespace

SystemLog::SystemLog(const char* identity) : m_identity(identity) {
    openlog(identity, LOG_PID, LOG_USER);
}

void SystemLog::tell(const QString& line, bool failure, const QList<QByteArray>& fields) noexcept {
    try {
        const int level = failure ? LOG_WARNING : LOG_NOTICE;
        within([message = line.toUtf8(), level, identity = m_identity, fields] {
            if (!send(message, level, identity, fields))
                syslog(level, "%s", message.constData());
            return true;
        });
    } catch (const std::exception&) {
        // No thread or memory is left. The line is on the standard error stream, too.
    }
}

bool SystemLog::keep(const QByteArray& record, const QList<QByteArray>& fields) noexcept {
    try {
        return within([record, identity = m_identity, fields] {
            return send(record, LOG_NOTICE, identity, fields);
        });
    } catch (const std::exception&) {
        return false;
    }
}

bool SystemLog::within(std::function<bool()> call) {
    using namespace std::chrono_literals;
    if (m_call && !m_call->ended())
        return false;
    m_call.emplace(std::move(call));
    return m_call->await(QDeadlineTimer(1s), nullptr).value_or(false);
}

} // namespace rehome::journal
