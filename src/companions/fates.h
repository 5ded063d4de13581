#pragma once

#include "journal/move_states.h"
#include "journal/recovery_file.h"
#include "platform/engine/engine.h"

#include <QString>

#include <optional>
#include <vector>

namespace rehome::companions {

/// What became of one mailbox, from recovery files.
struct Fate {
    QString mailbox; ///< the address, and the `objectGUID` in braces; or what a record has of both
    QByteArray guid; ///< the 16 bytes of the `objectGUID`; empty if it is not known
    std::optional<platform::RecoveryRecord> record; ///< the first one: before all changes
    QString from; ///< the distinguished name of the store before all changes; empty if not known
    QString to;   ///< the one that it was created on last, or should have been
    journal::MoveStates::State state;

    /// The address alone; empty if it is not known.
    QString address() const { return mailbox.section(u' ', 0, -2); }
    /// The values of the record, empty if there is none.
    QList<QByteArray> recorded(const QString& attribute) const;
};

/// Returns each mailbox that a move was tried on, or that was recorded. `files` are in
/// chronological order.
std::vector<Fate> fatesOf(const std::vector<journal::RecoveryFile>& files);

/// Compares the user at one domain controller with the run, in a few words: "as after" it, "as
/// before", "without a mailbox" and so on. None: the domain controller did not find the user.
QString comparison(const Fate& fate, const std::optional<engine::Entry>& user);

/// The result of comparison() for a user who is as the run left the user.
extern const QString AsAfter;

} // namespace rehome::companions
