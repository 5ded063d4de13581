#pragma once

#include "platform/ldap/server_connection.h"

#include <memory>
#include <optional>
#include <vector>

namespace rehome::ldap {

/// One search on one connection, entry by entry: asks for page after page, fetches the rest of
/// ranged attributes, and passes over search references. Distinguished names, of entries and in
/// values, come in Active Directory's spelling.
class SearchStream : public engine::Entries {
public:
    /// Sends the search and waits for its first message. `pageSize` 0: not in pages. Once
    /// `session` is gone, nothing more is received; null: there is none. Throws Failure.
    SearchStream(std::shared_ptr<ServerConnection> connection, engine::SearchRequest request,
                 int pageSize, const std::shared_ptr<const void>& session = nullptr);
    ~SearchStream() override;
    SearchStream(const SearchStream&) = delete;
    SearchStream& operator=(const SearchStream&) = delete;

    /// Throws DirectoryFailed, or Failure where anything is missing or cannot be decoded.
    std::optional<engine::Entry> next() override;

private:
    /// An attribute's name as entries bring it.
    struct Name {
        QByteArray sent;
        QString text;
        bool holdsNames; ///< whether the values are distinguished names
        bool ranged;     ///< whether they may be a part of them
    };

    void receive();
    std::optional<engine::Entry> nextAsSent();
    void completeRanges(engine::Entry& entry);
    engine::Entry decode(::ldapmsg* message);
    const Name& nameOf(QByteArrayView sent);
    QString text(QByteArrayView utf8) const;
    /// A distinguished name as Active Directory spells it.
    QString spelt(QByteArrayView name) const;
    /// Throws Failure: what was sent cannot be taken for an answer.
    [[noreturn]] void refuse(const QString& why) const;
    Attempt attempt() const { return {Stage::Search, m_request.base}; }

    std::shared_ptr<ServerConnection> m_connection;
    std::optional<std::weak_ptr<const void>> m_session;
    std::shared_ptr<const void> m_paging; ///< until the last page has come
    engine::SearchRequest m_request;
    int m_pageSize;
    int m_number = 0;
    Message m_received;
    ::ldapmsg* m_next = nullptr; ///< of those received
    bool m_awaited = true;       ///< whether more is to come
    bool m_ranged = false;       ///< whether the entry decoded last has a ranged attribute
    std::vector<Name> m_names;   ///< in the order in which they came
    size_t m_nextName = 0;       ///< where the next one is looked for
    qsizetype m_mostValues = 0;  ///< of an entry
};

} // namespace rehome::ldap
