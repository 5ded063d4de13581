#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace rehome::platform {

/// A user's object as it is before the tool changes it.
struct RecoveryRecord {
    struct Attribute {
        QString Name;
        QList<QByteArray> Values; ///< none: the object lacks it, and is to lack it again
    };

    QString DistinguishedName;
    QByteArray Guid; ///< `objectGUID`, 16 bytes
    QList<Attribute> Attributes;
    QString Server = {}; ///< the domain controller that it was read from
};

/// What the tool has done, or could not do, that an administrator will want to know afterwards.
enum class Event {
    Remark, ///< anything else, told once in the same words
    Listed,
    Dropped,
    NotDropped,
    DropUnanswered, ///< the answer was lost: it may have been made
    Created,
    NotCreated,
    CreationUnanswered,
    AddressRestored,
    AddressNotRestored, ///< told once in the same words
    Opened,
    NotOpened, ///< told once in the same words
    GivenUp,   ///< with the state of every moved mailbox
};

/// What takes long, while nothing can be painted.
enum class Work { Moves, Openings };

/// Where that is written which must survive the process.
class Journal {
public:
    virtual ~Journal() = default;

    /// Keeps the record of an object that is about to be changed, and returns when it has been
    /// handed over whole; a file has it on the disk then. Throws Error where it cannot be kept; the
    /// object must stay as it is then.
    virtual void Keep(const RecoveryRecord& record) = 0;
    /// Whether it holds a record of the object of that `objectGUID`.
    virtual bool Holds(const QByteArray& guid) const = 0;
    /// What a person does to restore the one user whose record it holds, at that domain controller:
    /// sentences and commands, each a line.
    virtual QStringList RestoreSteps(const QByteArray& guid, const QString& server) const = 0;
    /// Never fails. `mailbox` names the mailbox that it is about, by its address and GUID, and the
    /// text goes on from there; empty where it is about none.
    virtual void Tell(Event event, const QString& text, const QString& mailbox = {}) noexcept = 0;
    /// So many mailboxes are moved or opened from here on.
    virtual void Expect(Work work, int mailboxes) noexcept {
        static_cast<void>(work);
        static_cast<void>(mailboxes);
    }
};

} // namespace rehome::platform
