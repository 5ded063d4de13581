#pragma once

#include "platform/engine/engine.h"
#include "platform/exchange/destinations.h"
#include "platform/exchange/home_attributes.h"
#include "platform/journal.h"

#include <QSet>
#include <QUuid>

#include <functional>
#include <map>
#include <optional>

namespace rehome::exchange {

/// What a user is bound for.
enum class Purpose {
    Look,
    Change, ///< read at the domain controller at which this run has changed the user before
    Drop    ///< the same; also reads which attributes the administrator may write
};

/// A layer over an engine that decides whether and where a change of a user is sent, and remembers
/// all changes of this run. The rules are at the head of user_changes.cpp. Requests that do not
/// concern users pass through. One thread.
class UserChanges final : public engine::Engine {
public:
    /// All must outlive it.
    UserChanges(engine::Engine& engine, platform::Journal& journal, Destinations& destinations)
        : m_engine(engine), m_journal(journal), m_destinations(destinations) {}

    [[nodiscard]] std::unique_ptr<engine::Session> openSession() override;

    /// Returns the attributes that a binding must read.
    QStringList attributesFor(Purpose purpose) const;
    /// Returns the domain controller at which a binding must read: the one at which this run has
    /// changed the user; empty if it has not, or for Purpose::Look.
    QString serverFor(const QUuid& user, Purpose purpose) const;

    /// Throws Error if the administrator has no permission (`allowedAttributesEffective`) to write
    /// the attributes of a drop and a creation of the user that was read last.
    void requireRights();
    /// Returns the description of a refused drop, for a user whose home is not the one in the list
    /// from the domain controller `listedAt`.
    QString homeIsAnother(const QUuid& user, const QString& name, const QString& home,
                          const QString& listedAt) const;

    /// Returns the user that `find` finds: at the domain controller in use (empty argument) or, if
    /// that does not show everything that this run wrote, at the user's own server. Throws what
    /// `find` throws, and Error if the own server does not respond, or a change of the user is
    /// unanswered.
    engine::Entry findCurrent(const std::function<engine::Entry(const QString& server)>& find);

    /// Returns a description of the user's unanswered change; empty if there is none.
    QString unansweredChange(const QUuid& user) const;
    /// Returns true if the last change of the user in this run is a drop, and was answered.
    bool isLeftWithoutHome(const QUuid& user) const;
    /// Returns true if the user is on the store on which this run created the mailbox.
    bool hasGivenHome(const engine::Entry& user) const;
    /// Returns " at " and the domain controller of the user's last change; empty if there is no
    /// change, or the domain controller has no name.
    QString where(const QUuid& user) const;

    /// Why the last drop of a user failed.
    struct DropFailure {
        bool unanswered; ///< it may have been made
        QString reason;
    };
    void noteDrop(const QUuid& user, const std::optional<DropFailure>& failure);
    std::optional<DropFailure> dropFailure(const QUuid& user) const;

    /// Begins a round: domain controllers that did not respond are tried once more.
    void beginRound() noexcept { m_silent.clear(); }

private:
    class GuardedSession;
    using Values = std::map<QString, QList<QByteArray>>; ///< by the attribute's name

    /// A user whom this run has changed, or has tried to drop.
    struct User {
        std::optional<QString> server = {}; ///< of the last change; none: none was sent
        Values written;                     ///< what that server has
        Values unanswered;    ///< what a change without an answer would have written; empty: none
        bool dropped = false; ///< the last change was a drop
        std::optional<DropFailure> dropFailure = {};
    };

    std::optional<engine::Entry> read(engine::Session& session, engine::SearchRequest request,
                                      const QUuid& guid);
    /// Asks the own server of a user who was found otherwise elsewhere.
    template <class Ask>
    auto atOwnServer(const User& user, const QString& elsewhere, const Ask& ask);
    static bool isCurrent(const engine::Entry& entry, const User& user);
    void write(engine::Session& session, const QString& base, const QList<engine::Change>& changes);
    void keepRecord(engine::Session& session, const engine::Entry& entry, bool followsItsDrop);
    bool isKnown(engine::Session& session, const engine::Entry& entry, const QString& attribute);
    QString describeChange(engine::Session& session, const QString& base,
                           const engine::Entry& before, const Error& refusal) const;
    void settle(const engine::Entry& entry, User& user) const;
    const User* find(const QUuid& user) const;

    engine::Engine& m_engine;
    platform::Journal& m_journal;
    Destinations& m_destinations;
    std::map<QUuid, User> m_users;
    std::pair<QUuid, engine::Entry> m_read;      ///< the user bound last, as it was read
    std::map<QByteArray, QStringList> m_allowed; ///< attributes, by the object's classes
    QSet<QString> m_silent; ///< domain controllers that did not respond in this round
};

} // namespace rehome::exchange
