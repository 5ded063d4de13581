#pragma once

#include "platform/adsi/directory_object.h"
#include "platform/exchange/destinations.h"

namespace rehome::exchange {

/// The mailbox of a bound user: what Exchange keeps of it in the directory. Either operation is
/// staged on the user object and takes effect on its SetInfo.
class IMailboxStore {
public:
    /// Both must outlive it, and the destinations also the user's next SetInfo.
    IMailboxStore(adsi::IADsUser& user, Destinations& destinations)
        : m_user(user), m_destinations(destinations) {}

    /// Has the journal keep a record and stages the removal. What cannot be made again stays: the
    /// alias, the addresses, delegated rights (`msExchMailboxSecurityDescriptor`) and own quotas
    /// (`mDBUseDefaults`). Throws Error where the user has no mailbox, the record cannot be kept,
    /// or it is known that no creation can follow: rights are missing, or the destination cannot be
    /// read.
    void DeleteMailbox();
    /// `homeMDB` is "LDAP://" and a mailbox store's distinguished name. Reads the destination
    /// before anything else, unless the last creation there has succeeded. Throws Error where that
    /// is no mailbox store, or the user has a mailbox.
    void CreateMailbox(const QString& homeMDB);

private:
    adsi::IADsUser& m_user;
    Destinations& m_destinations;
};

} // namespace rehome::exchange
