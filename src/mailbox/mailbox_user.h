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
    /// That store's distinguished name; empty if the record was made without it.
    const QString& GetSourceStoreDN() const { return m_sourceStoreDN; }
    /// That store's state then.
    const QString& GetSourceStoreState() const { return m_sourceStoreState; }
    /// The e-mail address when the record was made.
    QString GetMail() const;

    /// Copies the record set's current row. Throws Error if a column cannot be read or "mail" is
    /// null. Always returns false; ignore it.
    bool initFromRS(const adsi::RecordSet& rs, const QString& SourceStore,
                    const QString& SourceStoreState, const QString& SourceStoreDN = {});

    /// Returns what the journal calls the mailbox: the address and the GUID.
    QString label() const;

    /// The object GUID: 38 characters, braced, in upper case.
    QString GetID() const;

    /// Reads the e-mail address that the directory holds now; empty if there is none or it cannot
    /// be read. Throws Error if the user cannot be bound.
    QString GetRealMail() const;

    /// Writes the kept e-mail address and proxy addresses back, replacing what is there, both or
    /// neither. Throws Error; if only the response was lost, the change may still have been made.
    void UpdateEmail() const;

    /// Creates the mailbox on the store with that distinguished name. Returns false if that failed;
    /// a message box has then said what the user has now.
    bool CreateUserMailbox(const QString& newHomeMDB) const;

    /// Defers signals that end the process for the lifetime of the result.
    platform::Undivided whole() const { return platform::Undivided(m_platform.Desktop); }

    /// Deletes the mailbox. A failure only goes to the journal.
    void DropUserMailbox() const;

private:
    std::unique_ptr<adsi::IADsUser> bindUser(exchange::Purpose purpose) const;
    /// Throws Error if the user's home is not the one that the list showed.
    void requireListedHome(adsi::IADsUser& user) const;
    /// Returns what the user has after a failed creation on that store, and what to do about it.
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
