#pragma once

#include "platform/waiting.h"

namespace rehome::ldap {

using platform::awaitEvent;

} // namespace rehome::ldap
