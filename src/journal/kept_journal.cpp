#include "journal/kept_journal.h"

#include "journal/shell_word.h"
#include "platform/error.h"
#include "platform/guid.h"
#include "platform/shown_text.h"

#include <unistd.h>

#include <array>
#include <ctime>

namespace rehome::journal {

using platform::Event;

namespace {

bool isFailure(Event event) {
    return event == Event::NotDropped || event == Event::DropUnanswered ||
           event == Event::NotCreated || event == Event::CreationUnanswered ||
           event == Event::AddressNotRestored || event == Event::NotOpened ||
           event == Event::GivenUp;
}

bool toldOnce(Event event) {
    return event == Event::Remark || event == Event::AddressNotRestored ||
           event == Event::NotOpened;
}

/// Returns the local time with its offset. Does not use Qt, whose static objects may be gone when
/// the process exits after the display was lost.
QString now() {
    const std::time_t seconds = std::time(nullptr);
    tm parts{};
    localtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%FT%T%z", &parts);
    return QString::fromLatin1(text.data()).insert(22, u':'); // +0100 is +01:00 in ISO 8601
}

QByteArray asComment(QByteArray ldif) {
    ldif.chop(1); // the last line feed
    return "# " + ldif.replace("\n", "\n# ") + '\n';
}

} // namespace

KeptJournal::KeptJournal(Of of, int stream)
    : m_live(of == Of::LiveDirectory),
      m_run(QUuid::createUuid().toString(QUuid::WithoutBraces).left(8)), m_stream(stream),
      m_progress(stream) {
    if (m_live)
        m_log = std::make_unique<SystemLog>("rehome");
}

void KeptJournal::Keep(const platform::RecoveryRecord& record) {
    const QByteArray ldif = toLdif(record, m_live ? Naming::ByGuid : Naming::ByName);
    const auto known = m_records.constFind(record.Guid);
    if (known != m_records.constEnd() && *known == ldif)
        return;
    const QByteArray where =
        record.Server.isEmpty()
            ? QByteArray()
            : "# as it was at " + platform::shownText(record.Server).toUtf8() + ":\n";
    // Blank lines part the record from lines that a library may write to the stream.
    keep(known == m_records.constEnd() ? '\n' + where + ldif + '\n'
                                       : where + LaterRecord + '\n' + asComment(ldif),
         record.Guid);
    m_records.insert(record.Guid, ldif);
}

void KeptJournal::keep(const QByteArray& text, const QByteArray& guid) {
    m_progress.makeRoom();
    m_stream.keep(text);
    // The system log is only needed for a live directory, and only without a file.
    if (!m_live || m_stream.isFile())
        return;
    m_logged = m_log->keep(text, fieldsOfRecord(guid) + runField());
    if (m_stream.keepsNothing() && !m_logged)
        throw Error(QStringLiteral("The recovery record would be lost: the standard error stream "
                                   "is the null device, and no system log took it. Exit and start "
                                   "Rehome from a terminal: rehome 2> recovery.ldif"));
}

QList<QByteArray> KeptJournal::runField() const {
    return {"REHOME_RUN=" + m_run.toLatin1()};
}

QStringList KeptJournal::RestoreSteps(const QByteArray& guid, const QString& server) const {
    if (!m_live)
        return {QStringLiteral("This is a rehearsal: its records are not for rehome-restore. Close "
                               "the window and start the rehearsal again.")};
    QStringList steps{QStringLiteral("To restore this user alone, run in a terminal:")};
    QString file = m_stream.fileName();
    if (file.isEmpty()) {
        file = QStringLiteral("recovery-%1.ldif").arg(getpid());
        steps += m_logged ? QStringLiteral("journalctl -t rehome _UID=$(id -u) "
                                           "REHOME_EVENT=record REHOME_RUN=%1 -o cat > %2")
                                .arg(m_run, file)
                          : QStringLiteral("(copy the record from the terminal into the file %1 "
                                           "first)")
                                .arg(file);
    }
    // Another domain controller may not have the change yet: an undo there would do nothing, and
    // the change would arrive afterwards.
    const QString where =
        server.isEmpty() ? QString() : QStringLiteral("LDAPURI=%1 ").arg(shellWord(server));
    steps += where + QStringLiteral("rehome-restore %1 '%2'")
                         .arg(shellWord(file), platform::guidFromOctets(guid).toString().toUpper());
    return steps;
}

void KeptJournal::Tell(Event event, const QString& text, const QString& mailbox) noexcept {
    const LogLine line{{}, mailbox, text};
    m_states.take(event, mailbox);
    m_progress.count(event);
    if (toldOnce(event)) {
        const QString told = textOf(line);
        if (m_told.contains(told))
            return;
        m_told.insert(told);
    }
    tell(line, event);
    if (event == Event::GivenUp)
        tellStates();
}

void KeptJournal::trace(const QString& line) noexcept {
    m_progress.makeRoom();
    m_stream.tell("# " + platform::shownText(line).toUtf8() + '\n');
}

void KeptJournal::tellStates() noexcept {
    for (const QString& mailbox : m_states.mailboxes())
        tell({{}, mailbox, m_states.find(mailbox)->text(), true}, std::nullopt);
}

void KeptJournal::tell(const LogLine& line, std::optional<Event> event) noexcept {
    const QString text = textOf(line);
    trace(now() + u' ' + text);
    if (m_log)
        m_log->tell(platform::shownText(text), event && isFailure(*event),
                    fieldsOf(line, event) + runField());
}

} // namespace rehome::journal
