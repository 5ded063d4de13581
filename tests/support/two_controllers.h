#pragma once

#include "platform/embedded/organisation_file.h"
#include "platform/engine/mailbox_opener.h"
#include "support/organisation_text.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>

namespace rehome::test {

/// Two domain controllers of one organisation, "DC1" and "DC2", that replicate when they are told
/// to, by Active Directory's rules: the higher version of an attribute wins, else the later time,
/// else the greater identity; so for each value of the linked attribute homeMDB. Notes in `wrong`
/// what a tool must not do to a user.
class TwoControllers final : public engine::Engine, public engine::MailboxOpener {
public:
    enum class What { Plain, Links, All };
    /// What happens at a request. The colleague's are done on the controller in use or on the
    /// other.
    enum class Kind {
        Dies, ///< the one in use, for the tool alone: it replicates on
        ComesBack,
        ReplicatesPlain,
        ReplicatesLinks,
        ReplicatesAll,
        RehomedHere,
        RehomedThere,
        EmptiedHere,
        EmptiedThere,
        RestoredHere,
        RestoredThere,
        // Of a modify, which is answered in none of them:
        Made,
        NeverMade,
        MadeNext,  ///< at the next request
        MadeLater, ///< after three more
        MadeAtEnd,
        FrozenForThree, ///< and made when it thaws
        FrozenToEnd
    };
    struct Event {
        Kind kind;
        int at; ///< which request, or which modify, from 0
        bool happened = false;
    };
    /// How a user stands to the tool's and the colleague's changes.
    struct User {
        QString listed;          ///< the home that the last list showed
        int readAt = -1;         ///< the controller that was asked for the user last
        int changedAt = -1;      ///< the one that the tool's changes were sent to
        int unreplicatedAt = -1; ///< where a colleague's change has yet to be replicated from
        bool contested = false;  ///< both changed the user before either could see it
        bool colleagueLast = false;
        /// Of a change without an answer, until its controller shows it made: `homeMDB` and `mail`
        /// as it would leave them.
        std::optional<std::map<QString, QList<QByteArray>>> pending;
    };

    /// `skew`: by how much the second one's clock is ahead.
    TwoControllers(const OrganisationText& text, const QStringList& users, int skew)
        : m_controllers{embedded::readOrganisation(text.ldif(), "DC1"),
                        embedded::readOrganisation(text.ldif(), "DC2")},
          m_skew(skew) {
        for (const QString& name : users) {
            const QString user = OrganisationText::userDN(name);
            this->users[user];
            for (auto& links : m_links)
                links[user][m_controllers[0].object(user)->text("homeMDB")] = {{}, true};
        }
    }

    embedded::Organisation& at(int controller) { return m_controllers[size_t(controller)]; }
    QString home(int controller, const QString& user) {
        return at(controller).object(user)->text("homeMDB");
    }

    /// From here on requests about users are counted, and the events happen.
    void arm(const QList<Event>& events, const QString& colleaguesUser) {
        plan = events;
        m_colleaguesUser = colleaguesUser;
        m_requests = m_modifies = 0;
    }
    bool allHappened() const {
        return std::ranges::all_of(plan, [](const Event& event) { return event.happened; });
    }
    /// All comes back, is carried out and replicated.
    void settle() {
        carryOut(-1);
        m_down = {};
        replicate(What::All);
        for (const auto& [user, state] : users)
            if (differs(user))
                wrong += "replication: " + user + " differs";
    }

