#include "platform/ldap/ldap_engine.h"

#include "platform/ldap/domain_controllers.h"
#include "platform/ldap/failure.h"
#include "platform/ldap/search_stream.h"
#include "platform/ldap/server_connection.h"
#include "platform/waiting.h"

#include <ldap.h>

#include <array>
#include <memory>
#include <utility>

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

    /// Does something at that server; if none is named, at the one in use or, once that is lost, at
    /// whichever responds.
    template <class Operation, class MayRepeat>
    auto at(const QString& server, bool forPages, const Operation& operation,
            const MayRepeat& mayRepeat) {
        if (const Connection used = m_controllers.find(server, forPages)) {
            try {
                return operation(used);
            } catch (const Failure& failure) {
                if (!mayRepeat(failure))
                    throw;
            }
        }
        return operation(m_controllers.connect(server));
    }

public:
    explicit LdapSession(DomainControllers& controllers) : m_controllers(controllers) {
        at(
            {}, false, [&](const Connection& used) { m_server = used->server(); },
            [](const Failure&) { return false; });
    }

    std::unique_ptr<engine::Entries> search(const engine::SearchRequest& request) override {
        // Until its first message has come, a search can be sent again without anybody noticing.
        return translated([&] {
            const bool many = request.scope != engine::Scope::Base;
            return at(
                request.server, many,
                [&](const Connection& used) {
                    const int pageSize =
                        many && used->supportsPaging() ? m_controllers.settings().pageSize : 0;
                    auto stream = std::make_unique<SearchStream>(used, request, pageSize, m_open);
                    if (request.server.isEmpty())
                        m_server = used->server();
                    return stream;
                },
                [](const Failure& failure) { return failure.sessionEnded(); });
        });
    }

    void modify(const QString& name, const QList<engine::Change>& changes,
                const QString& server) override {
        // What was changed at one server is not known at another yet: it is changed at the server
        // that is named, or not at all.
        const QString where = server.isEmpty() ? m_server : server;
        const QDeadlineTimer busyUntil(2s);
        const auto* pause = BusyPauses.begin();
        translated([&] {
            try {
                while (!at(
                    where, false,
                    [&](const Connection& used) {
                        return changed(used, name, changes, [&] {
                            return pause != BusyPauses.end() &&
                                   busyUntil.remainingTime() >= pause->count();
                        });
                    },
                    [](const Failure& failure) { return failure.notSent(); }))
                    platform::awaitEvent(-1, 0, QDeadlineTimer(*pause++),
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
    QString m_server; ///< the one that a search of no server in particular went to last
    const std::shared_ptr<const char> m_open = std::make_shared<char>(); ///< what searches go by
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
