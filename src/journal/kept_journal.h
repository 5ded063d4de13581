#pragma once

#include "journal/log_line.h"
#include "journal/move_states.h"
#include "journal/progress.h"
#include "journal/recovery_ldif.h"
#include "journal/recovery_stream.h"
#include "journal/system_log.h"
#include "platform/journal.h"

#include <QByteArray>
#include <QHash>
#include <QSet>

#include <memory>

namespace rehome::journal {

/// The journal on the standard error stream and, for a live directory, in the system log. The
/// stream is a file for ldapmodify: records are LDIF, everything else is a comment. LDIF applies
/// forwards, so only the first record of an object undoes the run; later ones are comments, too. If
/// the stream is not a file, records go to the log as well, if the log takes them.
class KeptJournal final : public platform::Journal {
public:
    enum class Of { LiveDirectory, Rehearsal };

    /// `stream` is a descriptor that stays open.
    explicit KeptJournal(Of of, int stream = 2);

    void Keep(const platform::RecoveryRecord& record) override;
    bool Holds(const QByteArray& guid) const override { return m_records.contains(guid); }
    QStringList RestoreSteps(const QByteArray& guid, const QString& server) const override;
    void Expect(platform::Work work, int mailboxes) noexcept override {
        m_progress.expect(work, mailboxes);
    }
    void Tell(platform::Event event, const QString& text, const QString& mailbox) noexcept override;

    /// The name of this run in the system log: 8 hexadecimal digits.
    const QString& run() const { return m_run; }
    /// Writes a line of the trace, on the stream alone.
    void trace(const QString& line) noexcept;
    /// The progress line. Every line of the journal erases it first.
    Progress& progress() { return m_progress; }
    /// Logs a summary of each mailbox that a move was tried on.
    void tellStates() noexcept;

private:
    /// `event`: none for a summary.
    void tell(const LogLine& line, std::optional<platform::Event> event) noexcept;
    void keep(const QByteArray& text, const QByteArray& guid);
    QList<QByteArray> runField() const;

    bool m_live;
    QString m_run;
    RecoveryStream m_stream;
    Progress m_progress;
    std::unique_ptr<SystemLog> m_log; ///< none of a rehearsal
    MoveStates m_states;
    QHash<QByteArray, QByteArray> m_records; ///< LDIF of the last one of each object, by GUID
    QSet<QString> m_told;
    bool m_logged = false; ///< whether the log took the last record
};

} // namespace rehome::journal
