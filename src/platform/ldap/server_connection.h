#pragma once

#include "platform/engine/engine.h"
#include "platform/ldap/failure.h"
#include "platform/ldap/ldap_settings.h"
#include "platform/ldap/socket_layer.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QString>

#include <memory>

struct ldap;
struct ldapmsg;

namespace rehome::ldap {

struct HandleDeleter {
    void operator()(::ldap* handle) const;
};
struct MessageDeleter {
    void operator()(::ldapmsg* message) const;
};
using Handle = std::unique_ptr<::ldap, HandleDeleter>;
using Message = std::unique_ptr<::ldapmsg, MessageDeleter>;

/// Whether a directory answers, as all connections to it have seen.
struct Health {
    int timeouts = 0;    ///< limits that have run out so far
    bool silent = false; ///< nothing has been read since the last of them
    QDeadlineTimer
        shortLimitsUntil{}; ///< until then a silent directory gets the revival limit alone

    /// A limit has run out. `pause` as LdapSettings::revivalPause.
    void noteTimeout(bool reviving, std::chrono::milliseconds pause) {
        ++timeouts;
        silent = true;
        if (!reviving)
            shortLimitsUntil.setRemainingTime(pause);
    }
};

/// One signed-on connection to one server. Once lost it is never opened again: the client library
/// would do so without authenticating. It may be made in one thread and used in another.
class ServerConnection {
public:
    /// Connects and signs on: with the mechanism that the client library is set to, else EXTERNAL
    /// on ldapi, else GSS-SPNEGO or GSSAPI with the user's Kerberos ticket. Never in clear and
    /// never with a prompt: what TLS does not seal, SASL does. `reviving`: each answer, up
    /// to the first to a search, comes within LdapSettings::revivalLimit. Throws Failure.
    ServerConnection(const QString& server, const LdapSettings& settings,
                     std::shared_ptr<Health> health, bool reviving);

    /// Goes over to the thread, the limits and the directory's health that it is used with, after
    /// something has been read on it. `pages`: whether its server sends searches in pages.
    void handOver(const LdapSettings& settings, std::shared_ptr<Health> health, bool pages);

    const QString& server() const { return m_server; }
    bool pages() const { return m_pages; }
    /// Held by the search that is being read in pages.
    std::shared_ptr<const void> beginPaging();
    bool isPaging() const { return !m_paging.expired(); }
    ::ldap* handle() const { return m_handle.get(); }
    /// False once a request has failed on it, the session has ended or the server has hung up; and
    /// where nothing has been read on it since a limit ran out anywhere.
    bool usable() const;

    /// Sends a request and returns its number. `pageSize` 0: not in pages. Throws Failure, with
    /// notSent() where the server has hung up.
    int sendSearch(const engine::SearchRequest& request, int pageSize, const QByteArray& cookie);
    int sendModify(const QString& name, const QList<engine::Change>& replacements);
    enum class Until { SomeCame, ManyCame, AllCame };
    /// The request's next messages, chained: those that have come, at least one; the same, with a
    /// moment for more to come where there is none; or all of them. Throws Failure where none comes
    /// in time or the connection is lost.
    Message receive(int request, Until until, const Attempt& attempt);
    /// Takes a final message apart and returns the cookie of the next page (RFC 2696), if any.
    /// Throws Failure on any result but success.
    QByteArray checkResult(::ldapmsg* message, const Attempt& attempt);
    /// Waits for the final message of a request that has no other.
    void finish(int request, const Attempt& attempt);
    void abandon(int request) noexcept;
    /// Throws the Failure that describes a result.
    [[noreturn]] void fail(Attempt attempt, const Result& result) const;
    /// Ends it for all who still read from it, and discards what the server has not received yet:
    /// it is not to carry out later what was given up.
    void reset() noexcept;

private:
    void checkReachable(QDeadlineTimer deadline, std::chrono::milliseconds limit);
    [[noreturn]] void failTls(const QString& remark, QDeadlineTimer deadline);
    void signOn();
    Result bind(const char* mechanism);
    int sent(int code, int request, const Attempt& attempt);
    Message await(int request, Until until, std::chrono::milliseconds limit,
                  const Attempt& attempt);
    std::chrono::milliseconds shortened(std::chrono::milliseconds limit, Stage stage) const;
    void noteAnswer();
    [[noreturn]] void failSilent(Attempt attempt, std::chrono::milliseconds limit);
    QString diagnostic() const;

    QString m_server;
    LdapSettings m_settings;
    std::unique_ptr<SocketLayer> m_socketLayer;
    Handle m_handle;
    std::shared_ptr<Health> m_health;
    int m_timeoutsBefore = 0; ///< how many limits had run out when something was last read
    bool m_reviving;
    std::weak_ptr<const void> m_paging;
    bool m_pages = false;
    bool m_lost = false;
    bool m_reset = false;
};

/// A text as the client library takes it. Throws Error where it holds a NUL, which would end it
/// early.
QByteArray libraryText(const QString& text);

} // namespace rehome::ldap
