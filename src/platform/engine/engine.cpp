#include "platform/engine/engine.h"

#include <algorithm>

namespace rehome::engine {

namespace {

QList<QByteArray> copied(const Entry::Values& values) {
    QList<QByteArray> copies;
    copies.reserve(values.size());
    for (qsizetype i = 0; i < values.size(); ++i)
        copies += values[i].toByteArray();
    return copies;
}

} // namespace

const Entry::Part* Entry::find(const QString& name) const {
    const auto found = std::find_if(m_parts.begin(), m_parts.end(), [&](const Part& part) {
        return isSameAttribute(part.name, name);
    });
    return found == m_parts.end() ? nullptr : &*found;
}

Entry::Values Entry::view(const Part& part) const {
    Values values;
    values.m_octets = m_octets.data();
    values.m_values = m_values.data() + part.first;
    values.m_count = part.count;
    return values;
}

Entry::Values Entry::view(const QString& name) const {
    const Part* part = find(name);
    return part ? view(*part) : Values();
}

QList<QByteArray> Entry::values(const QString& name) const {
    return copied(view(name));
}

QString Entry::text(const QString& name) const {
    const Values found = view(name);
    return found.isEmpty() ? QString() : QString::fromUtf8(found[0]);
}

std::vector<Attribute> Entry::attributes() const {
    std::vector<Attribute> all;
    for (const Part& part : m_parts)
        all.push_back({part.name, copied(view(part))});
    return all;
}

void Entry::setValues(const QString& name, const QList<QByteArray>& values) {
    // The old values stay in m_values and m_octets as garbage; entries are rarely changed.
    std::erase_if(m_parts, [&](const Part& part) { return isSameAttribute(part.name, name); });
    if (values.isEmpty())
        return;
    begin(name);
    for (const QByteArray& value : values)
        add(value);
}

void Entry::begin(const QString& name) {
    m_parts.push_back({name, static_cast<qsizetype>(m_values.size()), 0});
}

void Entry::add(QByteArrayView value) {
    m_values.push_back({static_cast<qsizetype>(m_octets.size()), value.size()});
    m_octets.append(value.data(), static_cast<size_t>(value.size()));
    ++m_parts.back().count;
}

void Entry::reserve(qsizetype values, qsizetype octets) {
    m_parts.reserve(static_cast<size_t>(values));
    m_values.reserve(static_cast<size_t>(values));
    m_octets.reserve(static_cast<size_t>(octets));
}

} // namespace rehome::engine
