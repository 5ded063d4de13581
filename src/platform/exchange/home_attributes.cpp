#include "platform/exchange/home_attributes.h"

#include <algorithm>

namespace rehome::exchange {

const HomeAttribute* findHomeAttribute(const QString& name) {
    const auto* found = std::find_if(
        HomeAttributes.begin(), HomeAttributes.end(), [&](const HomeAttribute& attribute) {
            return name.compare(attribute.name, Qt::CaseInsensitive) == 0;
        });
    return found == HomeAttributes.end() ? nullptr : found;
}

QStringList homeAttributeNames() {
    QStringList names;
    for (const HomeAttribute& attribute : HomeAttributes)
        names += attribute.name;
    return names;
}

} // namespace rehome::exchange
