#pragma once

#include "platform/adsi/directory_object.h"
#include "platform/exchange/user_changes.h"

namespace rehome::exchange {

/// The mailbox of a bound user: what Exchange keeps of it in the directory. Either operation is
/// staged on the user object and takes effect on its SetInfo.
class IMailboxStore {
public:
    /// All must outlive it. The user has been bound last.
    IMailboxStore(adsi::IADsUser& user, UserChanges& changes, Destinations& destinations)
        : m_user(user), m_changes(changes), m_destinations(destinations) {}

    /// Stages the removal of the home: `homeMDB`, `homeMTA` and
    /// `msExchHomeServerName`. All else stays, above all `msExchMailboxGuid`, the primary key of
    /// the mailbox: restored contents are matched by it. Throws Error if the user has no mailbox or
    /// one of Exchange 2007 or later (`msExchVersion`), or if it is known that no creation can
    /// follow: rights are missing, or the destination cannot be read.
    void DeleteMailbox();
    /// `homeMDB` is "LDAP://" and a mailbox store's distinguished name. Reads the destination
    /// before anything else, unless the last creation there has succeeded. A user who has no
    /// `msExchMailboxGuid` gets a random one. Throws Error where that is no mailbox store, or the
    /// user has a mailbox.
    void CreateMailbox(const QString& homeMDB);

private:
    adsi::IADsUser& m_user;
    UserChanges& m_changes;
    Destinations& m_destinations;
};

} // namespace rehome::exchange
