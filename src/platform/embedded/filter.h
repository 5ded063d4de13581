#pragma once

#include "platform/embedded/comparison.h"
#include "platform/embedded/object.h"

#include <QSet>

namespace rehome::embedded {

/// A search filter, matched by libldb. Comparison and names must outlive it.
class Filter {
public:
    /// Throws Error where the text is none of RFC 4515's. Categories: the values of objectCategory
    /// that the organisation has.
    Filter(const QString& text, const Comparison& comparison, const AttributeNames& names,
           const QSet<QByteArray>& categories);

    /// Throws Error where libldb cannot tell.
    bool matches(const Object& object);
    const LdbFilter& tree() const { return *m_tree; }

private:
    struct Asked {
        const char* name;
        int number;
        std::vector<ldb_val> values; ///< of the object at hand
    };

    void resolveCategories(LdbFilter& tree, const QSet<QByteArray>& categories) const;

    const Comparison& m_comparison;
    Talloc<LdbFilter> m_tree;
    std::vector<Asked> m_asked;
    bool m_asksForName = false;
    std::vector<ldb_message_element> m_elements;
};

} // namespace rehome::embedded
