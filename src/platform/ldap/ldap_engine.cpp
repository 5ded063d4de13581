#include "platform/ldap/ldap_engine.h"

#include "platform/ldap/domain_controllers.h"
#include "platform/ldap/failure.h"
#include "platform/ldap/search_stream.h"
#include "platform/ldap/server_connection.h"
#include "platform/ldap/waiting.h"

#include <ldap.h>

#include <array>
#include <utility>
#include <vector>

namespace rehome::ldap {

using namespace std::chrono_literals;

namespace {

/// Before each further attempt at a change that a busy server has refused, 2 s at most in all.
constexpr std::array BusyPauses{200ms, 500ms, 1000ms};

class LdapSession : public engine::Session {
    void connect() {
        const auto former = std::exchange(m_connection, m_controllers.connect());
        std::erase_if(m_former, [](const auto& connection) { return connection.expired(); });
        m_former.push_back(former); // searches may still be read from it
    }

    template <class Operation, class MayRepeat>
    auto retryOnce(const Operation& operation, const MayRepeat& mayRepeat) {
        const bool fresh = !m_connection->usable();
        if (fresh)
            connect();
        try {
            return operation();
        } catch (const Failure& failure) {
            if (fresh || !mayRepeat(failure))
                throw;
        }
        connect();
        return operation();
    }

public:
    explicit LdapSession(DomainControllers& controllers)
        : m_controllers(controllers), m_connection(controllers.connect()) {}
    ~LdapSession() override {
        m_connection->close();
        for (const auto& former : m_former)
            if (const auto connection = former.lock())
                connection->close();
    }
    LdapSession(const LdapSession&) = delete;
    LdapSession& operator=(const LdapSession&) = delete;

    std::unique_ptr<engine::Entries> search(const engine::SearchRequest& request) override {
        // Until its first message has come, a search can be sent again without anybody noticing.
        return retryOnce(
            [&] {
                const bool paged =
                    request.scope != engine::Scope::Base && m_controllers.pages(m_connection);
                return std::make_unique<SearchStream>(
                    m_connection, request, paged ? m_controllers.settings().pageSize : 0);
            },
            [](const Failure& failure) { return failure.sessionEnded(); });
    }

    void modify(const QString& name, const QList<engine::Change>& replacements,
                const QString&) override {
        const auto writable =
            retryOnce([&] { return m_controllers.schema().writable(m_connection, replacements); },
                      [](const Failure& failure) { return failure.sessionEnded(); });
        if (writable.isEmpty())
            return;
        // A server that hangs up, or says that it will, instead of answering may have made the
        // change.
        const QDeadlineTimer busyUntil(2s);
        const auto* pause = BusyPauses.begin();
        try {
            while (!retryOnce(
                [&] {
                    try {
                        const int request = m_connection->sendModify(name, writable);
                        m_connection->finish(request, {Stage::Modify, name});
                        return true;
                    } catch (const Failure& failure) { // a busy server has not made the change
                        if (failure.code() != LDAP_BUSY || pause == BusyPauses.end() ||
                            busyUntil.remainingTime() < pause->count())
                            throw;
                        return false;
                    }
                },
                [](const Failure& failure) { return failure.notSent(); }))
                awaitEvent(-1, 0, QDeadlineTimer(*pause++), m_controllers.settings().interruption);
        } catch (const Failure& failure) {
            if (failure.changedSince())
                throw engine::ChangedSince(failure.description());
            if (failure.outcomeUnknown())
                throw engine::OutcomeUnknown(failure.description());
            throw;
        }
    }

private:
    DomainControllers& m_controllers;
    std::shared_ptr<ServerConnection> m_connection;
    std::vector<std::weak_ptr<ServerConnection>> m_former;
};

} // namespace

LdapEngine::LdapEngine(LdapSettings settings)
    : m_controllers(std::make_unique<DomainControllers>(std::move(settings))) {
}

LdapEngine::~LdapEngine() = default;

std::unique_ptr<engine::Session> LdapEngine::openSession() {
    return std::make_unique<LdapSession>(*m_controllers);
}

} // namespace rehome::ldap
