#pragma once

#include "journal/terminal.h"

#include <QByteArray>
#include <QString>

namespace rehome::journal {

/// Fills each of the descriptors 0 to 2 that is closed, so that nothing which the process opens
/// takes its place; what is written to a standard error stream that was closed then fails. To be
/// called before anything else is opened.
void fillStandardDescriptors();

/// The standard error stream, as the place of recovery records.
class RecoveryStream {
public:
    /// `limit`: milliseconds for the reader of a pipe or a terminal to take some more.
    explicit RecoveryStream(int descriptor = 2, int limit = 5000);

    /// Writes the whole text and syncs a regular file. If that fails, truncates the file to its
    /// previous length; on other streams, terminates the partial record so that ldapmodify rejects
    /// it. Throws Error.
    void keep(const QByteArray& text);
    /// Writes it if that is possible.
    void tell(const QByteArray& text) noexcept;
    /// Whether it is a regular file. What a terminal or a pipe receives may be lost.
    bool isFile() const noexcept;
    /// The absolute path of the file that it is; of one that has no name any more, the path at
    /// which other processes find it while this one lives. Empty if it is no regular file.
    QString fileName() const;
    /// Whether it is the null device, which keeps nothing.
    bool keepsNothing() const noexcept;

private:
    /// `sync`: for a regular file, only returns once it is on the disk.
    void write(const QByteArray& text, bool sync);
    void writeWhole(const QByteArray& text, int limit);

    Reopened m_reopened;
    int m_descriptor;
    int m_limit;
    bool m_stuck = false;  ///< the reader took nothing for the whole limit
    bool m_broken = false; ///< it ends in the middle of what was written last
};

} // namespace rehome::journal
