#pragma once

#include "platform/embedded/object.h"

#include <QHash>

#include <memory>
#include <optional>
#include <vector>

namespace rehome::embedded {

/// The objects of an organisation, each at its place below the one that its name says. Places are
/// also those of names that no object has but some stand below.
class ObjectTree {
public:
    using Place = int;
    static constexpr Place Nowhere = -1;

    struct Node {
        Place parent = Nowhere;
        std::vector<Place> children;
        std::shared_ptr<const Object> object; ///< none where a name only leads to others
        int line = 0;                         ///< of the file; tells the objects' order
        bool isContext = false;               ///< a search from above stops here
    };

    /// The place of a name, given by its Comparison::nameKey, which must not be empty.
    Place reach(const QByteArray& key);
    void put(Place place, std::shared_ptr<const Object> object, int line);
    void replace(Place place, std::shared_ptr<const Object> object);
    void makeContext(Place place) { node(place).isContext = true; }

    /// One more than the last place; the first is 0.
    Place end() const { return static_cast<Place>(m_nodes.size()); }
    Place find(const QByteArray& key) const { return m_places.value(key, Nowhere); }
    const Node& at(Place place) const { return m_nodes[static_cast<size_t>(place)]; }

    /// Whether a search from `base` comes to the place.
    bool isWithin(Place base, engine::Scope scope, Place place) const;
    /// Calls `visit` with all places of objects that a search from `base` comes to.
    template <class Visit>
    void walk(Place base, engine::Scope scope, Visit&& visit) const {
        if (scope != engine::Scope::OneLevel && at(base).object)
            visit(base);
        if (scope == engine::Scope::Base)
            return;
        std::vector<Place> open = at(base).children;
        while (!open.empty()) {
            const Place place = open.back();
            open.pop_back();
            const Node& reached = at(place);
            if (reached.isContext)
                continue;
            if (reached.object)
                visit(place);
            if (scope == engine::Scope::Subtree)
                open.insert(open.end(), reached.children.begin(), reached.children.end());
        }
    }

private:
    Node& node(Place place) { return m_nodes[static_cast<size_t>(place)]; }

    std::vector<Node> m_nodes;
    QHash<QByteArray, Place> m_places;
};

} // namespace rehome::embedded
