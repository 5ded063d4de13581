#include "platform/http/failure.h"

#include "platform/http/tls_failure.h"
#include "platform/shown_text.h"

#include <QRegularExpression>

namespace rehome::http {

using namespace Qt::Literals::StringLiterals;

namespace {

bool offersNegotiate(const QStringList& offers) {
    static const QRegularExpression negotiate(u"(^|,) *Negotiate( |,|$)"_s,
                                              QRegularExpression::CaseInsensitiveOption);
    return !offers.filter(negotiate).isEmpty();
}

QString remedyForSignOn(const Attempt& attempt, const Answer& answer) {
    if (answer.status == 401 && !offersNegotiate(answer.offers))
        return u"It does not offer to authenticate with a ticket (Negotiate), but: %1. Turn "
               "integrated authentication on for the virtual directory; if only NTLM is offered, "
               "the web server's setting NTAuthenticationProviders lacks \"Negotiate\"."_s.arg(
                   answer.offers.isEmpty() ? u"nothing"_s
                                           : platform::remoteText(answer.offers.join(u", "_s)));
    if (!answer.noTicket.isEmpty())
        return u"Check your Kerberos ticket (klist, kinit). If it is good, the service principal "
               "HTTP/%1 may be missing (kvno HTTP/%1). Reported: %2"_s.arg(
                   attempt.host, platform::remoteText(answer.noTicket));
    return u"You may not open this mailbox (full mailbox access, or Receive As on its store, is "
           "needed), or the server does not accept your ticket: check that HTTP/%1 belongs to its "
           "computer account, and its clock."_s.arg(attempt.host);
}

QString statusRemedy(const Attempt& attempt, const Answer& answer, int status) {
    switch (status) {
    case 400:
        return u"Your ticket may be too large for it (MaxFieldLength and MaxRequestBytes of its "
               "web service), or it does not know itself by the name %1."_s.arg(attempt.host);
    case 401:
        return remedyForSignOn(attempt, answer);
    case 403:
        return u"Have the right to open this mailbox given to you (full mailbox access, or Receive "
               "As on its store). A server that wants client certificates answers so, too."_s;
    case 404:
        if (answer.fromStore || answer.status != status)
            return u"There is no such mailbox there yet."_s;
        return u"There is no such mailbox there yet; or PROPFIND is blocked (URLScan, IIS "
               "Lockdown), for the answer does not come from Exchange's store."_s;
    case 405:
    case 501:
        return u"The web server blocks PROPFIND: allow WebDAV for the virtual directory (URLScan, "
               "IIS Lockdown)."_s;
    case 407:
        return u"It answers as a proxy does: networkAddress of the server's object must name the "
               "server itself."_s;
    case 440:
        return u"It wants a form to be filled in to sign on: turn forms-based authentication off "
               "for this server."_s;
    case 500:
        return u"The server's own logs tell what went wrong there."_s;
    case 502:
    case 503:
    case 504:
        return u"The store %1 or the web service is not available: check on the server that the "
               "store is mounted and the service runs."_s.arg(attempt.mailbox.store);
    default:
        return {};
    }
}

} // namespace

Error describeFailure(const Attempt& attempt, const QString& what, const QString& remedy) {
    QString text = u"Opening the mailbox of %1 at %2 failed: %3."_s.arg(attempt.mailbox.user,
                                                                        attempt.url, what);
    if (!remedy.isEmpty())
        text += u' ' + remedy;
    return Error(text);
}

Error describeNoAnswer(const Attempt& attempt, const NoAnswer& failure,
                       const HttpSettings& settings) {
    using enum NoAnswer::Kind;
    const QString reported = u" ("_s + failure.description() + u')';
    switch (failure.kind()) {
    case NoName:
        return describeFailure(attempt, u"the name %1 is not known"_s.arg(attempt.host) + reported,
                               u"It stands in networkAddress of the server's object."_s);
    case Refused:
    case NoConnection:
        return describeFailure(attempt, u"the server cannot be reached"_s + reported,
                               u"Mailboxes are opened over https (TCP port 443) and never in "
                               "clear: check that the server runs and offers it."_s);
    case NoTls:
    case NotTrusted: {
        const TlsFailure tls = tlsFailure(failure.description(), attempt.host);
        return describeFailure(
            attempt, u"no secure connection (TLS) could be made: "_s + tls.problem + reported,
            tls.remedy);
    }
    case Late:
        return describeFailure(
            attempt,
            u"no answer within %1 seconds"_s.arg(double(settings.attemptLimit.count()) / 1000),
            u"Check that the server and the Kerberos server answer (kvno "
            "HTTP/%1)."_s.arg(attempt.host));
    case TooLong:
        return describeFailure(attempt,
                               u"its answer is longer than %1 bytes"_s.arg(settings.answerLimit));
    case Other:
        break;
    }
    return describeFailure(attempt, u"no whole answer came"_s + reported);
}

Error describeStatus(const Attempt& attempt, const Answer& answer, int status) {
    if (!answer.redirect.isEmpty())
        return describeFailure(attempt,
                               u"it refers to %1 (HTTP status %2), where nothing is sent"_s.arg(
                                   platform::remoteText(answer.redirect), QString::number(status)),
                               u"The server that holds the store must answer itself."_s);
    return describeFailure(attempt, u"it answered with HTTP status %1"_s.arg(status),
                           statusRemedy(attempt, answer, status));
}

} // namespace rehome::http
