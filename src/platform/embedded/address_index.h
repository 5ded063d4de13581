#pragma once

#include "platform/embedded/ldb_api.h"
#include "platform/embedded/object_tree.h"

#include <unordered_map>

namespace rehome::embedded {

/// Finds objects by e-mail address: by values of mail and proxyAddresses in any letter case.
class AddressIndex {
public:
    explicit AddressIndex(AttributeNames& names)
        : m_numbers{names.number("mail"), names.number("proxyAddresses")} {}

    void add(ObjectTree::Place place, const Object& object);
    void remove(ObjectTree::Place place, const Object& object);

    /// What to look for where only objects with certain addresses can match the filter, else none.
    static std::optional<std::vector<size_t>> keys(const LdbFilter& filter);
    /// All places whose objects may have an address of the keys, some perhaps more than once.
    std::vector<ObjectTree::Place> places(const std::vector<size_t>& keys) const;

private:
    template <class Action>
    void forEachKey(const Object& object, Action&& action) const;

    int m_numbers[2];
    /// By hashes: what is found is matched with the filter anyway.
    std::unordered_multimap<size_t, ObjectTree::Place> m_places;
};

} // namespace rehome::embedded
