#include "platform/embedded/embedded_engine.h"

#include "platform/error.h"

using namespace Qt::StringLiterals;

namespace rehome::embedded {

namespace {

/// Shared by a session with its searches, which see it gone when the session is closed.
struct Open {};

class SessionEntries : public engine::Entries {
public:
    SessionEntries(std::unique_ptr<engine::Entries> entries, std::weak_ptr<Open> session)
        : m_entries(std::move(entries)), m_session(std::move(session)) {}

    std::optional<engine::Entry> next() override {
        if (m_session.expired())
            throw Error(u"The search broke off: its session is closed."_s);
        return m_entries->next();
    }

private:
    std::unique_ptr<engine::Entries> m_entries;
    std::weak_ptr<Open> m_session;
};

class EmbeddedSession : public engine::Session {
public:
    explicit EmbeddedSession(Organisation& organisation) : m_organisation(organisation) {}

    std::unique_ptr<engine::Entries> search(const engine::SearchRequest& request) override {
        return std::make_unique<SessionEntries>(m_organisation.search(request), m_open);
    }

    void modify(const QString& name, const QList<engine::Change>& changes,
                const QString&) override {
        m_organisation.modify(name, changes);
    }

private:
    Organisation& m_organisation;
    std::shared_ptr<Open> m_open = std::make_shared<Open>();
};

} // namespace

std::unique_ptr<engine::Session> EmbeddedEngine::openSession() {
    return std::make_unique<EmbeddedSession>(m_organisation);
}

} // namespace rehome::embedded
