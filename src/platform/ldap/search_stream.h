#pragma once

#include "platform/ldap/connection.h"

#include <memory>
#include <optional>

namespace rehome::ldap {

/// One search on one connection, entry by entry: asks for page after page, fetches the rest of
/// ranged attributes, and passes over search references. Distinguished names, of entries and in
/// values, come in Active Directory's spelling.
class SearchStream : public engine::Entries {
public:
    /// Sends the search and waits for its first message. `pageSize` 0: not in pages. Throws
    /// Failure.
    SearchStream(std::shared_ptr<Connection> connection, engine::SearchRequest request,
                 int pageSize);
    ~SearchStream() override;
    SearchStream(const SearchStream&) = delete;
    SearchStream& operator=(const SearchStream&) = delete;

    /// Throws Failure where anything is missing or cannot be decoded.
    std::optional<engine::Entry> next() override;

private:
    std::optional<engine::Entry> nextAsSent();
    void completeRanges(engine::Entry& entry);
    engine::Entry decode(const Message& message) const;
    /// Throws Failure: what was sent cannot be taken for an answer.
    [[noreturn]] void refuse(const QString& why) const;
    Attempt attempt() const { return {Stage::Search, m_request.base}; }

    std::shared_ptr<Connection> m_connection;
    engine::SearchRequest m_request;
    int m_pageSize;
    int m_number = 0;
    bool m_finished = false;
    Message m_first;
};

} // namespace rehome::ldap
