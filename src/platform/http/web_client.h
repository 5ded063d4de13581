#pragma once

#include "platform/error.h"
#include "platform/http/http_settings.h"
#include "platform/interruption.h"

#include <QByteArray>
#include <QString>

#include <memory>

namespace rehome::http {

/// Why no whole answer has come.
class NoAnswer : public Error {
public:
    enum class Kind { NoName, NoConnection, NoTls, NotTrusted, Late, TooLong, Other };
    NoAnswer(Kind kind, const QString& detail) : Error(detail), m_kind(kind) {}
    Kind kind() const { return m_kind; }

private:
    Kind m_kind;
};

struct Answer {
    int status = 0; ///< as HTTP numbers it
    QByteArray body;
    QString redirect; ///< where the answer refers to, which is not followed
};

/// Asks servers for properties, over https alone, and keeps the connection to each. A server is
/// known by its certificate, verified against the system's store (or the file that SSL_CERT_FILE
/// names, as wherever OpenSSL is used). It is told who asks by Kerberos, with the user's ticket,
/// which is not delegated.
///
/// TLS from 1.0 on is spoken, for Exchange servers speak nothing newer, but never with anonymous,
/// null, export, RC4 or DES ciphers.
class WebClient {
public:
    /// `interruption` ends the waits; where there is one, it must outlive this.
    explicit WebClient(const HttpSettings& settings,
                       platform::Interruption* interruption = nullptr);
    ~WebClient();
    WebClient(const WebClient&) = delete;
    WebClient& operator=(const WebClient&) = delete;

    /// PROPFIND (RFC 4918 section 9.1) with depth 0. `url` is encoded. Throws NoAnswer.
    Answer propfind(const QByteArray& url, const QByteArray& body);

private:
    struct Handles;
    int perform();

    HttpSettings m_settings;
    platform::Interruption* m_interruption;
    std::unique_ptr<Handles> m_handles;
};

} // namespace rehome::http