    /// A change on one controller, with its stamps.
    void write(int controller, const QString& user, const QList<engine::Change>& changes) {
        const auto before = *at(controller).object(user);
        at(controller).modify(user, changes);
        const auto after = *at(controller).object(user);
        const auto i = size_t(controller);
        const auto next = [&](Stamp& stamp) {
            stamp = {stamp.version + 1, m_time + controller * m_skew, controller};
        };
        for (const auto& [attribute, values, kind] : changes) {
            if (!engine::isSameAttribute(attribute, "homeMDB")) {
                if (before.values(attribute) != after.values(attribute))
                    next(m_plain[i][user][attribute]);
                continue;
            }
            const QString was = before.text(attribute), is = after.text(attribute);
            auto& links = m_links[i][user];
            if (!was.isEmpty() && was != is) {
                next(links[was].stamp);
                links[was].present = false;
            }
            if (!is.isEmpty() && values.contains(is.toUtf8())) {
                next(links[is].stamp);
                links[is].present = true;
            }
        }
    }

    void replicate(What what) {
        for (auto& [user, state] : users) {
            if (what != What::Links)
                for (const char* name : Plain)
                    replicatePlain(user, name);
            if (what != What::Plain)
                replicateLinks(user);
            if (what == What::All)
                state.unreplicatedAt = -1;
        }
    }

    [[nodiscard]] std::unique_ptr<engine::Session> openSession() override {
        return std::make_unique<Session>(*this);
    }
    void beginRound() noexcept override {}
    QString open(engine::Session&, const engine::Mailbox& mailbox) override {
        if (users[mailbox.user].pending)
            wrong += "pending: " + mailbox.user + " is opened";
        return "mailbox:" + mailbox.user;
    }

    std::map<QString, User> users; ///< by distinguished name
    QList<Event> plan;
    QStringList wrong, log;

private:
    struct Stamp {
        int version = 1, time = 0, identity = 0;
        auto operator<=>(const Stamp&) const = default;
    };
    struct Link {
        Stamp stamp;
        bool present = false;
    };
    struct Delayed {
        int controller;
        QString user;
        QList<engine::Change> changes;
        QString listed;
        int dueAt; ///< a request; none if negative
        bool thaws;
    };
    static constexpr std::array Plain{"homeMTA",        "msExchHomeServerName", "msExchMailboxGuid",
                                      "mDBUseDefaults", "mailNickname",         "mail",
                                      "proxyAddresses"};

    class Found final : public engine::Entries {
    public:
        Found(TwoControllers& all, int controller, std::unique_ptr<engine::Entries> entries,
              bool lists)
            : m_all(all), m_controller(controller), m_entries(std::move(entries)), m_lists(lists) {}
        std::optional<engine::Entry> next() override {
            auto entry = m_entries->next();
            if (entry)
                m_all.handOn(*entry, m_controller, m_lists);
            return entry;
        }

    private:
        TwoControllers& m_all;
        int m_controller;
        std::unique_ptr<engine::Entries> m_entries;
        bool m_lists;
    };

    class Session final : public engine::Session {
    public:
        explicit Session(TwoControllers& all) : m_all(all) {}
        std::unique_ptr<engine::Entries> search(const engine::SearchRequest& request) override {
            const int controller = m_all.ask("search " + request.base, request.server);
            return std::make_unique<Found>(
                m_all, controller, m_all.at(controller).search(request),
                request.filter.contains("mailnickname=*", Qt::CaseInsensitive));
        }
        void modify(const QString& name, const QList<engine::Change>& changes,
                    const QString& server) override {
            const int controller = m_all.ask("modify " + name + ' ' + text(changes), server);
            m_all.modify(controller, m_all.at(0).object(name)->distinguishedName, changes);
        }

    private:
        static QString text(const QList<engine::Change>& changes) {
            QStringList all;
            for (const auto& [attribute, values, kind] : changes)
                all += attribute + QStringList{"=", "-", "+"}[int(kind)] +
                       (attribute.endsWith("Guid") ? "..." : values.join(','));
            return all.join(';');
        }
        TwoControllers& m_all;
    };

