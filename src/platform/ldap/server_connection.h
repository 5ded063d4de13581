#pragma once

#include "platform/engine/engine.h"
#include "platform/ldap/failure.h"
#include "platform/ldap/health.h"
#include "platform/ldap/ldap_library.h"
#include "platform/ldap/ldap_settings.h"
#include "platform/ldap/socket_layer.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QString>

#include <memory>

namespace rehome::ldap {

/// One authenticated connection to one domain controller. A lost connection is never reused:
/// libldap would reconnect without authenticating. It may be made in one thread and then used in
/// another. All calls that wait, and none else, may end the process through
/// LdapSettings::interruption.
class ServerConnection {
public:
    /// Connects to `server`, an LDAP URI, and authenticates (see authenticate()). Always encrypted,
    /// never interactive. Blocks; each response has LdapSettings::connectTimeout. If
    /// `reconnecting`, each response has only shortTimeout, up to and including the first response
    /// to a search. Throws Failure, or Error if the URI contains a NUL.
    ServerConnection(const QString& server, const LdapSettings& settings,
                     std::shared_ptr<Health> health, bool reconnecting);

    /// To be called once, after a response has been read: from here on the connection belongs to
    /// the calling thread, with these settings and this health. `supportsPaging`: whether the
    /// server sends search results in pages.
    void activate(const LdapSettings& settings, std::shared_ptr<Health> health,
                  bool supportsPaging);

    const QString& server() const { return m_server; }
    bool supportsPaging() const { return m_supportsPaging; }
    /// Returns a token that a paged search holds until its last page.
    std::shared_ptr<const void> beginPaging();
    /// Returns true while a token of beginPaging() is held.
    bool isPaging() const { return !m_paging.expired(); }
    ::ldap* handle() const { return m_handle.get(); }
    /// Returns false after a failed request, an ended session or a hang-up, and if any connection
    /// has timed out since this one last received something.
    bool isUsable() const;

    /// Sends a request and returns its message ID. `pageSize`: 1 to 1000 entries, or 0 for a search
    /// without pages; `cookie`: of the page before, empty for the first. Blocks up to
    /// responseTimeout while the socket is full. Throws Failure; if its notSent() is true, the
    /// server has not received the request.
    int sendSearch(const engine::SearchRequest& request, int pageSize, const QByteArray& cookie);
    /// The same for a modify request, which must have a change. If it throws a Failure with
    /// outcomeUnknown(), the change may have been made, or may be made yet.
    int sendModify(const QString& name, const QList<engine::Change>& changes);

    enum class Wait {
        ForAny,   ///< for at least one message
        ForBatch, ///< the same, but first 50 us for more if there is none yet
        ForAll    ///< up to the final message
    };
    /// Returns a chain of the request's next messages. Blocks up to responseTimeout for each
    /// message. Throws Failure if none comes in time or the connection is lost: a modification may
    /// have been made then.
    Message receive(int request, Wait wait, const Attempt& attempt);
    /// Parses a final message. Returns the cookie of the next page (RFC 2696), empty if there is
    /// none. Throws Failure on any result but success.
    QByteArray checkResult(::ldapmsg* message, const Attempt& attempt);
    /// Waits for the only message of a request and checks it. Throws as receive() and
    /// checkResult() do.
    void finish(int request, const Attempt& attempt);
    void abandon(int request) noexcept;
    /// Throws the Failure that describes a result.
    [[noreturn]] void fail(Attempt attempt, const Result& result) const;
    /// Resets the TCP connection: later reads throw, and the server does not receive what is still
    /// unsent, so that it cannot make a change after we have reported its outcome as unknown.
    void reset() noexcept;

private:
    /// Throws Failure if the host does not accept connections.
    void checkReachable(QDeadlineTimer deadline, std::chrono::milliseconds timeout);
    [[noreturn]] void failTls(const QString& remark, QDeadlineTimer deadline);
    int checkSent(int code, int request, const Attempt& attempt);
    Message await(int request, Wait wait, std::chrono::milliseconds timeout,
                  const Attempt& attempt);
    std::chrono::milliseconds shortened(std::chrono::milliseconds timeout, Stage stage) const;
    void noteResponse();
    [[noreturn]] void failTimedOut(Attempt attempt, std::chrono::milliseconds timeout);

    QString m_server;
    LdapSettings m_settings;
    std::unique_ptr<SocketLayer> m_socketLayer; ///< before m_handle, which uses it until destroyed
    Handle m_handle;
    std::shared_ptr<Health> m_health;
    int m_timeoutsSeen = 0; ///< as Health counts them, when something was read last
    bool m_reconnecting;
    std::weak_ptr<const void> m_paging;
    bool m_supportsPaging = false;
    bool m_lost = false;
    bool m_reset = false;
};

} // namespace rehome::ldap
