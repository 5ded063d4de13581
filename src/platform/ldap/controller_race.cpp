#include "platform/ldap/controller_race.h"

#include <ldap.h>
#include <sys/epoll.h>

#include <algorithm>
#include <utility>

namespace rehome::ldap {

using namespace std::chrono_literals;

namespace {

constexpr int MaxSideBySide = 8;
constexpr auto BetweenServers = 20ms;
constexpr auto BetweenPriorities = 1000ms;

} // namespace

ControllerRace::ControllerRace(Connector connector, std::chrono::milliseconds timeout,
                               platform::Interruption* interruption)
    : m_connector(std::move(connector)), m_timeout(timeout), m_interruption(interruption),
      m_events(epoll_create1(EPOLL_CLOEXEC)) {
    if (m_events < 0)
        throw Error(QStringLiteral("This computer has no file descriptor left."));
}

ControllerRace::~ControllerRace() {
    close(m_events);
}

std::optional<ReadyController> ControllerRace::run(const QList<QStringList>& servers) {
    std::vector<Priority> priorities;
    for (const QStringList& waiting : servers)
        priorities.push_back({.waiting = waiting});
    for (;;) {
        const QDeadlineTimer next = beginDue(priorities);
        if (std::all_of(priorities.begin(), priorities.end(),
                        [](const Priority& priority) { return priority.failed(); }))
            return std::exchange(m_lastResort, std::nullopt);
        platform::awaitEvent(m_events, POLLIN, next, m_interruption);
        for (Candidate& candidate : m_candidates) {
            if (candidate.over || !(candidate.call.ended() || candidate.deadline.hasExpired()))
                continue;
            if (auto winner = finish(candidate))
                return winner;
            if (candidate.failure && candidate.failure->isLocal())
                return std::exchange(m_lastResort, std::nullopt);
        }
    }
}

QDeadlineTimer ControllerRace::beginDue(std::vector<Priority>& priorities) {
    QDeadlineTimer next(QDeadlineTimer::Forever);
    bool allFailed = true;
    for (Priority& priority : priorities) {
        if (!std::exchange(priority.begun, true))
            priority.laterBegins = QDeadlineTimer(BetweenPriorities);
        const auto mayBegin = [&] {
            return !priority.waiting.isEmpty() && priority.running < MaxSideBySide;
        };
        while (mayBegin() && priority.nextBegins.hasExpired())
            begin(priority);
        if (mayBegin())
            next = std::min(next, priority.nextBegins);
        allFailed = allFailed && priority.failed();
        if (!allFailed && !priority.laterBegins.hasExpired()) {
            next = std::min(next, priority.laterBegins);
            break;
        }
    }
    for (const Candidate& candidate : m_candidates)
        if (!candidate.over)
            next = std::min(next, candidate.deadline);
    return next;
}

void ControllerRace::begin(Priority& priority) {
    const QString server = priority.waiting.takeFirst();
    if (m_interruption)
        m_interruption->waitFor(server);
    m_candidates.push_back({server, &priority,
                            platform::BlockingCall<ReadyController>(
                                [connector = m_connector, server] { return connector(server); }),
                            QDeadlineTimer(m_timeout)});
    epoll_event event{EPOLLIN, {}};
    epoll_ctl(m_events, EPOLL_CTL_ADD, m_candidates.back().call.descriptor(), &event);
    ++priority.running;
    priority.nextBegins = QDeadlineTimer(BetweenServers);
}

std::optional<ReadyController> ControllerRace::finish(Candidate& candidate) {
    candidate.over = true;
    --candidate.priority->running;
    epoll_ctl(m_events, EPOLL_CTL_DEL, candidate.call.descriptor(), nullptr);
    try {
        auto answer = candidate.call.await(QDeadlineTimer(0), nullptr);
        if (!answer)
            candidate.failure = describeResult(
                {Stage::Authenticate, {}, candidate.server, m_timeout}, {LDAP_TIMEOUT});
        else if (!answer->lastResort)
            return answer;
        else if (!m_lastResort)
            m_lastResort = std::move(answer);
    } catch (const Failure& failure) {
        candidate.failure = failure;
    }
    return std::nullopt;
}

QString ControllerRace::reasons() const {
    std::vector<std::pair<const Failure*, QStringList>> reasons; // equal ones together
    for (const Candidate& candidate : m_candidates) {
        if (!candidate.failure)
            continue;
        const QString reason = candidate.failure->at({}).description();
        const auto known = std::find_if(reasons.begin(), reasons.end(), [&](const auto& other) {
            return other.first->at({}).description() == reason;
        });
        if (known == reasons.end())
            reasons.emplace_back(&*candidate.failure, candidate.server);
        else
            known->second += candidate.server;
    }
    QStringList descriptions;
    for (const auto& [failure, servers] : reasons)
        descriptions += failure->at(servers.join(QStringLiteral(", "))).description();
    return descriptions.join(u'\n');
}

bool ControllerRace::anyTimedOut() const {
    return std::any_of(m_candidates.begin(), m_candidates.end(), [](const Candidate& candidate) {
        return candidate.failure && candidate.failure->code() == LDAP_TIMEOUT;
    });
}

} // namespace rehome::ldap
