#pragma once

#include "platform/blocking_call.h"
#include "platform/ldap/server_connection.h"

#include <QStringList>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace rehome::ldap {

/// A domain controller that has responded: its rootDSE was read on the connection.
struct ReadyController {
    std::shared_ptr<ServerConnection> connection;
    QString domain;              ///< its defaultNamingContext
    bool supportsPaging = false; ///< paged results control (RFC 2696)
    bool lastResort = false;     ///< it is read-only, or not synchronised
};

/// Authenticates at several domain controllers in parallel and takes the first that responds.
///
/// 1. Those of one priority begin 20 ms apart, in their order, at most eight at a time; the others
///    begin as these fail.
/// 2. A later priority begins when all before it have failed, or 1 s after the one before it.
/// 3. A last resort is taken only if all others have failed.
/// 4. A fault of this computer ends the race: no other domain controller would accept the user.
///
/// Attempts that are not finished at the end are left behind in their threads, and close their own
/// connections.
class ControllerRace {
public:
    /// Connects and authenticates in a thread of its own, and so must own all that it uses. Throws
    /// Failure.
    using Connector = std::function<ReadyController(const QString& server)>;

    /// `timeout`: for one domain controller, from its beginning to its end; `interruption`: as in
    /// LdapSettings. Throws Error if no file descriptor is left.
    ControllerRace(Connector connector, std::chrono::milliseconds timeout,
                   platform::Interruption* interruption);
    ~ControllerRace();
    ControllerRace(const ControllerRace&) = delete;
    ControllerRace& operator=(const ControllerRace&) = delete;

    /// `servers`: URIs by priority. To be called once; blocks, and may end the process. Returns
    /// nullopt if all fail. Throws Error if no thread is left or a URI contains a NUL.
    std::optional<ReadyController> run(const QList<QStringList>& servers);
    /// Returns the failures: each reason once, with its servers, in the order of the attempts.
    QString reasons() const;
    bool anyTimedOut() const;

private:
    struct Priority {
        QStringList waiting;
        int running = 0;
        QDeadlineTimer nextBegins{0};
        QDeadlineTimer laterBegins{}; ///< set when this priority begins
        bool begun = false;

        bool failed() const { return waiting.isEmpty() && running == 0; }
    };
    struct Candidate {
        QString server;
        Priority* priority;
        platform::BlockingCall<ReadyController> call;
        QDeadlineTimer deadline;
        std::optional<Failure> failure{};
        bool over = false;
    };

    /// Begins what is due. Returns when to call it again at the latest.
    QDeadlineTimer beginDue(std::vector<Priority>& priorities);
    void begin(Priority& priority);
    /// Ends the candidate. Returns nullopt if it has failed, or is a last resort.
    std::optional<ReadyController> finish(Candidate& candidate);

    Connector m_connector;
    std::chrono::milliseconds m_timeout;
    platform::Interruption* m_interruption;
    int m_events; ///< readable when a candidate's call has ended
    std::vector<Candidate> m_candidates;
    std::optional<ReadyController> m_lastResort;
};

} // namespace rehome::ldap
