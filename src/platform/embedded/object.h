#pragma once

#include "platform/engine/attribute_kind.h"
#include "platform/engine/engine.h"

#include <QHash>

#include <optional>
#include <vector>

namespace rehome::embedded {

/// The attributes of an organisation by number: each spelled as it first came, found in any letter
/// case.
class AttributeNames {
public:
    struct Name {
        QString text;
        bool ofRehearsal = false; ///< isRehearsalAttribute
        engine::AttributeKind kind;
    };

    /// The attribute's number, a new one where it has none.
    int number(QByteArrayView name);
    /// Less than 0 where it has none.
    int find(const QByteArray& name) const { return m_numbers.value(name.toLower(), -1); }
    const Name& at(int number) const { return m_names[static_cast<size_t>(number)]; }
    int count() const { return int(m_names.size()); }

private:
    std::vector<Name> m_names;
    QHash<QByteArray, int> m_numbers;
};

/// One object. Texts and values are shared with what they were taken from.
struct Object {
    struct Attribute {
        int number = 0; ///< AttributeNames
        QList<QByteArray> values;
    };

    /// Empty where the object lacks the attribute.
    QList<QByteArray> values(int number) const;
    /// Replaces the values; with none, the attribute goes.
    void setValues(int number, const QList<QByteArray>& values);
    const Attribute* find(int number) const;

    QString distinguishedName;
    std::vector<Attribute> attributes;
};

/// Whether a value stands among the values more than once.
bool hasTwice(QList<QByteArray> values);

/// Which attributes a search asks for.
class Selection {
public:
    /// All where `attributes` is empty or contains "*".
    Selection(const QStringList& attributes, const AttributeNames& names);
    engine::Entry entry(const Object& object) const;

private:
    const AttributeNames& m_names;
    bool m_all;
    bool m_name;           ///< the object's own, which is kept beside the attributes
    QStringList m_allowed; ///< answered with all that the organisation knows, unless the file tells
    std::vector<int> m_numbers;
};

} // namespace rehome::embedded
