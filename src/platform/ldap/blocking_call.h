#pragma once

#include "platform/blocking_call.h"

namespace rehome::ldap {

using platform::BlockingCall;

} // namespace rehome::ldap
