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
    Change, ///< at the domain controller at which this run has changed the user before
    Drop    ///< the same; brings what the administrator may write, too
};

/// All that this run changes of users, and the one place where it is decided whether and where a
/// change is sent. The rules stand at the head of user_changes.cpp. It is an engine that wraps
/// another: users are read and written through its sessions, everything else passes. One thread.
class UserChanges final : public engine::Engine {
public:
    /// All must outlive it.
    UserChanges(engine::Engine& engine, platform::Journal& journal, Destinations& destinations)
        : m_engine(engine), m_journal(journal), m_destinations(destinations) {}

    [[nodiscard]] std::unique_ptr<engine::Session> openSession() override;

    /// What a binding reads.
    QStringList attributesFor(Purpose purpose) const;
    /// Where a binding reads: the domain controller at which this run has changed the user; empty
    /// if it has not, or to look.
    QString serverFor(const QUuid& user, Purpose purpose) const;

    /// Throws Error if the administrator may not write what a drop of the user read last, and the
    /// creation after it, write (`allowedAttributesEffective`).
    void requireRights();
    /// The description of a drop's refusal, for a user whose home is not the one that the list
    /// from `listedAt`, a domain controller, showed.
    QString homeIsAnother(const QUuid& user, const QString& name, const QString& home,
                          const QString& listedAt) const;

    /// The user that `find` finds: anywhere at first (with an empty argument), and at the user's
    /// own server if what is found does not show all that this run wrote. Throws Error if the own
    /// server does not respond then, or a change of the user is unanswered.
    engine::Entry findCurrent(const std::function<engine::Entry(const QString& server)>& find);

    /// What to say of a change of the user that was not answered; empty if there is none.
    QString unansweredChange(const QUuid& user) const;
    /// Whether a drop is the last that this run did to the user, and was answered.
    bool isLeftWithoutHome(const QUuid& user) const;
    /// Whether the user is on the store that this run created the mailbox on.
    bool hasGivenHome(const engine::Entry& user) const;
    /// " at " and the domain controller of the user's last change; empty if there is none or it has
    /// no name.
    QString where(const QUuid& user) const;

    /// Why the last drop of a user failed.
    struct DropFailure {
        bool unanswered; ///< it may have been made
        QString reason;
    };
    void noteDrop(const QUuid& user, const std::optional<DropFailure>& failure);
    std::optional<DropFailure> dropFailure(const QUuid& user) const;

    /// Domain controllers that did not respond are asked once more from here on.
    void beginRound() noexcept { m_silent.clear(); }

private:
    class GuardedSession;
    using Values = std::map<QString, QList<QByteArray>>; ///< by the attribute's name

    /// A user whom this run has changed, or has tried to drop.
    struct User {
        std::optional<QString> server = {}; ///< at which the last change was sent
        Values written;                     ///< what stands there
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
