#include "platform/ldap/authentication.h"

#include <ldap.h>
#include <sasl/sasl.h>

namespace rehome::ldap {

using namespace Qt::Literals::StringLiterals;

namespace {

/// The minimum SASL security strength factor without TLS. 1 only signs; 56 admits the weakest
/// Kerberos cipher (DES).
constexpr ber_len_t MinSsf = 56;

/// All properties of the SASL layer, so that SASL_SECPROPS of ldap.conf can neither weaken nor
/// break it. A domain controller refuses to encrypt twice.
constexpr char WithinTls[] = "noanonymous,noplain,minssf=0,maxssf=0,maxbufsize=65536";
constexpr char WithoutTls[] = "noanonymous,noplain,minssf=56,maxssf=65535,maxbufsize=65536";

/// What ldap.conf says of the user. Every other question of SASL gets the mechanism's default.
struct SaslAnswers {
    QByteArray name, authorization, realm;
};

int answerSasl(LDAP*, unsigned, void* context, void* questions) {
    const auto& answers = *static_cast<const SaslAnswers*>(context);
    for (auto* question = static_cast<sasl_interact_t*>(questions);
         question->id != SASL_CB_LIST_END; ++question) {
        const char* chosen = question->defresult ? question->defresult : "";
        if (question->id == SASL_CB_USER)
            chosen = answers.authorization.isEmpty() ? chosen : answers.authorization.constData();
        else if (question->id == SASL_CB_AUTHNAME)
            chosen = answers.name.isEmpty() ? chosen : answers.name.constData();
        else if (question->id == SASL_CB_GETREALM)
            chosen = answers.realm.isEmpty() ? chosen : answers.realm.constData();
        else
            return LDAP_PARAM_ERROR; // a password: never asked for
        question->result = chosen;
        question->len = unsigned(qstrlen(chosen));
    }
    return LDAP_SUCCESS;
}

Result bind(LDAP* handle, const QByteArray& mechanism,
            const std::function<Message(int request)>& await) {
    SaslAnswers answers{stringOption(handle, LDAP_OPT_X_SASL_AUTHCID),
                        stringOption(handle, LDAP_OPT_X_SASL_AUTHZID),
                        stringOption(handle, LDAP_OPT_X_SASL_REALM)};
    const char* used = nullptr;
    int request = 0;
    Message reply;
    for (;;) {
        const int code = ldap_sasl_interactive_bind(handle, nullptr, mechanism.constData(), nullptr,
                                                    nullptr, LDAP_SASL_QUIET, answerSasl, &answers,
                                                    reply.get(), &used, &request);
        if (code != LDAP_SASL_BIND_IN_PROGRESS)
            return {code, code == LDAP_SUCCESS ? QString() : diagnosticMessage(handle)};
        reply = await(request);
    }
}

} // namespace

Result authenticate(LDAP* handle, bool isLocal, const std::function<Message(int request)>& await) {
    const bool tls = ldap_tls_inplace(handle) != 0;
    ldap_set_option(handle, LDAP_OPT_X_SASL_SECPROPS, tls ? WithinTls : WithoutTls);
    // Within TLS, domain controllers may refuse a ticket that is not bound to their certificate.
    setOption(handle, LDAP_OPT_X_SASL_CBINDING, LDAP_OPT_X_SASL_CBINDING_TLS_ENDPOINT);

    const QByteArray chosen = stringOption(handle, LDAP_OPT_X_SASL_MECH);
    QByteArrayList mechanisms{"GSS-SPNEGO", "GSSAPI"};
    if (!chosen.isEmpty())
        mechanisms = {chosen};
    else if (isLocal)
        mechanisms = {"EXTERNAL"};
    Result result;
    for (const QByteArray& mechanism : mechanisms) {
        result = bind(handle, mechanism, await);
        if (result.code != LDAP_AUTH_METHOD_NOT_SUPPORTED && result.code != LDAP_AUTH_UNKNOWN)
            break;
    }
    ber_len_t strength = 0;
    ldap_get_option(handle, LDAP_OPT_X_SASL_SSF, &strength);
    if (result.code == LDAP_SUCCESS && !tls && !isLocal && strength < MinSsf)
        return {LDAP_CONFIDENTIALITY_REQUIRED, u"the connection is not sealed"_s};
    return result;
}

} // namespace rehome::ldap
