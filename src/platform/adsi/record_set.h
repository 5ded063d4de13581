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

/// The result of a search: positioned on its first record when it has one, read forwards only, as
/// the records arrive and while its connection is open. Letting it go before its end abandons the
/// search.
class RecordSet {
public:
    /// Waits for the first entry. Throws Error where the search fails before it.
    RecordSet(std::shared_ptr<ConnectionSession> connection, const engine::SearchRequest& request);

    /// True when the set holds no record.
    bool Bof() const { return m_empty; }
    /// True when the last record has been passed, or there is none.
    bool Eof() const { return !m_current; }
    /// Throws Error where the set holds no record, or its first has been passed.
    void MoveFirst();
    /// Throws Error at the end, or where the search breaks off.
    void MoveNext();
    /// Ends the search; nothing can be read afterwards.
    void Close();
    /// The current record's value of a column named in any letter case. Throws Error for a column
    /// that was not asked for, and where there is no current record.
    platform::Field Fields(const QString& name) const;
    /// The same column's text, in UTF-8, until the set moves on: a long list need not make texts of
    /// it. Throws Error also where it is null or not a single text.
    QByteArrayView Utf8(const QString& name) const;
    /// The same column's values as the directory sent them, until the set moves on.
    engine::Entry::Values Octets(const QString& name) const;

private:
    struct Column {
        QString Name;
        Syntax Shape;
    };

    void requireRecord(const char* operation) const;
    const Column& column(const QString& name) const;

    // The entries need the session, so it is declared, and therefore destroyed, around them.
    std::shared_ptr<ConnectionSession> m_connection;
    std::unique_ptr<engine::Entries> m_entries;
    std::vector<Column> m_columns;
    std::optional<engine::Entry> m_current;
    bool m_empty = true;
    bool m_onFirst = true;
};

} // namespace rehome::adsi
