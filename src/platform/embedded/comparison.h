#pragma once

#include "platform/embedded/ldb_api.h"

namespace rehome::embedded {

/// How values compare, after Active Directory: distinguished names by their components, identifiers
/// and descriptors by their bytes, everything else as text without letter case or needless blanks.
/// Must outlive the context that it is installed in.
class Comparison {
public:
    Comparison();
    Comparison(const Comparison&) = delete;
    Comparison& operator=(const Comparison&) = delete;

    void installIn(ldb_context& context);

private:
    static const ldb_schema_attribute* attribute(ldb_context*, void* self, const char* name);

    ldb_schema_syntax m_nameSyntax{};
    ldb_schema_syntax m_octetSyntax{};
    ldb_schema_syntax m_textSyntax{};
    ldb_schema_attribute m_name{};
    ldb_schema_attribute m_octets{};
    ldb_schema_attribute m_text{};
};

} // namespace rehome::embedded
