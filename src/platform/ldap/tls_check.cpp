#include "platform/ldap/tls_check.h"

#include "platform/ldap/ldap_library.h"

#include <QFileInfo>
#include <QNetworkProxy>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslSocket>

#include <ldap.h>

#include <algorithm>

namespace rehome::ldap {

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr qint64 CheckpointIntervalMs = 250;

constexpr int FileOptions[] = {LDAP_OPT_X_TLS_CACERTFILE, LDAP_OPT_X_TLS_CACERTDIR,
                               LDAP_OPT_X_TLS_CERTFILE, LDAP_OPT_X_TLS_KEYFILE,
                               LDAP_OPT_X_TLS_CRLFILE};

QString setting(int option) {
    return QString::fromLocal8Bit(stringOption(nullptr, option));
}

QList<QSslCertificate> authorities() {
    QList<QSslCertificate> found;
    if (const QString file = setting(LDAP_OPT_X_TLS_CACERTFILE); !file.isEmpty())
        found += QSslCertificate::fromPath(file);
    if (const QString folder = setting(LDAP_OPT_X_TLS_CACERTDIR); !folder.isEmpty())
        found += QSslCertificate::fromPath(folder + u"/*"_s, QSsl::Pem,
                                           QSslCertificate::PatternSyntax::Wildcard);
    return found;
}

/// Returns the extended request (RFC 4511 4.14), which contains nothing but the name.
QByteArray startTlsRequest() {
    const QByteArray name = LDAP_EXOP_START_TLS;
    const auto length = [](qsizetype bytes) { return QByteArray(1, char(bytes)); };
    const QByteArray operation = "\x80" + length(name.size()) + name;
    const QByteArray content = "\x02\x01\x01\x77" + length(operation.size()) + operation;
    return "\x30" + length(content.size()) + content;
}

QString namesOf(const QSslCertificate& certificate) {
    QStringList names = certificate.subjectAlternativeNames().values();
    if (names.isEmpty())
        names = certificate.subjectInfo(QSslCertificate::CommonName);
    return names.mid(0, 10).join(u", "_s);
}

QString sentence(QSslError::SslError fault, const QSslCertificate& certificate) {
    switch (fault) {
    case QSslError::CertificateExpired:
    case QSslError::CertificateNotYetValid:
        return u"The certificate is valid from %1 to %2: compare the clocks, and renew the "
               "certificate if it has expired."_s.arg(
                   certificate.effectiveDate().toString(Qt::ISODate),
                   certificate.expiryDate().toString(Qt::ISODate));
    case QSslError::HostNameMismatch:
        return u"The certificate holds other names (%1): name the domain controller by one of them "
               "in ldap.conf."_s.arg(namesOf(certificate));
    case QSslError::SelfSignedCertificate:
    case QSslError::SelfSignedCertificateInChain:
    case QSslError::UnableToGetIssuerCertificate:
    case QSslError::UnableToGetLocalIssuerCertificate:
    case QSslError::UnableToVerifyFirstCertificate:
        return u"This computer does not know the authority that issued the certificate: put the "
               "authority's certificate into the file that TLS_CACERT names in ldap.conf."_s;
    default:
        return {};
    }
}

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
        if (const QString path = setting(option); !path.isEmpty() && !QFileInfo(path).isReadable())
            found += u"%1 cannot be read"_s.arg(path);
    return found.join(u"; "_s);
}

QString tlsFaults(const QString& host, quint16 port, bool startTls, QDeadlineTimer deadline,
                  platform::Interruption* interruption) {
    QSslSocket socket;
    socket.setProxy(QNetworkProxy::NoProxy);
    QSslConfiguration configuration = socket.sslConfiguration();
    configuration.setCaCertificates(authorities());
    socket.setSslConfiguration(configuration);
    const auto await = [&](auto wait) {
        for (;;) {
            const int part = int(std::min(CheckpointIntervalMs, deadline.remainingTime()));
            if ((socket.*wait)(part))
                return true;
            if (interruption)
                interruption->checkpoint();
            if (deadline.hasExpired() || socket.error() != QAbstractSocket::SocketTimeoutError)
                return false;
        }
    };
    socket.connectToHost(host, port);
    if (!socket.waitForConnected(int(std::min(CheckpointIntervalMs, deadline.remainingTime()))))
        return {}; // the connection worked a moment ago
    if (startTls) {
        socket.write(startTlsRequest());
        const QByteArray success("\x0a\x01\x00", 3);
        if (!await(&QSslSocket::waitForReadyRead))
            return {};
        if (!socket.readAll().contains(success))
            return u"The domain controller refused StartTLS: it probably has no certificate."_s;
    }
    socket.startClientEncryption();
    if (await(&QSslSocket::waitForEncrypted)) // but libldap compares names differently
        return u"The certificate is valid and its authority is known, but the certificate probably "
               "lacks the name of the domain controller (it holds %1): name the domain controller "
               "by one of these in ldap.conf."_s.arg(namesOf(socket.peerCertificate()));
    QStringList sentences;
    for (const QSslError& error : socket.sslHandshakeErrors())
        sentences += sentence(error.error(), socket.peerCertificate());
    sentences.removeAll(QString());
    sentences.removeDuplicates();
    return sentences.join(u' ');
}

} // namespace rehome::ldap
