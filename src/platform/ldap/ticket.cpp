#include "platform/ldap/ticket.h"

#include <krb5.h>

#include <memory>

namespace rehome::ldap {

namespace {

struct ContextFree {
    void operator()(krb5_context context) const { krb5_free_context(context); }
};
struct CacheClose {
    krb5_context context;
    void operator()(krb5_ccache cache) const { krb5_cc_close(context, cache); }
};
struct PrincipalFree {
    krb5_context context;
    void operator()(krb5_principal principal) const { krb5_free_principal(context, principal); }
};
using Context = std::unique_ptr<std::remove_pointer_t<krb5_context>, ContextFree>;
using Cache = std::unique_ptr<std::remove_pointer_t<krb5_ccache>, CacheClose>;
using Principal = std::unique_ptr<std::remove_pointer_t<krb5_principal>, PrincipalFree>;

} // namespace

Ticket currentTicket() {
    krb5_context opened = nullptr;
    if (krb5_init_context(&opened) != 0)
        return {};
    const Context context(opened);
    krb5_ccache cacheFound = nullptr;
    if (krb5_cc_default(opened, &cacheFound) != 0)
        return {};
    const Cache cache(cacheFound, {opened});
    krb5_principal holder = nullptr;
    if (krb5_cc_get_principal(opened, cacheFound, &holder) != 0)
        return {};
    const Principal owner(holder, {opened});
    const QString realm = QString::fromUtf8(holder->realm.data, qsizetype(holder->realm.length));
    char* name = nullptr;
    krb5_unparse_name(opened, holder, &name);
    const QString principal = QString::fromUtf8(name);
    krb5_free_unparsed_name(opened, name);

    krb5_principal service = nullptr;
    if (krb5_build_principal(opened, &service, holder->realm.length, holder->realm.data, "krbtgt",
                             realm.toUtf8().constData(), nullptr) != 0)
        return {};
    const Principal granting(service, {opened});
    krb5_creds wanted{};
    wanted.client = holder;
    wanted.server = service;
    krb5_creds found{};
    if (krb5_cc_retrieve_cred(opened, cacheFound, 0, &wanted, &found) != 0)
        return {Ticket::State::None, realm, principal};
    const krb5_timestamp end = found.times.endtime;
    krb5_free_cred_contents(opened, &found);
    krb5_timestamp now = 0;
    krb5_timeofday(opened, &now);
    // Times are unsigned 32-bit seconds behind a signed type.
    return {uint32_t(now) < uint32_t(end) ? Ticket::State::Valid : Ticket::State::Expired, realm,
            principal};
}

} // namespace rehome::ldap
