#pragma once

#include "platform/error.h"

#include <QString>
#include <QStringList>

#include <chrono>

namespace rehome::ldap {

enum class Stage {
    Choose, ///< whether a domain controller may be used; the reason is Result::cause
    Connect,
    SignOn,
    Search,
    Modify
};

/// What was tried, on what object, where.
struct Attempt {
    Stage stage = Stage::Connect;
    QString object{}; ///< as the request named it; empty for the root object
    QString server{}; ///< its URI
    std::chrono::milliseconds limit{};
};

/// What came of it.
struct Result {
    int code =
        0; ///< an LDAP result code (RFC 4511 appendix A), or libldap's own, which are negative
    QString diagnostic{};
    QStringList referrals{};
    bool sent = true; ///< whether the request can have reached the server
    QString cause{};  ///< in sentences with remedies, if something was found out about it
};

/// An Error that still knows its result, for those who may try again.
class Failure : public Error {
public:
    Failure(const QString& description, const Attempt& attempt, const Result& result, bool local)
        : Error(description), m_attempt(attempt), m_result(result), m_local(local) {}

    int code() const { return m_result.code; }
    /// True if the connection was lost before the request's own answer came, whatever notice the
    /// server gave; false if it is only silent.
    bool connectionLost() const;
    /// True where the server no longer knows us: signing on again may help.
    bool sessionEnded() const;
    /// True where it is certain that the request did not reach the server whole.
    bool notSent() const { return connectionLost() && !m_result.sent; }
    /// True if no answer could be read to a request that may have reached the server.
    bool outcomeUnknown() const { return m_result.code < 0 && m_result.sent; }
    /// True if the directory itself failed: it did not answer, did not let us authenticate, or was
    /// busy.
    bool ofDirectory() const;
    /// True if the connection was lost between connecting and being authenticated.
    bool cutWhileAuthenticating() const {
        return connectionLost() && m_attempt.stage == Stage::SignOn;
    }
    /// Of a modification: true if it does not fit what the object is by now (RFC 4511 4.1.9:
    /// noSuchAttribute, constraintViolation, attributeOrValueExists, noSuchObject).
    bool changedSince() const;

    /// True if the fault is this computer's or its user's: no other server would accept the user.
    bool isLocal() const { return m_local; }
    /// The same failure of another server, or of several.
    Failure at(const QString& servers) const;

private:
    Attempt m_attempt;
    Result m_result;
    bool m_local;
};

/// Throws it as those above the engine know it: DirectoryFailed if the directory itself failed.
[[noreturn]] void throwTranslated(const Failure& failure);

/// What a result code means, in words and as a number.
QString codeText(int code);

/// The one place where results become descriptions: what was tried, on what, what the server said,
/// and the remedy where there is one.
Failure describeResult(const Attempt& attempt, const Result& result);

} // namespace rehome::ldap
