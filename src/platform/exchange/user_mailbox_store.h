#pragma once

#include "platform/adsi/directory_object.h"
#include "platform/exchange/user_changes.h"

namespace rehome::exchange {

/// The mailbox of a bound user: its attributes in the directory. Both operations only stage changes
/// on the user object: SetInfo() writes them. They may block.
class IMailboxStore {
public:
    /// All must outlive it. `user` must be the one that was bound last.
    IMailboxStore(adsi::IADsUser& user, UserChanges& changes, Destinations& destinations)
        : m_user(user), m_changes(changes), m_destinations(destinations) {}

    /// Stages the removal of `homeMDB`, `homeMTA` and `msExchHomeServerName`. `msExchMailboxGuid`
    /// stays: it is the primary key of the mailbox, by which restored contents are matched. Throws
    /// Error if the user has no mailbox, or one of Exchange 2007 or later (`msExchVersion`), or if
    /// no creation can follow because permissions are missing or the destination cannot be read.
    void DeleteMailbox();
    /// Stages a home on a store. `homeMDB`: "LDAP://" and the store's DN. Reads the store first,
    /// unless the last creation there has succeeded. A user without `msExchMailboxGuid` gets a
    /// random one. Throws Error if there is no such store, or the user has a mailbox.
    void CreateMailbox(const QString& homeMDB);

private:
    adsi::IADsUser& m_user;
    UserChanges& m_changes;
    Destinations& m_destinations;
};

} // namespace rehome::exchange
