#pragma once

#include "platform/directory_services.h"
#include "platform/engine/engine.h"

#include <memory>
#include <optional>

namespace rehome::adsi {

/// The session of a connection, shared with its record sets; empty once the connection is closed.
struct ConnectionSession {
    std::unique_ptr<engine::Session> session;
};

/// A record set over a search's entries, read as they arrive while its connection is open.
class EntryRecordSet final : public platform::RecordSet {
public:
    /// Waits for the first entry. Throws Error where the search fails before it.
    EntryRecordSet(std::shared_ptr<ConnectionSession> connection,
                   const engine::SearchRequest& request);

    bool Bof() const override { return m_empty; }
    bool Eof() const override { return !m_current; }
    void MoveFirst() override;
    void MoveNext() override;
    void Close() override;
    platform::Field Fields(const QString& name) const override;

private:
    void requireRecord(const char* operation) const;

    // The entries need the session, so it is declared, and therefore destroyed, around them.
    std::shared_ptr<ConnectionSession> m_connection;
    std::unique_ptr<engine::Entries> m_entries;
    QStringList m_columns;
    std::optional<engine::Entry> m_current;
    bool m_empty = true;
    bool m_onFirst = true;
};

} // namespace rehome::adsi
