#include "platform/http/tls_failure.h"

namespace rehome::http {

using namespace Qt::Literals::StringLiterals;

namespace {

struct Recorded {
    const char* said; ///< a part of it
    const char* problem;
    const char* remedy; ///< "%1": the host's name
};

constexpr const char* Refused = "the server refuses what is offered to it";
constexpr const char* Closed = "the server closes the connection instead of answering";
constexpr const char* CipherRemedy =
    "Mostly there is no cipher that both sides accept. Rehome refuses RC4, DES and 3DES. A server "
    "on Windows 2000 has nothing else, so its mailboxes cannot be opened. One on Windows Server "
    "2003 needs the hotfix that brings AES (KB 948963).";
constexpr const char* Weak = "its certificate has a key or a signature that is too weak";
constexpr const char* WeakRemedy = "Give the server a certificate with an RSA key of 2048 bits.";
constexpr const char* Unknown = "its certificate is not trusted: its authority is not known here";
constexpr const char* UnknownRemedy =
    "Put the authority that issued it into this computer's store (update-ca-certificates).";
constexpr const char* WrongName = "its certificate is not trusted: it is for another name";
constexpr const char* NameRemedy = "Give the server a certificate that names %1.";

constexpr Recorded Table[] = {
    {"handshake failure", Refused, CipherRemedy},
    {"Connection reset by peer", Closed, CipherRemedy},
    {"SSL_ERROR_SYSCALL", Closed, CipherRemedy},
    {"unexpected eof", Closed, CipherRemedy},
    {"unsafe legacy renegotiation disabled", "it does not know secure renegotiation (RFC 5746)",
     "Install the update that brings it (MS10-049)."},
    {"wrong version number", "what answers at TCP port 443 is not TLS",
     "Mailboxes are opened over https and never in cleartext: turn https on there."},
    {"unsupported protocol", "it speaks nothing newer than SSL 3.0", "Turn TLS 1.0 on there."},
    {"protocol version", "it accepts no version of TLS that is spoken here",
     "Turn TLS 1.0 or newer on there."},
    {"has expired", "its certificate is not trusted: it has expired",
     "Renew it, and check both clocks."},
    {"not yet valid", "its certificate is not trusted: it is not valid yet", "Check both clocks."},
    {"does not match target host", WrongName, NameRemedy},
    {"no alternative certificate subject name", WrongName, NameRemedy},
    {"key too small", Weak, WeakRemedy},
    {"key too weak", Weak, WeakRemedy},
    {"md too weak", Weak, WeakRemedy},
    {"digest algorithm too weak", Weak, WeakRemedy},
    {"wrong signature type", Weak, WeakRemedy},
    {"issuer certificate", Unknown, UnknownRemedy},
    {"self-signed certificate", Unknown, UnknownRemedy},
};

} // namespace

TlsFailure tlsFailure(const QString& said, const QString& host) {
    for (const Recorded& one : Table)
        if (said.contains(QLatin1StringView(one.said)))
            return {QLatin1StringView(one.problem),
                    QString(QLatin1StringView(one.remedy)).replace("%1"_L1, host)};
    return {u"the two sides do not agree"_s,
            u"The server must offer TLS 1.0 or newer with an AES cipher, and a certificate that is "
            "trusted here and names %1."_s.arg(host)};
}

} // namespace rehome::http