    /// The controller that answers a request.
    int ask(const QString& text, const QString& server) {
        ++m_time;
        if (text.contains("<GUID=") || text.contains(" CN=u") || text == "search DC=t") {
            carryOut(m_requests);
            for (Event& event : plan)
                if (event.kind < Kind::Made && event.at == m_requests && !event.happened) {
                    event.happened = true;
                    happen(event.kind);
                }
            ++m_requests;
        }
        int controller = server == "DC2" ? 1 : 0;
        if (server.isEmpty()) {
            if (m_down[size_t(m_inUse)])
                m_inUse = 1 - m_inUse;
            controller = m_inUse;
        }
        const bool down = m_down[size_t(controller)];
        log += QString("%1 DC%2%3 %4")
                   .arg(m_requests - 1)
                   .arg(controller + 1)
                   .arg(down ? "!" : "", text);
        if (down)
            throw engine::DirectoryFailed(QString("DC%1 does not respond").arg(controller + 1));
        return controller;
    }

    void handOn(engine::Entry& entry, int controller, bool lists) {
        entry.server = QString("DC%1").arg(controller + 1);
        const auto found = users.find(entry.distinguishedName);
        if (found == users.end())
            return;
        User& user = found->second;
        user.readAt = controller;
        if (lists)
            user.listed = entry.text("homeMDB");
        const auto now = *at(controller).object(entry.distinguishedName);
        if (user.pending && controller == user.changedAt &&
            std::ranges::all_of(*user.pending, [&](const auto& attribute) {
                return now.values(attribute.first) == attribute.second;
            }))
            user.pending.reset();
    }

    void modify(int controller, const QString& name, const QList<engine::Change>& changes) {
        User& user = users.at(name);
        if (user.changedAt >= 0 && user.changedAt != controller)
            wrong += "two servers: " + name + " is changed on both";
        if (user.pending)
            wrong += "pending: " + name + " is changed again";
        user.changedAt = controller;
        const int number = m_modifies++;
        const auto event = std::ranges::find_if(plan, [&](const Event& one) {
            return one.kind >= Kind::Made && one.at == number && !one.happened;
        });
        if (event == plan.end())
            return carryOut(controller, name, changes, user.listed);
        event->happened = true;
        log += "unanswered";
        user.pending.emplace();
        for (const auto& [attribute, values, kind] : changes)
            if (attribute == "homeMDB" || attribute == "mail")
                (*user.pending)[attribute] =
                    kind == engine::Change::Kind::Delete ? QList<QByteArray>() : values;
        const Kind kind = event->kind;
        if (kind == Kind::Made)
            carryOut(controller, name, changes, user.listed);
        else if (kind != Kind::NeverMade)
            m_delayed.append({controller, name, changes, user.listed,
                              kind == Kind::MadeAtEnd || kind == Kind::FrozenToEnd
                                  ? -1
                                  : m_requests + (kind == Kind::MadeNext ? 0 : 3),
                              kind >= Kind::FrozenForThree});
        if (kind >= Kind::FrozenForThree)
            m_down[size_t(controller)] = true;
        throw engine::OutcomeUnknown(QString("DC%1 did not answer").arg(controller + 1));
    }

    /// What is due at a request; all where it is negative.
    void carryOut(int request) {
        const auto due = m_delayed;
        m_delayed.clear();
        for (const Delayed& one : due) {
            if (request >= 0 && one.dueAt != request) {
                m_delayed.append(one);
                continue;
            }
            if (one.thaws)
                m_down[size_t(one.controller)] = false;
            log += "carried out: " + one.user;
            try {
                carryOut(one.controller, one.user, one.changes, one.listed);
            } catch (const Error&) { // nobody waits for the answer
                log += "refused";
            }
        }
    }

    /// `listed` is the home that the list showed when the request was sent.
    void carryOut(int controller, const QString& name, const QList<engine::Change>& changes,
                  const QString& listed) {
        User& user = users.at(name);
        const QString before = home(controller, name);
        write(controller, name, changes);
        if (!before.isEmpty() && before != home(controller, name) && before != listed)
            wrong += "torn: " + name + " from " + before;
        if (user.unreplicatedAt >= 0 && user.unreplicatedAt != controller)
            user.contested = true;
        user.colleagueLast = false;
    }

