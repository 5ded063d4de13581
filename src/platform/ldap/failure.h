#pragma once

#include "platform/error.h"

#include <QString>
#include <QStringList>

#include <chrono>

namespace rehome::ldap {

enum class Stage {
    Choose, ///< whether a domain controller may be used; the reason is Result::cause
    Connect,
    Authenticate,
    Search,
    Modify
};

/// What was tried, on what object, where.
struct Attempt {
    Stage stage = Stage::Connect;
    QString object{};                    ///< as the request named it; empty for the rootDSE
    QString server{};                    ///< its URI
    std::chrono::milliseconds timeout{}; ///< for the text of LDAP_TIMEOUT only
};

/// What came of it.
struct Result {
    /// An LDAP result code (RFC 4511 appendix A); negative: one of libldap's own; 0: success.
    int code = 0;
    QString diagnostic{};
    QStringList referrals{};
    bool sent = true; ///< whether the request can have reached the server
    QString cause{};  ///< sentences with remedies, if more is known about the cause
};

/// An Error with its result, by which callers decide whether to retry.
class Failure : public Error {
public:
    Failure(const QString& description, const Attempt& attempt, const Result& result, bool local)
        : Error(description), m_attempt(attempt), m_result(result), m_local(local) {}

    int code() const { return m_result.code; }
    /// Returns true if the connection was lost before the request's own response came, also after a
    /// notice of disconnection; false after a time-out.
    bool connectionLost() const;
    /// Returns true if the server has ended our session: authenticating again may help.
    bool sessionEnded() const;
    /// Returns true if the server has certainly not received the whole request.
    bool notSent() const { return connectionLost() && !m_result.sent; }
    /// Returns true if a request that may have reached the server got no readable response: a
    /// change may have been made.
    bool outcomeUnknown() const { return m_result.code < 0 && m_result.sent; }
    /// Returns true if the directory itself failed: it did not respond, did not let us
    /// authenticate, or was busy.
    bool ofDirectory() const;
    /// Returns true if the connection was lost while authenticating.
    bool cutWhileAuthenticating() const {
        return connectionLost() && m_attempt.stage == Stage::Authenticate;
    }
    /// Returns true for a modification that does not fit what the object is by now (RFC 4511 4.1.9:
    /// noSuchAttribute, constraintViolation, attributeOrValueExists, noSuchObject).
    bool changedSince() const;

    /// Returns true if the fault is this computer's or its user's, so that no other server would
    /// accept the user.
    bool isLocal() const { return m_local; }
    /// Returns the same failure for another server, or for several.
    Failure at(const QString& servers) const;

private:
    Attempt m_attempt;
    Result m_result;
    bool m_local;
};

/// Throws DirectoryFailed if the directory itself failed, otherwise the Failure.
[[noreturn]] void throwTranslated(const Failure& failure);

/// Returns what a result code means, in words and as a number.
QString codeText(int code);

/// Makes a description of a result: what was tried, on what, what the server said, and the remedy
/// if there is one. Reads the Kerberos ticket cache.
Failure describeResult(const Attempt& attempt, const Result& result);

} // namespace rehome::ldap
