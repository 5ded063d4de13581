// slapd knows no <GUID=…>. The linker puts these two between the engine and the client library;
// they turn such a base into the distinguished name. Its first four bytes, in hexadecimal digits,
// are the number of the user, least significant byte first. REHOME_BENCH_USERS names the users'
// container; without it nothing is turned.

#include <ldap.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

// The linker knows the wrapped functions by these names only.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

int __real_ldap_search_ext(LDAP*, const char*, int, const char*, char**, int, LDAPControl**,
                           LDAPControl**, struct timeval*, int, int*);
int __real_ldap_modify_ext(LDAP*, const char*, LDAPMod**, LDAPControl**, LDAPControl**, int*);
int __wrap_ldap_search_ext(LDAP*, const char*, int, const char*, char**, int, LDAPControl**,
                           LDAPControl**, struct timeval*, int, int*);
int __wrap_ldap_modify_ext(LDAP*, const char*, LDAPMod**, LDAPControl**, LDAPControl**, int*);
}

namespace {

std::string knownToSlapd(const char* base) {
    static const char* const users = std::getenv("REHOME_BENCH_USERS");
    constexpr char start[] = "<GUID=";
    if (!users || !base || std::strncmp(base, start, std::strlen(start)) != 0)
        return base ? base : "";
    const std::string digits(base + std::strlen(start), 8);
    const auto number = __builtin_bswap32(std::uint32_t(std::strtoul(digits.c_str(), nullptr, 16)));
    char name[32];
    std::snprintf(name, sizeof name, "cn=user%05u,", number);
    return std::string(name) + users;
}

} // namespace

int __wrap_ldap_search_ext(LDAP* handle, const char* base, int scope, const char* filter,
                           char** attributes, int typesOnly, LDAPControl** server,
                           LDAPControl** client, struct timeval* limit, int size, int* number) {
    return __real_ldap_search_ext(handle, knownToSlapd(base).c_str(), scope, filter, attributes,
                                  typesOnly, server, client, limit, size, number);
}

int __wrap_ldap_modify_ext(LDAP* handle, const char* name, LDAPMod** changes, LDAPControl** server,
                           LDAPControl** client, int* number) {
    return __real_ldap_modify_ext(handle, knownToSlapd(name).c_str(), changes, server, client,
                                  number);
}
// NOLINTEND(bugprone-reserved-identifier)
