#include "platform/exchange/directory_watch.h"

#include <utility>

namespace rehome::exchange {

using namespace Qt::Literals::StringLiterals;

template <class Action>
auto DirectoryWatch::watched(const Action& action) {
    try {
        return action();
    } catch (const engine::DirectoryFailed& failure) {
        if (m_enumerating && m_failure.isEmpty())
            m_failure = failure.description();
        throw;
    }
}

class DirectoryWatch::WatchedEntries final : public engine::Entries {
public:
    enum class Of { AnyServer, OneServer, List };

    WatchedEntries(DirectoryWatch& watch, std::unique_ptr<engine::Entries> entries, Of of)
        : m_watch(watch), m_entries(std::move(entries)), m_of(of) {}
    std::optional<engine::Entry> next() override {
        if (m_of == Of::List) // which fails by itself
            return noted(m_entries->next());
        return noted(m_watch.watched([&] { return m_entries->next(); }));
    }

private:
    std::optional<engine::Entry> noted(std::optional<engine::Entry> entry) {
        if (entry && m_of != Of::OneServer)
            m_watch.noteServer(entry->server);
        if (entry && m_of == Of::List)
            m_watch.m_listedAt = entry->server;
        return entry;
    }

    DirectoryWatch& m_watch;
    std::unique_ptr<engine::Entries> m_entries;
    Of m_of;
};

void DirectoryWatch::noteServer(const QString& server) {
    if (server == m_inUse)
        return;
    m_inUse = server;
    m_journal.Tell(platform::Event::Remark, u"domain controller in use: "_s + server);
}

class DirectoryWatch::WatchedSession final : public engine::Session {
public:
    WatchedSession(DirectoryWatch& watch, std::unique_ptr<engine::Session> session)
        : m_watch(watch), m_session(std::move(session)) {}

    std::unique_ptr<engine::Entries> search(const engine::SearchRequest& request) override {
        using Of = WatchedEntries::Of;
        // The configuration and what is below it begin with "CN=".
        if (m_watch.m_enumerating && request.scope == engine::Scope::Subtree &&
            request.base.startsWith(u"DC="_s, Qt::CaseInsensitive)) {
            m_watch.m_enumerating = false;
            if (!m_watch.m_failure.isEmpty())
                throw Error(std::exchange(m_watch.m_failure, QString()) +
                            u" Press Exit, then start again."_s);
            return std::make_unique<WatchedEntries>(m_watch, m_session->search(request), Of::List);
        }
        return std::make_unique<WatchedEntries>(
            m_watch, m_watch.watched([&] { return m_session->search(request); }),
            request.server.isEmpty() ? Of::AnyServer : Of::OneServer);
    }
    void modify(const QString& name, const QList<engine::Change>& changes,
                const QString& server) override {
        m_session->modify(name, changes, server);
    }

private:
    DirectoryWatch& m_watch;
    std::unique_ptr<engine::Session> m_session;
};

std::unique_ptr<engine::Session> DirectoryWatch::openSession() {
    return std::make_unique<WatchedSession>(*this, watched([&] { return m_engine.openSession(); }));
}

} // namespace rehome::exchange
