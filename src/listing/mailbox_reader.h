#pragma once

#include "mailbox/mailbox_user.h"
#include "topology/store_config.h"

#include <QHash>

#include <functional>
#include <memory>
#include <optional>

namespace rehome::listing {

/// The filter of the list's search (RFC 4515). Of what it finds, the list leaves out who has no
/// `mail`, and system objects.
QString mailboxFilter();

/// Whether the object with that distinguished name is one of a store's own, such as its system
/// mailbox.
bool isSystemObject(QByteArrayView distinguishedName);

/// A mailbox as the list shows it, read from the first member to the last.
struct Row {
    // None where reading did not come so far.
    std::optional<QString> DisplayName;
    std::optional<QString> Store; ///< its full name
    std::optional<QString> State; ///< that store's
    std::shared_ptr<const mailbox::MailboxUser> Record;
};

/// Reads the mailboxes of a domain, once.
class MailboxReader {
public:
    /// Takes one row after the other, in the directory's order, while nothing further is read. A
    /// row that could not be read to its end comes without a record, and is the last.
    using RowSink = std::function<void(const Row& row)>;

    static constexpr int MostRows = 32767;

    /// What it is given must outlive it.
    MailboxReader(const platform::Platform& platform, const topology::StoreCatalogue& StoreList)
        : m_platform(platform), m_storeList(StoreList) {}

    /// Searches below `context`, the domain's distinguished name. Throws Error where the search
    /// fails, a row cannot be read or there are more than MostRows; where a row cannot be read, the
    /// journal is told of it and of each further such user of the same result, with all that is
    /// wrong.
    void read(adsi::Connection& connection, const QString& context, const RowSink& take);

    /// The full names of the stores that hold a listed mailbox, each once whatever its letter case,
    /// in the order of first appearance.
    const topology::KeyedCollection<QString>& sourceStores() const { return m_sourceStores; }

private:
    /// What mailboxes of the same `homeMDB` share, and what telling it costs too much to be done
    /// for each of them: a tenth of the whole refresh.
    struct Home {
        QString DN;
        QString Store;
        QString State;
    };

    void readRow(Row& row, const adsi::RecordSet& rs);
    const Home& homeOf(const adsi::RecordSet& rs);
    std::shared_ptr<const mailbox::MailboxUser> recordOf(const adsi::RecordSet& rs,
                                                         const Home& home) const;
    void tellWhatIsWrong(adsi::RecordSet& rs);

    const platform::Platform& m_platform;
    const topology::StoreCatalogue& m_storeList;
    QHash<QByteArray, Home> m_homes; ///< by `homeMDB` as it is spelt
    topology::KeyedCollection<QString> m_sourceStores;
};

} // namespace rehome::listing
