#pragma once

#include "platform/embedded/comparison.h"
#include "platform/embedded/ldb_api.h"
#include "platform/embedded/recipient_policy.h"
#include "platform/engine/engine.h"

#include <QByteArray>
#include <QString>

#include <functional>

namespace rehome::embedded {

/// A libldb database in a temporary file that has no name any more once it is open, so that nothing
/// is left however the process ends. Every failure is thrown as Error with libldb's own words.
class Database {
public:
    Database();

    /// Null where the text is not a distinguished name.
    Talloc<ldb_dn> name(const QString& text) const;
    /// The same bytes for all spellings of a name.
    static QByteArray key(ldb_dn& name);

    /// One LDIF record. Throws Error without a place.
    Talloc<ldb_message> readRecord(const QByteArray& ldif) const;

    /// Runs `fill` in one transaction.
    void load(const std::function<void()>& fill);
    void add(const ldb_message& record);
    /// Replaces values of one object in one transaction.
    void modify(const QString& name, const Changes& changes);

    /// Throws Error where the filter is none of RFC 4515's.
    Talloc<LdbFilter> filter(const QString& text) const;
    /// Complete records in no particular order.
    Talloc<ldb_result> search(ldb_dn& base, engine::Scope scope, LdbFilter& filter) const;

private:
    void check(int result) const;
    static void keepMessage(void* self, ldb_debug_level level, const char* format, va_list values);

    mutable QString m_lastMessage;
    Comparison m_comparison;
    Talloc<ldb_context> m_context; ///< last: it uses the other two until it is gone
};

/// All attributes of a record, under the names that it gives them. `name` becomes the entry's.
engine::Entry entryOf(const ldb_message& record, const QString& name);

} // namespace rehome::embedded
