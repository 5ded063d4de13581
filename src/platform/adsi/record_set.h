#pragma once

#include "platform/adsi/attribute_syntax.h"
#include "platform/engine/engine.h"
#include "platform/value.h"

#include <memory>
#include <optional>
#include <vector>

namespace rehome::adsi {

/// The session of a connection, shared with its record sets; empty once the connection is closed.
struct ConnectionSession {
    std::unique_ptr<engine::Session> session;
};

/// The result of a search, read forwards only, as the records arrive and while the connection is
/// open. It begins on its first record, if it has one. Its destruction abandons the search.
class RecordSet {
public:
    /// Waits for the first entry; may end the process. Throws Error if the search fails.
    RecordSet(std::shared_ptr<ConnectionSession> connection, const engine::SearchRequest& request);

    /// Returns true if the set has no record.
    bool Bof() const { return m_empty; }
    /// Returns true if the last record has been passed, or there is none.
    bool Eof() const { return !m_current; }
    /// Throws Error if the set has no record, or its first has been passed.
    void MoveFirst();
    /// Waits for the next record; may end the process. Throws Error at the end, or if the search
    /// fails.
    void MoveNext();
    /// Ends the search. Nothing can be read afterwards.
    void Close();
    /// Returns the current record's value of a column (case-insensitive). Throws Error if the
    /// search did not request the column, or there is no current record.
    platform::Field Fields(const QString& name) const;
    /// Returns the column's text in UTF-8, valid until the set moves on. Faster than Fields(), for
    /// long lists. Throws Error also if it is null or not a single text.
    QByteArrayView Utf8(const QString& name) const;
    /// Returns the column's values as the directory sent them, valid until the set moves on.
    engine::Entry::Values Octets(const QString& name) const;

private:
    struct Column {
        QString Name;
        Syntax Shape;
    };

    void requireRecord(const char* operation) const;
    const Column& column(const QString& name) const;

    // Before m_entries, which need the session until they are destroyed.
    std::shared_ptr<ConnectionSession> m_connection;
    std::unique_ptr<engine::Entries> m_entries;
    std::vector<Column> m_columns;
    std::optional<engine::Entry> m_current;
    bool m_empty = true;
    bool m_onFirst = true;
};

} // namespace rehome::adsi
