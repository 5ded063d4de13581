#include "platform/embedded/filter.h"

#include "platform/engine/escape.h"
#include "platform/error.h"

using namespace Qt::StringLiterals;

namespace rehome::embedded {

namespace {

/// libldb passes over what follows the filter's last parenthesis; RFC 4515 allows nothing there.
bool isOneGroup(const QString& filter) {
    int depth = 0;
    for (qsizetype i = 0; i < filter.size(); ++i) {
        if (filter.at(i) == u'(')
            ++depth;
        else if (filter.at(i) == u')' && --depth == 0)
            return filter.mid(i + 1).trimmed().isEmpty();
        if (depth == 0 && !filter.at(i).isSpace())
            return false;
    }
    return false;
}

ldb_val borrowed(const QByteArray& bytes) {
    // libldb declares no constant values; matching changes none.
    return {reinterpret_cast<uint8_t*>(const_cast<char*>(bytes.constData())),
            static_cast<size_t>(bytes.size())};
}

int collect(LdbFilter* tree, void* attributes) noexcept {
    if (const char* name = ldb_parse_tree_get_attr(tree))
        static_cast<std::vector<const char*>*>(attributes)->push_back(name);
    return LDB_SUCCESS;
}

} // namespace

Filter::Filter(const QString& text, const Comparison& comparison, const AttributeNames& names,
               const QSet<QByteArray>& categories)
    : m_comparison(comparison) {
    if (isOneGroup(text) && !text.contains(QChar(0)))
        m_tree.reset(ldb_parse_tree(nullptr, text.toUtf8().constData()));
    if (!m_tree)
        throw Error(u"The search filter \"%1\" cannot be read."_s.arg(text));
    resolveCategories(*m_tree, categories);

    std::vector<const char*> attributes;
    ldb_parse_tree_walk(m_tree.get(), collect, &attributes);
    for (const char* attribute : attributes) {
        m_asksForName = m_asksForName || ldb_attr_dn(attribute) == 0;
        if (const int number = names.find(attribute); number >= 0)
            m_asked.push_back({attribute, number, {}});
    }
}

/// A directory takes `objectCategory=person` for the category whose class has that name.
void Filter::resolveCategories(LdbFilter& tree, const QSet<QByteArray>& categories) const {
    switch (tree.operation) {
    case LDB_OP_AND:
    case LDB_OP_OR:
        for (unsigned i = 0; i < tree.u.list.num_elements; ++i)
            resolveCategories(*tree.u.list.elements[i], categories);
        return;
    case LDB_OP_NOT:
        resolveCategories(*tree.u.isnot.child, categories);
        return;
    case LDB_OP_EQUALITY:
        break;
    default:
        return;
    }
    const auto equality = tree.u.equality;
    const QByteArray value(reinterpret_cast<const char*>(equality.value.data),
                           static_cast<qsizetype>(equality.value.length));
    if (qstricmp(equality.attr, "objectCategory") != 0 || value.contains('='))
        return;

    // One alternative for each category of that name; none is a filter that matches nothing.
    const auto capacity = static_cast<unsigned>(categories.size());
    auto** alternatives = talloc_zero_array(&tree, LdbFilter*, capacity);
    unsigned count = 0;
    for (const QByteArray& category : categories) {
        const QString shortName = engine::firstValue(QString::fromUtf8(category)).remove(u'-');
        if (shortName.compare(QString::fromUtf8(value), Qt::CaseInsensitive) != 0)
            continue;
        auto* alternative = talloc_zero(alternatives, LdbFilter);
        alternative->operation = LDB_OP_EQUALITY;
        alternative->u.equality.attr = equality.attr;
        const auto size = static_cast<size_t>(category.size());
        void* copy = talloc_memdup(alternative, category.constData(), size + 1);
        alternative->u.equality.value = {static_cast<uint8_t*>(copy), size};
        alternatives[count++] = alternative;
    }
    tree.operation = LDB_OP_OR;
    tree.u.list = {count, alternatives};
}

bool Filter::matches(const Object& object) {
    m_elements.clear();
    for (Asked& asked : m_asked) {
        const Object::Attribute* attribute = object.find(asked.number);
        if (!attribute)
            continue;
        asked.values.clear();
        for (const QByteArray& value : attribute->values)
            asked.values.push_back(borrowed(value));
        m_elements.push_back({.flags = 0,
                              .name = asked.name,
                              .num_values = static_cast<unsigned>(asked.values.size()),
                              .values = asked.values.data()});
    }
    Talloc<ldb_dn> name;
    if (m_asksForName)
        name.reset(ldb_dn_new(nullptr, &m_comparison.context(),
                              object.distinguishedName.toUtf8().constData()));
    const ldb_message message{.dn = name.get(),
                              .num_elements = static_cast<unsigned>(m_elements.size()),
                              .elements = m_elements.data()};
    bool matched = false;
    // Without a base libldb leaves the scope to us.
    const int result = ldb_match_msg_error(&m_comparison.context(), &message, m_tree.get(), nullptr,
                                           LDB_SCOPE_BASE, &matched);
    if (result != LDB_SUCCESS)
        throw Error(u"The search filter cannot be applied: %1."_s.arg(
            QString::fromUtf8(ldb_strerror(result))));
    return matched;
}

} // namespace rehome::embedded
