#pragma once

#include <string_view>

namespace rehome::engine {

/// Whether an attribute, named in any letter case, holds octet strings (attributeSyntax of the
/// Active Directory schema). Others of this kind than people with mailboxes have are not known.
bool isOctetString(std::string_view attribute);

} // namespace rehome::engine
