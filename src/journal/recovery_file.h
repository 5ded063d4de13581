#pragma once

#include "journal/log_line.h"
#include "platform/journal.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace rehome::journal {

/// An active record of a recovery file.
struct FiledRecord {
    int Line = 0; ///< its first one in the file, from 1
    /// What could be read of it. `Guid` is empty if it is addressed by name, as a rehearsal's are.
    platform::RecoveryRecord Record;
    QString Fault;     ///< why it must not be applied, with the line; empty if it is whole
    bool Half = false; ///< the writer marked it as written in part: nothing was changed after it
};

/// A log line, which is a comment in the file.
struct FiledLine {
    int Line = 0; ///< its number in the file, from 1
    LogLine Told;
};

/// A record that is a comment: the object was about to be changed again.
struct LaterChange {
    int Line = 0;    ///< the number of the line that names the object, from 1
    QByteArray Guid; ///< the 16 bytes of the `objectGUID`; empty if the record names it otherwise
};

struct RecoveryFile {
    QList<FiledRecord> Records; ///< the active ones
    QList<LaterChange> LaterChanges;
    QList<FiledLine> Lines;
};

/// What stands in the text that KeptJournal writes, in its order; what else is between is passed
/// over. A record that is not whole, or that does anything but replace attributes, stays in the
/// list with its Fault.
RecoveryFile readRecoveryText(const QByteArray& text);

/// The same of a file. Throws Error if it cannot be read.
RecoveryFile readRecoveryFile(const QString& path);

/// The 16 bytes of an `objectGUID` that is written with hyphens, or as 32 hexadecimal digits of its
/// bytes in order. Empty for any other text.
QByteArray guidOctets(const QString& text);

} // namespace rehome::journal
