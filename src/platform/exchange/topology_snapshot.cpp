#include "platform/exchange/topology_snapshot.h"

#include "platform/engine/escape.h"

#include <algorithm>
#include <array>
#include <utility>

namespace rehome::exchange {

using namespace Qt::Literals::StringLiterals;

namespace {

const QString ServerFilter = u"(objectClass=msExchExchangeServer)"_s;
const std::array Filters{ServerFilter, u"(objectClass=msExchStorageGroup)"_s,
                         u"(objectClass=msExchPrivateMDB)"_s};
const QString AnyFilter = u"(objectClass=*)"_s;

/// Whether the object is one that the filter, a class or any, means.
bool matches(const engine::Entry& object, const QString& filter) {
    const auto classes = object.values(u"objectClass"_s);
    return filter == AnyFilter ||
           std::any_of(classes.begin(), classes.end(), [&](const QByteArray& name) {
               return filter.compare(u"(objectClass=%1)"_s.arg(QString::fromUtf8(name)),
                                     Qt::CaseInsensitive) == 0;
           });
}

bool isWithin(const QString& name, const QString& base, engine::Scope scope) {
    return name.endsWith(u',' + base) &&
           (scope == engine::Scope::Subtree || engine::parentName(name) == base);
}

} // namespace

class TopologySnapshot::Answer final : public engine::Entries {
public:
    explicit Answer(std::vector<engine::Entry> objects) : m_objects(std::move(objects)) {}
    std::optional<engine::Entry> next() override {
        if (m_next == m_objects.size())
            return std::nullopt;
        return std::move(m_objects[m_next++]);
    }

private:
    std::vector<engine::Entry> m_objects;
    size_t m_next = 0;
};

class TopologySnapshot::AnsweringSession final : public engine::Session {
public:
    explicit AnsweringSession(TopologySnapshot& snapshot)
        : m_snapshot(snapshot), m_session(snapshot.m_engine.openSession()) {}

    std::unique_ptr<engine::Entries> search(const engine::SearchRequest& request) override {
        if (request.scope == engine::Scope::Subtree && request.filter == ServerFilter &&
            m_snapshot.m_phase == Phase::None)
            m_snapshot.m_base = request.base;
        if (m_snapshot.m_phase == Phase::Begun && m_snapshot.isBelowBase(request.base))
            m_snapshot.read(*m_session);
        if (auto answer = m_snapshot.answer(request))
            return answer;
        if (request.scope == engine::Scope::Subtree && !m_snapshot.isBelowBase(request.base))
            m_snapshot.end();
        return m_session->search(request);
    }
    void modify(const QString& name, const QList<engine::Change>& changes,
                const QString& server) override {
        m_session->modify(name, changes, server);
    }

private:
    TopologySnapshot& m_snapshot;
    std::unique_ptr<engine::Session> m_session;
};

std::unique_ptr<engine::Session> TopologySnapshot::openSession() {
    return std::make_unique<AnsweringSession>(*this);
}

void TopologySnapshot::begin() noexcept {
    end();
    m_probe.beginChecks({}); // checks of the enumeration before must not count if the search fails
    m_phase = Phase::Begun;
}

void TopologySnapshot::end() noexcept {
    m_phase = Phase::None;
    m_objects.clear();
    m_places.clear();
    m_answered.clear();
}

bool TopologySnapshot::isBelowBase(const QString& name) const {
    return !m_base.isEmpty() && name.endsWith(u',' + m_base);
}

QStringList TopologySnapshot::attributes() const {
    return QStringList{u"objectClass"_s, u"objectGUID"_s,       u"distinguishedName"_s,
                       u"name"_s,        u"legacyExchangeDN"_s, u"msExchESEParamBaseName"_s} +
           m_probe.attributes();
}

void TopologySnapshot::read(engine::Session& session) {
    m_phase = Phase::None; // also if this fails
    engine::SearchRequest request;
    request.base = m_base;
    request.scope = engine::Scope::Subtree;
    request.filter = u"(|%1%2%3)"_s.arg(Filters[0], Filters[1], Filters[2]);
    request.attributes = attributes();
    std::vector<engine::Entry> objects, servers;
    try {
        const auto entries = session.search(request);
        while (auto object = entries->next())
            objects.push_back(std::move(*object));
    } catch (const Error&) {
        return; // reading an object by itself gives the reason
    }
    m_objects = std::move(objects);
    for (size_t i = 0; i < m_objects.size(); ++i) {
        m_places.insert(m_objects[i].distinguishedName, i);
        if (matches(m_objects[i], ServerFilter))
            servers.push_back(m_objects[i]);
    }
    m_phase = Phase::Read;
    m_probe.beginChecks(servers);
}

std::unique_ptr<engine::Entries> TopologySnapshot::answer(const engine::SearchRequest& request) {
    const bool single = request.scope == engine::Scope::Base;
    const auto place = m_places.constFind(request.base);
    const bool covered =
        std::find(Filters.begin(), Filters.end(), request.filter) != Filters.end() ||
        (single && request.filter == AnyFilter);
    if (place == m_places.constEnd() || !covered || !request.server.isEmpty())
        return nullptr;
    const QStringList known = attributes();
    for (const QString& attribute : request.attributes)
        if (!known.contains(attribute, Qt::CaseInsensitive))
            return nullptr;
    std::vector<engine::Entry> found;
    if (single && matches(m_objects[*place], request.filter))
        found.push_back(m_objects[*place]);
    for (const engine::Entry& object : m_objects)
        if (!single && isWithin(object.distinguishedName, request.base, request.scope) &&
            matches(object, request.filter))
            found.push_back(object);
    if (single && found.empty())
        return nullptr;
    const QString question = request.filter + request.base;
    if (m_answered.contains(question))
        return nullptr;
    m_answered.insert(question);
    return std::make_unique<Answer>(std::move(found));
}

} // namespace rehome::exchange
