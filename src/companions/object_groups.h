#pragma once

#include "platform/engine/engine.h"

#include <map>
#include <vector>

namespace rehome::companions {

/// The objects are owned elsewhere.
using Objects = std::vector<const engine::Entry*>;

inline Objects pointers(const std::vector<engine::Entry>& entries) {
    Objects objects;
    for (const engine::Entry& entry : entries)
        objects.push_back(&entry);
    return objects;
}

/// Groups of two and more objects that have a key in common, by that key. `keysOf` returns the keys
/// of an object, a QStringList.
std::map<QString, Objects> groupsByKey(const Objects& objects, const auto& keysOf) {
    std::map<QString, Objects> groups;
    for (const engine::Entry* object : objects)
        for (const QString& key : keysOf(*object))
            groups[key].push_back(object);
    std::erase_if(groups, [](const auto& group) { return group.second.size() < 2; });
    return groups;
}

} // namespace rehome::companions
