#pragma once

#include "platform/ldap/failure.h"
#include "platform/ldap/ldap_library.h"

#include <functional>

namespace rehome::ldap {

/// Authenticates the user on a connected handle, without a prompt: with the mechanism that libldap
/// is set to; otherwise with EXTERNAL if `isLocal` (ldapi); otherwise with GSS-SPNEGO or GSSAPI
/// and the user's Kerberos ticket. Never in cleartext: if neither TLS nor ldapi protects the
/// connection, SASL must encrypt it. `await` returns the final message of a request; what it throws
/// passes through. Returns the result, with the library's diagnostic message unless successful.
Result authenticate(::ldap* handle, bool isLocal, const std::function<Message(int request)>& await);

} // namespace rehome::ldap
