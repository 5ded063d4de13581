#include "platform/engine/attribute_kind.h"

#include <algorithm>
#include <array>

namespace rehome::engine {

namespace {

using Kind = AttributeKind;
using Syntax = AttributeKind::Syntax;

/// In alphabetical order, for the search. Values of other attributes are taken for text; this only
/// shows in filters of a rehearsal.
constexpr std::array Kinds{
    Kind{"c", Syntax::Text, Kind::Naming},
    Kind{"cn", Syntax::Text, Kind::Naming},
    Kind{"configurationNamingContext", Syntax::Dn},
    Kind{"dc", Syntax::Text, Kind::Naming},
    Kind{"defaultNamingContext", Syntax::Dn},
    Kind{"defaultObjectCategory", Syntax::Dn},
    Kind{"displayName", Syntax::Text, Kind::Naming},
    Kind{"distinguishedName", Syntax::Dn, Kind::ReadOnly},
    Kind{"dn", Syntax::Dn},
    Kind{"homeMDB", Syntax::Dn, Kind::OneValue},
    Kind{"homeMDBBL", Syntax::Dn},
    Kind{"homeMTA", Syntax::Dn, Kind::OneValue},
    Kind{"l", Syntax::Text, Kind::Naming},
    Kind{"mail", Syntax::Text, Kind::OneValue},
    Kind{"mailNickname", Syntax::Text, Kind::OneValue},
    Kind{"manager", Syntax::Dn},
    Kind{"mDBUseDefaults", Syntax::Text, Kind::OneValue},
    Kind{"member", Syntax::Dn},
    Kind{"memberOf", Syntax::Dn},
    Kind{"msExchHomePublicMDB", Syntax::Dn},
    Kind{"msExchHomeServerName", Syntax::Text, Kind::OneValue},
    Kind{"msExchMailboxGuid", Syntax::Octets, Kind::OneValue},
    Kind{"msExchMailboxSecurityDescriptor", Syntax::Octets},
    Kind{"msExchMasterAccountSid", Syntax::Octets},
    Kind{"msExchOwningServer", Syntax::Dn},
    Kind{"name", Syntax::Text, Kind::Naming | Kind::ReadOnly},
    Kind{"networkAddress", Syntax::Text, Kind::ManyValues},
    Kind{"nTSecurityDescriptor", Syntax::Octets},
    Kind{"o", Syntax::Text, Kind::Naming},
    Kind{"objectCategory", Syntax::Dn},
    Kind{"objectClass", Syntax::Text, Kind::ManyValues | Kind::ReadOnly},
    Kind{"objectGUID", Syntax::Octets, Kind::ReadOnly},
    Kind{"objectSid", Syntax::Octets},
    Kind{"ou", Syntax::Text, Kind::Naming},
    Kind{"proxyAddresses", Syntax::Text, Kind::ManyValues},
    Kind{"schemaNamingContext", Syntax::Dn},
    Kind{"sIDHistory", Syntax::Octets},
    Kind{"thumbnailPhoto", Syntax::Octets},
    Kind{"userCertificate", Syntax::Octets},
};

} // namespace

const AttributeKind& attributeKind(QByteArrayView name) {
    static constexpr Kind Unknown{};
    const auto compared = [&](const Kind& kind) {
        return qstrnicmp(kind.name.data(), kind.name.size(), name.data(), name.size());
    };
    const auto* found = std::partition_point(Kinds.begin(), Kinds.end(),
                                             [&](const Kind& kind) { return compared(kind) < 0; });
    return found != Kinds.end() && compared(*found) == 0 ? *found : Unknown;
}

std::span<const AttributeKind> attributeKinds() {
    return Kinds;
}

} // namespace rehome::engine
