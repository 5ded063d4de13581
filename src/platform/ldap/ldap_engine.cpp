#include "platform/ldap/ldap_engine.h"

#include "platform/ldap/domain_controllers.h"
#include "platform/ldap/failure.h"
#include "platform/ldap/search_stream.h"
#include "platform/ldap/server_connection.h"
#include "platform/ldap/waiting.h"

#include <ldap.h>

#include <array>
#include <map>
#include <utility>
#include <vector>

namespace rehome::ldap {

using namespace std::chrono_literals;

namespace {

/// Before each further attempt at a change that a busy server has refused, 2 s at most in all.
constexpr std::array BusyPauses{200ms, 500ms, 1000ms};

template <class Operation>
auto translated(const Operation& operation) {
    try {
        return operation();
    } catch (const Failure& failure) {
        throwTranslated(failure);
    }
}

class LdapSession : public engine::Session {
    using Connection = std::shared_ptr<ServerConnection>;

    /// A connection to that server; if none is named, to the one in use.
    Connection& connection(const QString& server) {
        const bool named = !server.isEmpty() && server != m_current->server();
        return named ? m_others[server] : m_current;
    }
    void connect(Connection& connection, const QString& server) {
        const Connection former =
            std::exchange(connection, server.isEmpty() ? m_controllers.connect()
                                                       : m_controllers.connectTo(server));
        forget(former);
    }
    /// Searches may still be read from it.
    void forget(const Connection& former) {
        std::erase_if(m_former, [](const auto& connection) { return connection.expired(); });
        if (former)
            m_former.push_back(former);
    }

    /// Does something at that server; if none is named, at the one in use or, once that is lost, at
    /// whichever responds.
    template <class Operation, class MayRepeat>
    auto at(const QString& server, const Operation& operation, const MayRepeat& mayRepeat) {
        Connection& used = connection(server);
        const bool fresh = !used || !used->usable();
        if (fresh)
            connect(used, server);
        try {
            return operation(used);
        } catch (const Failure& failure) {
            if (fresh || !mayRepeat(failure))
                throw;
        }
        connect(used, server);
        return operation(used);
    }

public:
    explicit LdapSession(DomainControllers& controllers)
        : m_controllers(controllers), m_current(controllers.connect()) {}
    ~LdapSession() override {
        forget(m_current);
        for (const auto& [server, other] : m_others)
            forget(other);
        for (const auto& former : m_former)
            if (const auto connection = former.lock())
                connection->close();
    }
    LdapSession(const LdapSession&) = delete;
    LdapSession& operator=(const LdapSession&) = delete;

    std::unique_ptr<engine::Entries> search(const engine::SearchRequest& request) override {
        // Until its first message has come, a search can be sent again without anybody noticing.
        return translated([&] {
            return at(
                request.server,
                [&](const Connection& used) {
                    const bool paged =
                        request.scope != engine::Scope::Base && m_controllers.pages(used);
                    return std::make_unique<SearchStream>(
                        used, request, paged ? m_controllers.settings().pageSize : 0);
                },
                [](const Failure& failure) { return failure.sessionEnded(); });
        });
    }

    void modify(const QString& name, const QList<engine::Change>& changes,
                const QString& server) override {
        // What was changed at one server is not known at another yet: it is changed at the server
        // that is named, or not at all.
        const QString where = server.isEmpty() ? m_current->server() : server;
        const QDeadlineTimer busyUntil(2s);
        const auto* pause = BusyPauses.begin();
        translated([&] {
            try {
                while (!at(
                    where,
                    [&](const Connection& used) {
                        return changed(used, name, changes, [&] {
                            return pause != BusyPauses.end() &&
                                   busyUntil.remainingTime() >= pause->count();
                        });
                    },
                    [](const Failure& failure) { return failure.notSent(); }))
                    awaitEvent(-1, 0, QDeadlineTimer(*pause++),
                               m_controllers.settings().interruption);
            } catch (const Failure& failure) {
                if (failure.changedSince())
                    throw engine::ChangedSince(failure.description());
                if (failure.outcomeUnknown())
                    throw engine::OutcomeUnknown(failure.description());
                throw;
            }
        });
    }

private:
    /// False if the server was busy, and `mayWait`: it has not made the change.
    template <class MayWait>
    static bool changed(const Connection& used, const QString& name,
                        const QList<engine::Change>& changes, const MayWait& mayWait) {
        try {
            const int request = used->sendModify(name, changes);
            used->finish(request, {Stage::Modify, name});
            return true;
        } catch (const Failure& failure) {
            if (failure.code() == LDAP_BUSY && mayWait())
                return false;
            if (failure.outcomeUnknown())
                used->reset();
            throw;
        }
    }

    DomainControllers& m_controllers;
    Connection m_current;
    std::map<QString, Connection> m_others; ///< by server
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