    void happen(Kind kind) {
        log += QString("event %1").arg(int(kind));
        if (kind == Kind::Dies)
            m_down[size_t(m_inUse)] = true;
        else if (kind == Kind::ComesBack)
            m_down = {};
        else if (kind <= Kind::ReplicatesAll)
            replicate(What(int(kind) - int(Kind::ReplicatesPlain)));
        else if (kind <= Kind::RehomedThere)
            colleague(kind == Kind::RehomedHere, "EX3", "EX3/SG/F");
        else if (kind <= Kind::EmptiedThere)
            colleague(kind == Kind::EmptiedHere, {}, {});
        else
            colleague(kind == Kind::RestoredHere, "EX2", "EX2/SG/C");
    }
    void colleague(bool here, const QString& server, const QString& store) {
        const int controller = here ? m_inUse : 1 - m_inUse;
        User& user = users.at(m_colleaguesUser);
        user.contested = user.contested || differs(m_colleaguesUser);
        const auto one = [&](const QString& text) {
            return server.isEmpty() ? QList<QByteArray>() : QList<QByteArray>{text.toUtf8()};
        };
        write(controller, m_colleaguesUser,
              {{"homeMDB", one(OrganisationText::storeDN(store))},
               {"homeMTA", one("CN=Microsoft MTA," + OrganisationText::serverDN(server))},
               {"msExchHomeServerName", one("/o=T/cn=" + server)}});
        user.unreplicatedAt = controller;
        user.colleagueLast = true;
    }

    bool differs(const QString& user) {
        const auto first = *at(0).object(user), second = *at(1).object(user);
        return home(0, user) != home(1, user) || std::ranges::any_of(Plain, [&](const char* name) {
                   return first.values(name) != second.values(name);
               });
    }
    void replicatePlain(const QString& user, const QString& name) {
        Stamp &first = m_plain[0][user][name], &second = m_plain[1][user][name];
        if (first == second)
            return;
        const int from = first > second ? 0 : 1;
        at(1 - from).modify(user, {{name, at(from).object(user)->values(name)}});
        first = second = std::max(first, second);
    }
    /// Of the values that are present the winner stays, as the attribute holds one.
    void replicateLinks(const QString& user) {
        auto merged = m_links[0][user];
        for (const auto& [value, link] : m_links[1][user])
            if (const auto [mine, isNew] = merged.insert({value, link});
                !isNew && mine->second.stamp < link.stamp)
                mine->second = link;
        auto winner = merged.end();
        for (auto link = merged.begin(); link != merged.end(); ++link) {
            if (!link->second.present)
                continue;
            if (winner == merged.end() || winner->second.stamp < link->second.stamp) {
                if (winner != merged.end())
                    winner->second.present = false;
                winner = link;
            } else {
                link->second.present = false;
            }
        }
        const QString is = winner == merged.end() ? QString() : winner->first;
        for (const int controller : {0, 1}) {
            m_links[size_t(controller)][user] = merged;
            if (home(controller, user) != is)
                at(controller)
                    .modify(user, {{"homeMDB", is.isEmpty() ? QList<QByteArray>()
                                                            : QList<QByteArray>{is.toUtf8()}}});
        }
    }

    std::array<embedded::Organisation, 2> m_controllers;
    int m_skew;
    using Stamps = std::map<QString, Stamp, engine::AttributeNameLess>;
    std::array<std::map<QString, Stamps>, 2> m_plain;                  ///< by user and attribute
    std::array<std::map<QString, std::map<QString, Link>>, 2> m_links; ///< by user and value
    std::array<bool, 2> m_down{};
    int m_inUse = 0;
    int m_requests = 0, m_modifies = 0, m_time = 1;
    QList<Delayed> m_delayed;
    QString m_colleaguesUser;
};

} // namespace rehome::test
