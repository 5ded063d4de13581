#pragma once

#include "platform/ldap/server_connection.h"

#include <memory>
#include <optional>
#include <vector>

namespace rehome::ldap {

/// One search on one connection, entry by entry: requests page after page, reads the rest of ranged
/// attributes, and skips search references. DNs, of entries and in values, are escaped as Active
/// Directory does.
class SearchStream : public engine::Entries {
public:
    /// Sends the search and waits for its first message. `pageSize`: 1 to 1000, or 0 for no pages.
    /// Once `session` has been destroyed, next() throws; null: the search has no session. Throws
    /// Failure.
    SearchStream(std::shared_ptr<ServerConnection> connection, engine::SearchRequest request,
                 int pageSize, const std::shared_ptr<const void>& session = nullptr);
    ~SearchStream() override;
    SearchStream(const SearchStream&) = delete;
    SearchStream& operator=(const SearchStream&) = delete;

    /// Throws DirectoryFailed if the directory itself fails, or Failure if a part of the result is
    /// missing or cannot be decoded.
    std::optional<engine::Entry> next() override;

private:
    /// An attribute's name in entries.
    struct Name {
        QByteArray sent;
        QString text;
        bool holdsDns;
        bool ranged; ///< whether an entry may hold only a part of them
    };

    void receive();
    std::optional<engine::Entry> nextAsSent();
    void completeRanges(engine::Entry& entry);
    engine::Entry decode(::ldapmsg* message);
    const Name& nameOf(QByteArrayView sent);
    QString text(QByteArrayView utf8) const;
    /// Returns a DN, escaped as Active Directory does. Throws Failure if it is not UTF-8.
    QString decodeDn(QByteArrayView name) const;
    /// Throws Failure: the response is unusable.
    [[noreturn]] void refuse(const QString& why) const;
    Attempt attempt() const { return {Stage::Search, m_request.base}; }

    std::shared_ptr<ServerConnection> m_connection;
    std::optional<std::weak_ptr<const void>> m_session;
    std::shared_ptr<const void> m_paging; ///< until the last page has come
    engine::SearchRequest m_request;
    int m_pageSize;
    int m_number = 0;
    Message m_received;
    ::ldapmsg* m_next = nullptr; ///< the next of m_received; null: none
    bool m_awaited = true;       ///< whether the final message is still to come
    bool m_ranged = false;       ///< whether the entry decoded last has a ranged attribute
    std::vector<Name> m_names;   ///< in the order in which they came
    size_t m_nextName = 0;       ///< where the search for the next name begins
    qsizetype m_maxValues = 0;   ///< of an entry so far
};

} // namespace rehome::ldap
