#pragma once

#include "platform/adsi/directory_object.h"
#include "platform/exchange/destinations.h"
#include "platform/exchange_management.h"

namespace rehome::exchange {

/// The mailbox of a bound user: what Exchange keeps of it in the directory.
class UserMailboxStore final : public platform::IMailboxStore {
public:
    /// Both must outlive it, and the destinations also the user's next SetInfo.
    UserMailboxStore(adsi::DirectoryObject& user, Destinations& destinations)
        : m_user(user), m_destinations(destinations) {}

    /// Has the journal keep a record and stages the removal. What cannot be made again stays: the
    /// alias, the addresses, delegated rights (`msExchMailboxSecurityDescriptor`) and own quotas
    /// (`mDBUseDefaults`). Throws Error also where the record cannot be kept, or where it is known
    /// that no creation can follow: rights are missing, or the destination cannot be read.
    void DeleteMailbox() override;
    /// Reads the destination before anything else.
    void CreateMailbox(const QString& homeMDB) override;

private:
    adsi::DirectoryObject& m_user;
    Destinations& m_destinations;
};

} // namespace rehome::exchange
