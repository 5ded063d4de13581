#pragma once

#include "platform/journal.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

namespace rehome::journal {

/// A line that says what happened. In the recovery file such a line is a comment, in one of three
/// forms:
///
///     # TIME TEXT
///     # TIME ADDRESS {GUID}: TEXT
///     # TIME summary: ADDRESS {GUID}: MOVE; OPENING; E-MAIL ADDRESS
///
/// TIME is the local time with its offset from UTC, such as 2026-11-23T09:14:27+01:00. GUID is the
/// `objectGUID`: 36 upper-case hexadecimal digits and hyphens. TEXT begins with the words of its
/// event (see EventKind).
struct LogLine {
    QString Time;
    QString Mailbox; ///< the address, and the GUID in braces; empty if it is about no mailbox
    QString Text;
    bool Summary = false; ///< what has become of the mailbox, not an event
};

/// What follows the time.
QString textOf(const LogLine& line);

/// None if the line, which begins with "#", has none of the forms. Lines without an offset are read
/// too: earlier versions wrote them.
std::optional<LogLine> parsedLogLine(const QString& line);

/// How an event is named.
struct EventKind {
    platform::Event event;
    const char* name;      ///< in the system log, the field REHOME_EVENT
    const char* messageId; ///< there, the field MESSAGE_ID
    const char* words;     ///< what the text of a line begins with; empty if that is no mark
};

const EventKind& kindOf(platform::Event event);

/// Returns the event of a line about a mailbox; none if the line has no known one.
std::optional<platform::Event> eventOf(const LogLine& line);

/// The distinguished name of the mailbox store that the text of an event names, empty if none.
QString storeOf(platform::Event event, const QString& text);

/// The fields that the system log gets besides the line: MESSAGE_ID, REHOME_EVENT and, if it is
/// about a mailbox, REHOME_GUID and REHOME_STORE. `event`: none for a summary.
QList<QByteArray> fieldsOf(const LogLine& line, std::optional<platform::Event> event);

/// The same of the recovery record of the object with that `objectGUID`.
QList<QByteArray> fieldsOfRecord(const QByteArray& guid);

} // namespace rehome::journal
