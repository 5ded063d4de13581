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

/// The journal on the standard error stream and, of a live directory, in the system log. The stream
/// is a file that ldapmodify takes: records are LDIF, everything else is a comment. LDIF applies
/// forwards, so the first record of an object is the one that undoes the run; later ones are
/// comments too. Where the stream is no file, records go to the log as well, if it takes them.
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

    /// What the system log calls this run: 8 hexadecimal digits.
    const QString& run() const { return m_run; }
    /// A line on the stream alone, for whoever looks for a fault.
    void trace(const QString& line) noexcept;
    /// What is done meanwhile; every line of the journal's own takes its place.
    Progress& progress() { return m_progress; }
    /// What has become of each moved mailbox, in both places.
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
    QHash<QByteArray, QByteArray> m_records; ///< the last of each object, by its GUID
    QSet<QString> m_told;
    bool m_logged = false; ///< whether the log took the last record
};

} // namespace rehome::journal
