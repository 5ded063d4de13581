#include "platform/embedded/object_tree.h"

namespace rehome::embedded {

namespace {

/// The key of the name above, empty where there is none.
QByteArray keyAbove(const QByteArray& key) {
    for (qsizetype i = 0; i < key.size(); ++i) {
        if (key.at(i) == '\\')
            ++i;
        else if (key.at(i) == ',')
            return key.mid(i + 1);
    }
    return {};
}

} // namespace

ObjectTree::Place ObjectTree::reach(const QByteArray& key) {
    if (const Place known = find(key); known != Nowhere)
        return known;
    const QByteArray above = keyAbove(key);
    const Place parent = above.isEmpty() ? Nowhere : reach(above);
    const auto place = static_cast<Place>(m_nodes.size());
    m_nodes.emplace_back().parent = parent;
    if (parent != Nowhere)
        node(parent).children.push_back(place);
    m_places.insert(key, place);
    return place;
}

void ObjectTree::put(Place place, std::shared_ptr<const Object> object, int line) {
    node(place).object = std::move(object);
    node(place).line = line;
}

void ObjectTree::replace(Place place, std::shared_ptr<const Object> object) {
    node(place).object = std::move(object);
}

bool ObjectTree::isWithin(Place base, engine::Scope scope, Place place) const {
    if (scope == engine::Scope::Base || (place == base && scope == engine::Scope::Subtree))
        return place == base;
    if (scope == engine::Scope::OneLevel)
        return at(place).parent == base && !at(place).isContext;
    for (; place != Nowhere && !at(place).isContext; place = at(place).parent)
        if (at(place).parent == base)
            return true;
    return false;
}

} // namespace rehome::embedded
