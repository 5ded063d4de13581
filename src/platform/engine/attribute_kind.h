#pragma once

#include <QByteArrayView>

#include <span>

namespace rehome::engine {

/// What the Active Directory schema says of an attribute, as far as the program depends on it.
struct AttributeKind {
    enum class Syntax { Text, Dn, Octets };
    enum Trait : unsigned {
        Naming = 1,     ///< is the type of an RDN, or is shown as a name
        ReadOnly = 2,   ///< only the directory writes it
        OneValue = 4,   ///< of those that the program writes
        ManyValues = 8, ///< is a list even if it has one value
    };

    QByteArrayView name;
    Syntax syntax = Syntax::Text;
    unsigned traits = 0;

    bool is(Trait trait) const { return (traits & trait) != 0; }
    bool holdsDns() const { return syntax == Syntax::Dn; }
};

/// Returns the kind of an attribute, named in any letter case. The kind of an unknown attribute is
/// text, without a name.
const AttributeKind& attributeKind(QByteArrayView name);

/// Returns all known attributes.
std::span<const AttributeKind> attributeKinds();

} // namespace rehome::engine
