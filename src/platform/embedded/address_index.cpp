#include "platform/embedded/address_index.h"

#include "platform/embedded/comparison.h"

#include <algorithm>

namespace rehome::embedded {

namespace {

size_t hashOf(const QByteArray& value) {
    return qHash(Comparison::textKey(value));
}

} // namespace

template <class Action>
void AddressIndex::forEachKey(const Object& object, Action&& action) const {
    for (const int number : m_numbers)
        for (const QByteArray& value : object.values(number))
            action(hashOf(value));
}

void AddressIndex::add(ObjectTree::Place place, const Object& object) {
    forEachKey(object, [&](size_t key) { m_places.emplace(key, place); });
}

void AddressIndex::remove(ObjectTree::Place place, const Object& object) {
    forEachKey(object, [&](size_t key) {
        const auto [begin, end] = m_places.equal_range(key);
        const auto found =
            std::find_if(begin, end, [&](const auto& it) { return it.second == place; });
        if (found != end)
            m_places.erase(found);
    });
}

std::optional<std::vector<size_t>> AddressIndex::keys(const LdbFilter& filter) {
    std::vector<size_t> keys;
    switch (filter.operation) {
    case LDB_OP_AND:
        for (unsigned i = 0; i < filter.u.list.num_elements; ++i)
            if (auto found = AddressIndex::keys(*filter.u.list.elements[i]))
                return found;
        return std::nullopt;
    case LDB_OP_OR:
        for (unsigned i = 0; i < filter.u.list.num_elements; ++i) {
            const auto found = AddressIndex::keys(*filter.u.list.elements[i]);
            if (!found)
                return std::nullopt;
            keys.insert(keys.end(), found->begin(), found->end());
        }
        return keys;
    case LDB_OP_EQUALITY: {
        const auto& [attribute, value] = filter.u.equality;
        if (qstricmp(attribute, "mail") != 0 && qstricmp(attribute, "proxyAddresses") != 0)
            return std::nullopt;
        return std::vector{hashOf(QByteArray(reinterpret_cast<const char*>(value.data),
                                             static_cast<qsizetype>(value.length)))};
    }
    default:
        return std::nullopt;
    }
}

std::vector<ObjectTree::Place> AddressIndex::places(const std::vector<size_t>& keys) const {
    std::vector<ObjectTree::Place> places;
    for (const size_t key : keys) {
        const auto [begin, end] = m_places.equal_range(key);
        for (auto it = begin; it != end; ++it)
            places.push_back(it->second);
    }
    return places;
}

} // namespace rehome::embedded
