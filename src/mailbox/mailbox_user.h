#pragma once

#include "platform/platform.h"

#include <QByteArray>
#include <QString>
#include <QUuid>

#include <memory>

namespace rehome::mailbox {

/// One mailbox-enabled user as a search found it, with the operations on the user's directory
/// object. Each of them binds that object afresh and keeps nothing bound.
class MailboxUser {
public:
    /// `platform` must outlive the record.
    explicit MailboxUser(const platform::Platform& platform) : m_platform(platform) {}

    /// The full name of the store that held the mailbox when the record was made.
    const QString& GetSourceStore() const { return m_sourceStore; }
    /// That store's distinguished name; empty where the record was made without it.
    const QString& GetSourceStoreDN() const { return m_sourceStoreDN; }
    /// That store's state then.
    const QString& GetSourceStoreState() const { return m_sourceStoreState; }
    /// The e-mail address when the record was made.
    QString GetMail() const;

    /// Takes over the record set's current row. Throws Error where a column cannot be read or
    /// "mail" is null. The result means nothing.
    bool initFromRS(const adsi::RecordSet& rs, const QString& SourceStore,
                    const QString& SourceStoreState, const QString& SourceStoreDN = {});

    /// What the journal calls it.
    QString label() const;

    /// The object GUID: 38 characters, braced, in capitals.
    QString GetID() const;

    /// The e-mail address that the directory holds now; empty where it has none or it cannot be
    /// read. Throws Error where the user cannot be bound.
    QString GetRealMail() const;

    /// Writes the kept e-mail address and proxy addresses back, replacing what is there, both or
    /// neither. Throws Error; where it was the answer that got lost, they are written all the same.
    void UpdateEmail() const;

    /// Creates the mailbox on the store of that distinguished name. A failure is shown, with what
    /// the user has now; the result tells whether the mailbox was created.
    bool CreateUserMailbox(const QString& newHomeMDB) const;

    /// While it lives, the process is not ended from outside.
    platform::Undivided whole() const { return platform::Undivided(m_platform.Desktop); }

    /// Deletes the mailbox. A failure ends it silently; its reason goes to the journal alone.
    void DropUserMailbox() const;

private:
    std::unique_ptr<adsi::IADsUser> bindUser(exchange::Purpose purpose) const;
    /// Throws Error if the user's home is not the one that the list showed.
    void requireListedHome(adsi::IADsUser& user) const;
    /// What the user has after a failed creation on that store, and what to do about it.
    QString stateAfterFailure(const QString& newHomeMDB) const;

    const platform::Platform& m_platform;
    // There is one for each mailbox of the domain, so it is kept small.
    QUuid m_guid;
    QByteArray m_addresses; ///< packed: "mail", then the proxy addresses
    QString m_sourceStore;
    QString m_sourceStoreState;
    QString m_sourceStoreDN;
};

} // namespace rehome::mailbox
