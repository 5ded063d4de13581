#include "platform/ldap/ldap_engine.h"

#include "platform/ldap/connection.h"
#include "platform/ldap/directory.h"
#include "platform/ldap/failure.h"
#include "platform/ldap/search_stream.h"

#include <utility>
#include <vector>

namespace rehome::ldap {

namespace {

class LdapSession : public engine::Session {
    void connect() {
        const auto former = std::exchange(m_connection, m_directory.connect());
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
    explicit LdapSession(Directory& directory)
        : m_directory(directory), m_connection(directory.connect()) {}
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
                    request.scope != engine::Scope::Base && m_directory.pages(m_connection);
                return std::make_unique<SearchStream>(m_connection, request,
                                                      paged ? m_directory.settings().pageSize : 0);
            },
            [](const Failure& failure) { return failure.sessionEnded(); });
    }

    void modify(const QString& name, const QList<engine::Replacement>& replacements) override {
        const auto writable =
            retryOnce([&] { return m_directory.schema().writable(m_connection, replacements); },
                      [](const Failure& failure) { return failure.sessionEnded(); });
        if (writable.isEmpty())
            return;
        // A server that answers "unavailable" has refused the change. One that hangs up instead of
        // answering may have made it.
        retryOnce(
            [&] {
                const int request = m_connection->sendModify(name, writable);
                m_connection->finish(request, {Stage::Modify, name});
            },
            [](const Failure& failure) {
                return failure.notSent() || (failure.sessionEnded() && !failure.connectionLost());
            });
    }

private:
    Directory& m_directory;
    std::shared_ptr<Connection> m_connection;
    std::vector<std::weak_ptr<Connection>> m_former;
};

} // namespace

LdapEngine::LdapEngine(LdapSettings settings)
    : m_directory(std::make_unique<Directory>(std::move(settings))) {
}

LdapEngine::~LdapEngine() = default;

std::unique_ptr<engine::Session> LdapEngine::openSession() {
    return std::make_unique<LdapSession>(*m_directory);
}

} // namespace rehome::ldap
