#pragma once

#include "platform/error.h"
#include "platform/text_case.h"

#include <QHash>
#include <QString>

#include <vector>

namespace rehome::topology {

/// An ordered list of items, each optionally under a text key that is looked up without regard to
/// letter case.
template <class Item>
class KeyedCollection {
public:
    void Add(Item item) { m_items.push_back(std::move(item)); }

    /// Throws Error if the key is present already.
    void Add(Item item, const QString& key) {
        const QString folded = platform::upperCase(key);
        if (m_positions.contains(folded))
            throw Error(QStringLiteral("There are two entries of the name \"%1\", and only one can "
                                       "be kept.")
                            .arg(key));
        m_items.push_back(std::move(item));
        m_positions.insert(folded, m_items.size() - 1);
    }

    /// Returns null if there is no such key.
    const Item* find(const QString& key) const {
        const auto found = m_positions.constFind(platform::upperCase(key));
        return found == m_positions.constEnd() ? nullptr : &m_items[*found];
    }

    /// Throws Error if there is no such key.
    const Item& at(const QString& key) const {
        if (const Item* found = find(key))
            return *found;
        throw Error(QStringLiteral("There is no entry of the name \"%1\".").arg(key));
    }

    qsizetype Count() const { return static_cast<qsizetype>(m_items.size()); }
    auto begin() const { return m_items.begin(); }
    auto end() const { return m_items.end(); }

private:
    std::vector<Item> m_items;
    QHash<QString, std::size_t> m_positions;
};

/// An ordered list of items under the keys "1", "2" and so on, which cost nothing.
template <class Item>
class NumberedCollection {
public:
    /// Under the next number.
    void Add(Item item) { m_items.push_back(std::move(item)); }

    /// Returns null if there is no such number, counted from 1.
    const Item* find(qsizetype number) const {
        return number < 1 || number > Count() ? nullptr : &m_items[std::size_t(number - 1)];
    }

    qsizetype Count() const { return static_cast<qsizetype>(m_items.size()); }
    auto begin() const { return m_items.begin(); }
    auto end() const { return m_items.end(); }

private:
    std::vector<Item> m_items;
};

/// True when a lookup of the key succeeds; never fails.
template <class Collection>
bool CollectionContains(const QString& key, const Collection& collection) {
    return collection.find(key) != nullptr;
}

} // namespace rehome::topology
