#pragma once

#include "platform/error.h"
#include "topology/text_case.h"

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

    /// Throws Error where the key is present already.
    void Add(Item item, const QString& key) {
        const QString folded = upperCase(key);
        if (m_positions.contains(folded))
            throw Error(QStringLiteral("There are two entries of the name \"%1\", and only one can "
                                       "be kept.")
                            .arg(key));
        m_items.push_back(std::move(item));
        m_positions.insert(folded, m_items.size() - 1);
    }

    /// Throws Error where there is no such key.
    const Item& at(const QString& key) const {
        const auto found = m_positions.constFind(upperCase(key));
        if (found == m_positions.constEnd())
            throw Error(QStringLiteral("There is no entry of the name \"%1\".").arg(key));
        return m_items[*found];
    }

    qsizetype Count() const { return static_cast<qsizetype>(m_items.size()); }
    auto begin() const { return m_items.begin(); }
    auto end() const { return m_items.end(); }

private:
    std::vector<Item> m_items;
    QHash<QString, std::size_t> m_positions;
};

/// True when a lookup of the key succeeds; never fails.
template <class Item>
bool CollectionContains(const QString& key, const KeyedCollection<Item>& collection) {
    try {
        collection.at(key);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

} // namespace rehome::topology
