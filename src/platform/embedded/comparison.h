#pragma once

#include "platform/embedded/ldb_api.h"

#include <QByteArray>

namespace rehome::embedded {

/// How values compare, after Active Directory: distinguished names by their components, identifiers
/// and descriptors by their bytes, everything else as text without letter case or needless blanks.
class Comparison {
public:
    /// Throws Error where libldb does not start.
    Comparison();
    Comparison(const Comparison&) = delete;
    Comparison& operator=(const Comparison&) = delete;

    /// The same bytes for all spellings of a distinguished name, its components parted by commas
    /// and the commas within them escaped. Empty where the text is none, and for the root's.
    QByteArray nameKey(const QByteArray& name) const;
    /// The same bytes for all texts that compare equal.
    static QByteArray textKey(const QByteArray& text);

    /// libldb with these rules.
    ldb_context& context() const { return *m_context; }

private:
    static const ldb_schema_attribute* attribute(ldb_context*, void* self, const char* name);

    ldb_schema_syntax m_nameSyntax{};
    ldb_schema_syntax m_octetSyntax{};
    ldb_schema_syntax m_textSyntax{};
    ldb_schema_attribute m_name{};
    ldb_schema_attribute m_octets{};
    ldb_schema_attribute m_text{};
    Talloc<ldb_context> m_context; ///< last: it uses the others until it is gone
};

} // namespace rehome::embedded
