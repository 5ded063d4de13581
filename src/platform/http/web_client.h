#pragma once

#include "platform/blocking_call.h"
#include "platform/error.h"
#include "platform/http/http_settings.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

namespace rehome::http {

/// Why no whole answer has come.
class NoAnswer : public Error {
public:
    enum class Kind { NoName, Refused, NoConnection, NoTls, NotTrusted, Late, TooLong, Other };
    NoAnswer(Kind kind, const QString& detail) : Error(detail), m_kind(kind) {}
    Kind kind() const { return m_kind; }

private:
    Kind m_kind;
};

struct Answer {
    int status = 0; ///< as HTTP numbers it
    QByteArray body;
    QString redirect;     ///< where the answer refers to, which is not followed
    QStringList offers{}; ///< ways to sign on (`WWW-Authenticate`), each with its parameters
    bool fromStore{};     ///< Exchange's store has answered, not the web server alone
    QString noTicket{};   ///< why no Kerberos ticket was sent; empty if one was
};

/// Asks one server for properties, over https alone, and keeps the connection. The server is known
/// by its certificate, verified against the system's store (or the file that SSL_CERT_FILE names,
/// as wherever OpenSSL is used). It is told who asks by Kerberos, with the user's ticket, which is
/// not delegated.
///
/// TLS from 1.0 on is spoken, for Exchange servers speak nothing newer, but never with anonymous,
/// null, export, RC4 or DES ciphers.
///
/// A server that keeps asking for tickets (HTTP status 401) gets three.
///
/// A request runs in a thread of its own: the Kerberos library waits for its server much longer
/// than any limit here.
class WebClient {
public:
    /// `connectLimit` is for a connection, look-up and TLS included. `interruption` ends the waits;
    /// where there is one, it must outlive this.
    WebClient(const HttpSettings& settings, std::chrono::milliseconds connectLimit,
              platform::Interruption* interruption);
    WebClient(WebClient&&) = default;
    WebClient& operator=(WebClient&&) = default;

    /// Sends PROPFIND (RFC 4918 section 9.1) with depth 0, unless a request is under way. `url` is
    /// encoded. Throws Error if the system has no thread left.
    void propfind(const QByteArray& url, const QByteArray& body);
    bool isUnderWay() const { return m_call.has_value(); }
    /// Leaves a request that is under way to itself.
    void giveUp() { *this = WebClient(m_settings, m_connectLimit, m_interruption); }
    /// The answer to the request, once. None if it has not come before the deadline. Throws
    /// NoAnswer if it never will.
    std::optional<Answer> await(QDeadlineTimer deadline);

private:
    struct Transfer;

    HttpSettings m_settings;
    std::chrono::milliseconds m_connectLimit;
    platform::Interruption* m_interruption;
    std::shared_ptr<Transfer> m_transfer;
    std::optional<platform::BlockingCall<int>> m_call; ///< a CURLcode
};

} // namespace rehome::http
