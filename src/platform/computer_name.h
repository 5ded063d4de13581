#pragma once

#include <QString>

namespace rehome::platform {

/// This computer's NetBIOS name: the short host name in capitals, of which 15 characters count (RFC
/// 1001 section 14.1, where the sixteenth is the kind of service). Empty where the host has no
/// name.
QString computerName();

} // namespace rehome::platform
