#include "platform/http/failure.h"

#include "platform/shown_text.h"

namespace rehome::http {

using namespace Qt::Literals::StringLiterals;

namespace {

QString statusRemedy(const Attempt& attempt, int status) {
    switch (status) {
    case 401:
        return u"Check your Kerberos ticket (klist, kinit). If it is good, the service principal "
               "HTTP/%1 may be missing, or integrated authentication is not on there."_s.arg(
                   attempt.host);
    case 403:
        return u"Have the right to open this mailbox given to you (full mailbox access, or Receive "
               "As on its store). A server that wants client certificates answers so, too."_s;
    case 404:
        return u"There is no such mailbox there yet."_s;
    case 440:
        return u"It wants a form to be filled in to sign on: turn forms-based authentication off "
               "for this server."_s;
    case 502:
    case 503:
    case 504:
        return u"The store %1 is not available: check on the server that it is mounted."_s.arg(
            attempt.mailbox.store);
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
    case NoConnection:
        return describeFailure(attempt, u"the server cannot be reached"_s + reported,
                               u"Mailboxes are opened over https (TCP port 443) and never in "
                               "clear: check that the server runs and offers it."_s);
    case NoTls:
        return describeFailure(attempt, u"no secure connection (TLS) could be made"_s + reported,
                               u"Mailboxes are opened over https and never in clear: the server "
                               "must offer TLS 1.0 or newer there, with AES ciphers."_s);
    case NotTrusted:
        return describeFailure(attempt, u"its certificate is not trusted"_s + reported,
                               u"Put the authority that issued it into this computer's store "
                               "(update-ca-certificates); it must name %1."_s.arg(attempt.host));
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

Error describeStatus(const Attempt& attempt, int status, const QString& redirect) {
    if (!redirect.isEmpty())
        return describeFailure(attempt,
                               u"it refers to %1 (HTTP status %2), where nothing is sent"_s.arg(
                                   platform::remoteText(redirect), QString::number(status)),
                               u"The server that holds the store must answer itself."_s);
    return describeFailure(attempt, u"it answered with HTTP status %1"_s.arg(status),
                           statusRemedy(attempt, status));
}

} // namespace rehome::http
