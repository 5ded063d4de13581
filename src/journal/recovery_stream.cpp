#include "journal/recovery_stream.h"

#include "platform/error.h"

#include <QFile>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>

namespace rehome::journal {

namespace {

/// Appended to a partial record, so that ldapmodify rejects it instead of applying half of it.
constexpr const char* PartialRecordTerminator = "!\n!\n\n";

[[noreturn]] void fail(int error) {
    throw Error(QStringLiteral("The recovery record cannot be written to the standard error "
                               "stream: %1. Free some space, or exit and start Rehome again with "
                               "a file on another disk: rehome 2> /PATH/recovery.ldif")
                    .arg(qt_error_string(error)));
}

/// Returns the position in a regular file, -1 for any other stream.
off_t filePosition(int descriptor) {
    struct stat state {};
    if (fstat(descriptor, &state) != 0 || !S_ISREG(state.st_mode))
        return -1;
    const bool appends = fcntl(descriptor, F_GETFL) & O_APPEND;
    return appends ? state.st_size : lseek(descriptor, 0, SEEK_CUR);
}

} // namespace

void fillStandardDescriptors() {
    // Each open takes the lowest free descriptor. The null device opened for reading cannot be
    // written to, which is what makes a write to the stream fail.
    for (int descriptor = 0; descriptor <= 2; ++descriptor)
        if (fcntl(descriptor, F_GETFD) < 0 && errno == EBADF)
            static_cast<void>(open("/dev/null", descriptor == 1 ? O_WRONLY : O_RDONLY));
}

RecoveryStream::RecoveryStream(int descriptor, int limit)
    : m_reopened(descriptor),
      m_descriptor(m_reopened.descriptor() >= 0 ? m_reopened.descriptor() : descriptor),
      m_limit(limit) {
}

void RecoveryStream::writeWhole(const QByteArray& text, int limit) {
    const char* next = text.constData();
    auto left = size_t(text.size());
    while (left > 0) {
        const ssize_t written = ::write(m_descriptor, next, left);
        if (written > 0) {
            next += written;
            left -= size_t(written);
            m_broken = left > 0;
            m_stuck = false;
            continue;
        }
        if (written < 0 && errno == EINTR)
            continue;
        pollfd state{m_descriptor, POLLOUT, 0};
        m_stuck = written < 0 && errno == EAGAIN && poll(&state, 1, limit) <= 0;
        if (m_stuck)
            fail(ETIMEDOUT);
        if (written < 0 && errno == EAGAIN)
            continue;
        fail(written < 0 ? errno : ENOSPC);
    }
}

void RecoveryStream::write(const QByteArray& text, bool sync) {
    const off_t start = filePosition(m_descriptor);
    const bool broken = m_broken;
    // Comments do not wait again for a reader who has not read; records do.
    const int limit = m_stuck && !sync ? 0 : m_limit;
    try {
        if (broken)
            writeWhole(PartialRecordTerminator, limit);
        writeWhole(text, limit);
        if (sync && start >= 0 && fdatasync(m_descriptor) != 0)
            fail(errno);
    } catch (const Error&) {
        // Half of it would spoil the next record.
        if (start >= 0 && ftruncate(m_descriptor, start) == 0) {
            lseek(m_descriptor, start, SEEK_SET);
            m_broken = broken;
        }
        throw;
    }
}

void RecoveryStream::keep(const QByteArray& text) {
    write(text, true);
}

void RecoveryStream::tell(const QByteArray& text) noexcept {
    try {
        write(text, false);
    } catch (const std::exception&) {
        // There is no other place for this failure.
    }
}

bool RecoveryStream::isFile() const noexcept {
    return filePosition(m_descriptor) >= 0;
}

QString RecoveryStream::fileName() const {
    if (!isFile())
        return {};
    const QString own = QStringLiteral("/proc/%1/fd/%2").arg(getpid()).arg(m_descriptor);
    const QString target = QFile::symLinkTarget(own);
    return QFile::exists(target) ? target : own;
}

bool RecoveryStream::keepsNothing() const noexcept {
    struct stat state {};
    return fstat(m_descriptor, &state) == 0 && S_ISCHR(state.st_mode) &&
           state.st_rdev == makedev(1, 3) && // as Linux numbers its null device
           (fcntl(m_descriptor, F_GETFL) & O_ACCMODE) != O_RDONLY;
}

} // namespace rehome::journal
