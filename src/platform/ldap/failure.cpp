#include "platform/ldap/failure.h"

#include "platform/engine/engine.h"
#include "platform/ldap/ticket.h"
#include "platform/shown_text.h"

#include <ldap.h>

namespace rehome::ldap {

using namespace Qt::Literals::StringLiterals;

namespace {

/// Refresh stays disabled after a list that could not be read.
const QString RefreshOrStartAgain =
    u"press Refresh; if Refresh is disabled, press Exit, wait, start again."_s;

QString tried(const Attempt& attempt) {
    const QString object = attempt.object.isEmpty() ? u"the root object"_s : attempt.object;
    switch (attempt.stage) {
    case Stage::Choose:
        return u"Using %1"_s.arg(attempt.server);
    case Stage::Connect:
        return u"Connecting to %1"_s.arg(attempt.server);
    case Stage::Authenticate:
        return u"Signing on at %1"_s.arg(attempt.server);
    case Stage::Search:
        return u"Searching "_s + object + u" at "_s + attempt.server;
    case Stage::Modify:
        return u"Changing "_s + object + u" at "_s + attempt.server;
    }
    return {};
}

QString meaning(const Attempt& attempt, const Result& result) {
    if (attempt.stage == Stage::Choose)
        return result.cause;
    switch (result.code) {
    case LDAP_SERVER_DOWN:
        return attempt.stage == Stage::Connect ? u"the server cannot be reached"_s
                                               : u"the connection to the server was lost"_s;
    case LDAP_TIMEOUT:
        return u"no answer within %1 seconds"_s.arg(double(attempt.timeout.count()) / 1000);
    case LDAP_CONNECT_ERROR:
        return u"no secure connection (TLS) could be made"_s;
    case LDAP_DECODING_ERROR:
        return u"the answer is incomplete or cannot be read"_s;
    case LDAP_LOCAL_ERROR:
        return u"local Kerberos or SASL error"_s;
    default:
        return codeText(result.code);
    }
}

bool demandsBinding(const Attempt& attempt, const Result& result) {
    return attempt.stage == Stage::Authenticate &&
           result.diagnostic.contains(u"80090346"_s); // SEC_E_BAD_BINDINGS
}

bool refusesTicket(const Attempt& attempt, const Result& result) {
    return attempt.stage == Stage::Authenticate && !demandsBinding(attempt, result) &&
           (result.code == LDAP_LOCAL_ERROR || result.code == LDAP_INVALID_CREDENTIALS);
}

QString ticketRemedy(const Attempt& attempt, const Result& result) {
    switch (currentTicket().state) {
    case Ticket::State::None:
        return u"You hold no Kerberos ticket: run kinit."_s;
    case Ticket::State::Expired:
        return u"Your Kerberos ticket has expired: run kinit."_s;
    case Ticket::State::Valid:
        break;
    }
    if (result.diagnostic.contains(u"not found in Kerberos database"_s))
        return u"The Kerberos server does not know the domain controller by the name that this "
               "computer uses for %1: name the domain controller by its full name in ldap.conf, "
               "and set \"rdns = false\" and \"dns_canonicalize_hostname = false\" in the section "
               "[libdefaults] of krb5.conf."_s.arg(attempt.server);
    return u"Your Kerberos ticket was not accepted for this server: compare the clocks, check that "
           "the server is named as its domain names it, and run kinit again."_s;
}

/// What a second look did not explain is guessed from the remark: the matched words are those of
/// GnuTLS (Debian 12) and of OpenSSL.
QString tlsRemedy(const Attempt& attempt, const Result& result) {
    const auto says = [&](const auto&... parts) {
        return (result.diagnostic.contains(parts, Qt::CaseInsensitive) || ...);
    };
    if (!result.cause.isEmpty())
        return result.cause;
    if (result.diagnostic.isEmpty() ||
        says(u"pull function"_s, u"non-properly terminated"_s, u"unexpected eof"_s))
        return u"The domain controller ended the connection when TLS began: it probably has no "
               "certificate."_s;
    if (says(u"too small"_s, u"too weak"_s))
        return u"A key or signature of the domain controller is too weak for this computer: have "
               "its certificate renewed."_s;
    if (says(u"alert"_s, u"cipher"_s, u"protocol"_s, u"version"_s, u"packet"_s))
        return u"This computer and the domain controller probably have no TLS version or cipher in "
               "common, or the domain controller has no certificate."_s;
    return u"The certificate of %1 is probably not trusted: put the authority that issued it into "
           "the file that TLS_CACERT names in ldap.conf, and check its dates, names and key "
           "length."_s.arg(attempt.server);
}

QString remedy(const Attempt& attempt, const Result& result) {
    const bool unread = result.code < 0; // the library's own: no answer could be read
    if (attempt.stage == Stage::Modify && unread && result.sent)
        return u"It is not known whether the change was made: look before trying again."_s;
    if (attempt.stage == Stage::Connect && result.code == LDAP_CONNECT_ERROR)
        return tlsRemedy(attempt, result);
    if (demandsBinding(attempt, result))
        return u"The domain controller demands channel binding and did not accept this computer's. "
               "Name the domain controller with ldap: instead of ldaps: and without StartTLS in "
               "ldap.conf: Kerberos encrypts the connection then."_s;
    if (refusesTicket(attempt, result))
        return ticketRemedy(attempt, result);
    if (attempt.stage == Stage::Search)
        switch (result.code) {
        case LDAP_TIMELIMIT_EXCEEDED:
            return u"The domain controller stopped the search at its time limit: wait, then "_s +
                   RefreshOrStartAgain +
                   u" If that does not help, have MaxQueryDuration of its LDAP policies raised."_s;
        case LDAP_ADMINLIMIT_EXCEEDED:
            return u"The search exceeds an administrative limit of the domain controller: have its "
                   "LDAP policies raised."_s;
        case LDAP_UNAVAILABLE_CRITICAL_EXTENSION: // no other control is sent
            return u"The domain controller did not send the list, or a part of it, in pages: wait, "
                   "then "_s +
                   RefreshOrStartAgain;
        default:
            break;
        }
    switch (result.code) {
    case LDAP_SERVER_DOWN:
    case LDAP_TIMEOUT:
        return u"Check that the server is running and that no firewall is in between."_s;
    case LDAP_BUSY:
        return u"The domain controller is busy: wait, then "_s +
               (attempt.stage == Stage::Modify   ? u"press Refresh."_s
                : attempt.stage == Stage::Search ? RefreshOrStartAgain
                                                 : u"try again."_s);
    case LDAP_UNAVAILABLE:
        return currentTicket().state == Ticket::State::Expired
                   ? u"Your Kerberos ticket has expired: run kinit, then press Refresh."_s
                   : u"Wait, then press Refresh. If that does not help, name another domain "
                     "controller in ldap.conf."_s;
    case LDAP_AUTH_UNKNOWN:
    case LDAP_AUTH_METHOD_NOT_SUPPORTED:
        return u"Install the Kerberos module of SASL (libsasl2-modules-gssapi-mit), or check "
               "SASL_MECH in ldap.conf."_s;
    case LDAP_INSUFFICIENT_ACCESS:
        return u"Run the tool with the ticket of somebody who may do this (kinit), or have the "
               "right delegated to you."_s;
    case LDAP_NO_SUCH_OBJECT:
        return u"The object may have been deleted or moved, or you may not see it: refresh."_s;
    case LDAP_SIZELIMIT_EXCEEDED:
        return u"The server limits its answers: have the limit raised."_s;
    case LDAP_UNDEFINED_TYPE:
    case LDAP_OBJECT_CLASS_VIOLATION:
        return u"The directory's schema may lack the Exchange attributes."_s;
    case LDAP_DECODING_ERROR:
        return u"Try again; where that does not help, name another server in ldap.conf."_s;
    case LDAP_REFERRAL:
        return u"Another server holds the object: name that one in ldap.conf."_s;
    default:
        return {};
    }
}

} // namespace

Failure Failure::at(const QString& servers) const {
    Attempt attempt = m_attempt;
    attempt.server = servers;
    return describeResult(attempt, m_result);
}

bool Failure::connectionLost() const {
    return m_result.code == LDAP_SERVER_DOWN;
}

bool Failure::sessionEnded() const {
    return connectionLost() || m_result.code == LDAP_UNAVAILABLE;
}

bool Failure::ofDirectory() const {
    return connectionLost() || m_result.code == LDAP_TIMEOUT || m_result.code == LDAP_BUSY ||
           m_result.code == LDAP_UNAVAILABLE || m_attempt.stage <= Stage::Authenticate;
}

bool Failure::changedSince() const {
    return m_result.code == LDAP_NO_SUCH_ATTRIBUTE || m_result.code == LDAP_CONSTRAINT_VIOLATION ||
           m_result.code == LDAP_TYPE_OR_VALUE_EXISTS || m_result.code == LDAP_NO_SUCH_OBJECT;
}

void throwTranslated(const Failure& failure) {
    if (failure.ofDirectory())
        throw engine::DirectoryFailed(failure.description());
    throw failure;
}

QString codeText(int code) {
    return QString::fromUtf8(ldap_err2string(code)) +
           (code > 0 ? u" (result %1)"_s.arg(code) : QString());
}

Failure describeResult(const Attempt& attempt, const Result& result) {
    QString text = tried(attempt) + u" failed: "_s + meaning(attempt, result) + u'.';
    if (const QString mend = remedy(attempt, result); !mend.isEmpty())
        text += u' ' + mend;
    if (!result.diagnostic.isEmpty())
        text += u" Reported: "_s + platform::remoteText(result.diagnostic) +
                (result.diagnostic.endsWith(u'.') ? QString() : u"."_s);
    if (!result.referrals.isEmpty())
        text += u" Referred to: "_s + platform::remoteText(result.referrals.join(u' ')) + u'.';
    const bool local = refusesTicket(attempt, result)
                           ? currentTicket().state != Ticket::State::Valid
                           : result.code == LDAP_AUTH_UNKNOWN; // the SASL library's own
    return Failure(text, attempt, result, local);
}

} // namespace rehome::ldap
