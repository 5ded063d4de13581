#pragma once

#include "platform/adsi/directory_object.h"
#include "platform/desktop.h"
#include "platform/exchange_management.h"

namespace rehome::exchange {

/// The mailbox of a bound user: what Exchange keeps of it in the directory.
class UserMailboxStore final : public platform::IMailboxStore {
public:
    UserMailboxStore(adsi::DirectoryObject& user, platform::Journal& journal)
        : m_user(user), m_journal(journal) {}

    /// Writes what is about to be removed to the journal and stages the removal. What cannot be
    /// made again stays: the alias, the addresses, delegated rights
    /// (`msExchMailboxSecurityDescriptor`) and own quotas (`mDBUseDefaults`).
    void DeleteMailbox() override;
    void CreateMailbox(const QString& homeMDB) override;

private:
    adsi::DirectoryObject& m_user;
    platform::Journal& m_journal;
};

} // namespace rehome::exchange
