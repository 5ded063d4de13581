#include "platform/embedded/object.h"

#include "platform/embedded/rehearsal_attributes.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace rehome::embedded {

namespace {

const QString NameAttribute = u"distinguishedName"_s;
/// What an object may have, and what of it may be written: constructed, and only if asked for by
/// name.
const QStringList AllowedAttributes{u"allowedAttributes"_s, u"allowedAttributesEffective"_s};

} // namespace

int AttributeNames::number(QByteArrayView name) {
    const QByteArray folded = name.toByteArray().toLower();
    if (const auto known = m_numbers.constFind(folded); known != m_numbers.constEnd())
        return *known;
    const QString text = QString::fromLatin1(name);
    m_names.push_back({text, isRehearsalAttribute(text), engine::attributeKind(name)});
    const int number = static_cast<int>(m_names.size()) - 1;
    m_numbers.insert(folded, number);
    return number;
}

const Object::Attribute* Object::find(int number) const {
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [&](const Attribute& it) { return it.number == number; });
    return found == attributes.end() ? nullptr : &*found;
}

QList<QByteArray> Object::values(int number) const {
    const Attribute* attribute = find(number);
    return attribute ? attribute->values : QList<QByteArray>();
}

void Object::setValues(int number, const QList<QByteArray>& values) {
    std::erase_if(attributes, [&](const Attribute& it) { return it.number == number; });
    if (!values.isEmpty())
        attributes.push_back({number, values});
}

bool hasTwice(QList<QByteArray> values) {
    std::sort(values.begin(), values.end());
    return std::adjacent_find(values.begin(), values.end()) != values.end();
}

Selection::Selection(const QStringList& attributes, const AttributeNames& names)
    : m_names(names), m_all(attributes.isEmpty() || attributes.contains(u"*"_s)),
      m_name(m_all || attributes.contains(NameAttribute, Qt::CaseInsensitive)) {
    for (const QString& name : AllowedAttributes)
        if (attributes.contains(name, Qt::CaseInsensitive))
            m_allowed += name;
    for (const QString& attribute : attributes)
        if (const int number = names.find(attribute.toUtf8()); number >= 0)
            m_numbers.push_back(number);
}

engine::Entry Selection::entry(const Object& object) const {
    engine::Entry entry;
    entry.distinguishedName = object.distinguishedName;
    if (m_name && !object.distinguishedName.isEmpty())
        entry.setValues(NameAttribute, {object.distinguishedName.toUtf8()});
    for (const auto& [number, values] : object.attributes) {
        if (!m_all && std::find(m_numbers.begin(), m_numbers.end(), number) == m_numbers.end())
            continue;
        entry.begin(m_names.at(number).text);
        for (const QByteArray& value : values)
            entry.add(value);
    }
    for (const QString& allowed : m_allowed) {
        if (!entry.view(allowed).isEmpty())
            continue;
        entry.begin(allowed);
        for (int number = 0; number < m_names.count(); ++number)
            if (!m_names.at(number).ofRehearsal)
                entry.add(m_names.at(number).text.toUtf8());
    }
    return entry;
}

} // namespace rehome::embedded
