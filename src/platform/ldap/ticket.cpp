#include "platform/ldap/ticket.h"

#include <QByteArray>

#include <gssapi/gssapi.h>
#include <gssapi/gssapi_krb5.h>

namespace rehome::ldap {

namespace {

struct Credential {
    gss_cred_id_t value = GSS_C_NO_CREDENTIAL;
    ~Credential() {
        OM_uint32 minor = 0;
        gss_release_cred(&minor, &value);
    }
};

struct Name {
    gss_name_t value = GSS_C_NO_NAME;
    ~Name() {
        OM_uint32 minor = 0;
        gss_release_name(&minor, &value);
    }
};

struct Buffer {
    gss_buffer_desc value{};
    ~Buffer() {
        OM_uint32 minor = 0;
        gss_release_buffer(&minor, &value);
    }
};

} // namespace

Ticket currentTicket() {
    OM_uint32 minor = 0;
    Credential credential;
    gss_OID_set_desc kerberos{1, const_cast<gss_OID>(gss_mech_krb5)};
    const OM_uint32 major = gss_acquire_cred(&minor, GSS_C_NO_NAME, GSS_C_INDEFINITE, &kerberos,
                                             GSS_C_INITIATE, &credential.value, nullptr, nullptr);
    if (GSS_ERROR(major))
        return {};
    Name name;
    const OM_uint32 inquired =
        gss_inquire_cred(&minor, credential.value, &name.value, nullptr, nullptr, nullptr);
    if (GSS_ROUTINE_ERROR(inquired) == GSS_S_CREDENTIALS_EXPIRED)
        return {Ticket::State::Expired, {}};
    Buffer text;
    if (GSS_ERROR(inquired) ||
        GSS_ERROR(gss_display_name(&minor, name.value, &text.value, nullptr)))
        return {};
    const QString principal =
        QString::fromUtf8(static_cast<const char*>(text.value.value), qsizetype(text.value.length));
    return {Ticket::State::Valid, principal.mid(principal.lastIndexOf(u'@') + 1)};
}

} // namespace rehome::ldap
