#include "platform/ldap/tls_settings.h"

#include "platform/ldap/ldap_library.h"

#include <QFileInfo>
#include <QStringList>

#include <ldap.h>

namespace rehome::ldap {

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int FileOptions[] = {LDAP_OPT_X_TLS_CACERTFILE, LDAP_OPT_X_TLS_CACERTDIR,
                               LDAP_OPT_X_TLS_CERTFILE, LDAP_OPT_X_TLS_KEYFILE,
                               LDAP_OPT_X_TLS_CRLFILE};

} // namespace

bool wantsTls(const QString& uri) {
    return uri.startsWith(u"ldaps:"_s, Qt::CaseInsensitive) ||
           uri.contains(u"StartTLS"_s, Qt::CaseInsensitive) ||
           uri.contains(QLatin1String(LDAP_EXOP_START_TLS));
}

bool demandCertificate(LDAP* handle) {
    setOption(handle, LDAP_OPT_X_TLS_REQUIRE_CERT, LDAP_OPT_X_TLS_DEMAND);
    // The common name counts only if the certificate has no list of names.
    setOption(handle, LDAP_OPT_X_TLS_REQUIRE_SAN, LDAP_OPT_X_TLS_TRY);
    // A TLS context of the handle's own does not inherit the library's settings.
    const auto copy = [&](int option) {
        if (const QByteArray text = stringOption(nullptr, option); !text.isEmpty())
            ldap_set_option(handle, option, text.constData());
    };
    for (const int option : FileOptions)
        copy(option);
    copy(LDAP_OPT_X_TLS_CIPHER_SUITE);
    int protocol = 0;
    ldap_get_option(nullptr, LDAP_OPT_X_TLS_PROTOCOL_MIN, &protocol);
    setOption(handle, LDAP_OPT_X_TLS_PROTOCOL_MIN, protocol);
    const int client = 0;
    return ldap_set_option(handle, LDAP_OPT_X_TLS_NEWCTX, &client) == LDAP_SUCCESS;
}

QString unreadableTlsFiles() {
    QStringList found;
    for (const int option : FileOptions)
        if (const QString path = QString::fromLocal8Bit(stringOption(nullptr, option));
            !path.isEmpty() && !QFileInfo(path).isReadable())
            found += u"%1 cannot be read"_s.arg(path);
    return found.join(u"; "_s);
}

} // namespace rehome::ldap
