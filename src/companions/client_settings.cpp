#include "companions/client_settings.h"

#include <krb5.h>
#include <ldap.h>
#include <profile.h>

#include <limits>
#include <memory>

namespace rehome::companions {

using namespace Qt::Literals::StringLiterals;

namespace {

/// Returns whether the Kerberos library takes a server's name from DNS. With "fallback" it does so
/// only if there is no ticket for the name as given.
bool canonicalisesNames() {
    krb5_context opened = nullptr;
    if (krb5_init_context(&opened) != 0)
        return false;
    const std::unique_ptr<std::remove_pointer_t<krb5_context>, decltype(&krb5_free_context)>
        context(opened, krb5_free_context);
    profile_t found = nullptr;
    if (krb5_get_profile(opened, &found) != 0)
        return false;
    const std::unique_ptr<std::remove_pointer_t<profile_t>, decltype(&profile_release)> profile(
        found, profile_release);
    int isOn = 1;
    const auto error = profile_get_boolean(found, "libdefaults", "dns_canonicalize_hostname",
                                           nullptr, isOn, &isOn);
    return error != 0 || isOn != 0; // "fallback" is not a boolean
}

struct LdapSettings {
    int certificates = LDAP_OPT_X_TLS_DEMAND;
    ber_len_t maxStrength = std::numeric_limits<ber_len_t>::max(); ///< of SASL; 1 only signs
};

/// Reads what ldap.conf and the environment say from a new handle, which connects to nothing.
LdapSettings ldapSettings() {
    LdapSettings settings;
    LDAP* handle = nullptr;
    if (ldap_initialize(&handle, nullptr) != LDAP_SUCCESS)
        return settings;
    ldap_get_option(handle, LDAP_OPT_X_TLS_REQUIRE_CERT, &settings.certificates);
    ldap_get_option(handle, LDAP_OPT_X_SASL_SSF_MAX, &settings.maxStrength);
    ldap_unbind_ext(handle, nullptr, nullptr);
    return settings;
}

} // namespace

QStringList clientSettingRemarks() {
    QStringList remarks;
    if (canonicalisesNames())
        remarks +=
            u"Kerberos asks DNS for the full names of servers, so a forged response can lead "
            "to another computer of the realm. Set dns_canonicalize_hostname = false and "
            "rdns = false in the section [libdefaults] of krb5.conf."_s;
    const LdapSettings ldap = ldapSettings();
    const QString anyway = u" Rehome is not affected, but ldapmodify and ldapsearch are."_s;
    if (ldap.certificates != LDAP_OPT_X_TLS_DEMAND && ldap.certificates != LDAP_OPT_X_TLS_HARD)
        remarks += u"TLS_REQCERT in ldap.conf accepts certificates that are not trusted. Set it to "
                   "demand."_s +
                   anyway;
    if (ldap.maxStrength <= 1)
        remarks +=
            u"SASL_SECPROPS in ldap.conf switches encryption off (maxssf). Remove maxssf."_s +
            anyway;
    return remarks;
}

} // namespace rehome::companions
