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

/// A domain controller that has answered: its root object was read on the connection.
struct ReadyController {
    std::shared_ptr<ServerConnection> connection;
    QString domain;          ///< its defaultNamingContext
    bool pages = false;      ///< whether it offers the paged-results control (RFC 2696)
    bool lastResort = false; ///< it is read-only, or not synchronised
};

/// Authenticates at several domain controllers side by side and takes the first that answers.
///
/// 1. Those of one priority begin 20 ms apart, in their order, eight at a time; the rest as these
///    fail.
/// 2. A later priority begins when all before it have failed, or a second after the one before it.
/// 3. A last resort is taken only when all others have failed.
/// 4. A fault of this computer ends the race: no other domain controller would accept the user.
///
/// What is under way at the end is left behind in its thread, and closes its own connection.
class ControllerRace {
public:
    /// Runs in a thread of its own, and so must own all that it uses. Throws Failure.
    using Authenticate = std::function<ReadyController(const QString& server)>;

    /// `limit` is that of one domain controller in all, and `interruption` ends the wait.
    ControllerRace(Authenticate authenticate, std::chrono::milliseconds limit,
                   platform::Interruption* interruption);
    ~ControllerRace();
    ControllerRace(const ControllerRace&) = delete;
    ControllerRace& operator=(const ControllerRace&) = delete;

    /// None if all fail. `servers` are URIs by priority. To be called once. Throws Error if this
    /// computer has no thread left, or a URI cannot be used.
    std::optional<ReadyController> run(const QList<QStringList>& servers);
    /// Each reason once with its servers, in the order in which these were tried.
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

    /// Begins what is due and returns when to look again at the latest.
    QDeadlineTimer beginDue(std::vector<Priority>& priorities);
    void begin(Priority& priority);
    /// What the candidate has come to; none if it has failed, or is a last resort.
    std::optional<ReadyController> finish(Candidate& candidate);

    Authenticate m_authenticate;
    std::chrono::milliseconds m_limit;
    platform::Interruption* m_interruption;
    int m_events; ///< readable when a candidate's call has ended
    std::vector<Candidate> m_candidates;
    std::optional<ReadyController> m_lastResort;
};

} // namespace rehome::ldap
