#include "platform/engine/engine.h"

#include <algorithm>

namespace rehome::engine {

namespace {

auto named(const QString& name) {
    return [&name](const Attribute& attribute) {
        return attribute.name.size() == name.size() &&
               attribute.name.compare(name, Qt::CaseInsensitive) == 0;
    };
}

const Attribute* find(const Entry& entry, const QString& name) {
    const auto found = std::find_if(entry.attributes.begin(), entry.attributes.end(), named(name));
    return found == entry.attributes.end() ? nullptr : &*found;
}

} // namespace

QList<QByteArray> Entry::values(const QString& name) const {
    const Attribute* found = find(*this, name);
    return found ? found->values : QList<QByteArray>();
}

QString Entry::text(const QString& name) const {
    const Attribute* found = find(*this, name);
    return found ? QString::fromUtf8(found->values.constFirst()) : QString();
}

void Entry::setValues(const QString& name, const QList<QByteArray>& values) {
    std::erase_if(attributes, named(name));
    if (!values.isEmpty())
        attributes.push_back({name, values});
}

} // namespace rehome::engine
