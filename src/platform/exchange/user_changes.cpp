// The safe change of a user: how mailboxes are dropped and created, and addresses written back, so
// that none is lost although domain controllers fail, lag and lose answers, and other
// administrators work at the same time.
//
// Terms. A user's own server is the domain controller at which this run sent the user's last
// change. A change is made (its answer says so), refused (its answer says so; nothing was changed),
// or unanswered: it may have been made, or may be made yet, since a domain controller that was cut
// off or frozen carries out what it has received when it comes back.
//
// Rules, each kept below where its number stands:
//  0. Nothing is changed before its record is kept: a file has it on the disk.
//  1. A change is sent to the domain controller at which the user was read last. Only the engine
//     sends it twice, and only if it was certainly not received whole, or answered "busy".
//  2. A changed user is changed at their own server and nowhere else. Other users go on wherever
//     the run is, so that a domain controller that is lost costs a batch one user.
//  3. Elsewhere a changed user is only looked at, and only if all that this run wrote stands there
//     exactly. Otherwise the own server is asked, once a round; if it does not respond, the look
//     fails and names both.
//  4. While a change is unanswered, the user is not changed again and the mailbox not opened. It
//     stays so until the own server shows the change made.
//  5. A change names what it changes: the home, the mailbox GUID and the address that were read. So
//     the domain controller itself refuses it, whole, if somebody else has changed them meanwhile.
//  6. A drop wants the home that the list showed. (MailboxUser compares them.)
//
//              sent            made                      sent, made
//   untouched ------> pending ------> dropped (own server) ------> created, restored, …
//                       |  |                                          (each over pending)
//              refused  |  | no answer
//   as before <---------+  +------> unanswered ---- own server shows it made ----> made
//
// There are no further rules: no history of changes, no time limits, no clocks. Without any one of
// rules 1 to 6 a mailbox is lost, torn from its user or half there, or a false word is said:
// two_controllers_test fails then.
#include "platform/exchange/user_changes.h"

#include "platform/guid.h"

#include <algorithm>
#include <utility>

namespace rehome::exchange {

using namespace Qt::Literals::StringLiterals;

namespace {

// Constructed by the directory, and to be asked for by name.
const QString Allowed = u"allowedAttributes"_s;
const QString Writable = u"allowedAttributesEffective"_s;
const QString HomeMdb = u"homeMDB"_s;

/// Null if the base does not address by GUID.
QUuid guidOfBase(const QString& base) {
    const QString prefix = u"<GUID="_s;
    if (!base.startsWith(prefix, Qt::CaseInsensitive) || !base.endsWith(u'>'))
        return {};
    return QUuid::fromString(base.sliced(prefix.size()).chopped(1));
}

QUuid guidOf(const engine::Entry& entry) {
    return platform::guidFromOctets(entry.values(u"objectGUID"_s).value(0));
}

bool contains(const QStringList& names, QLatin1StringView name) {
    return std::any_of(names.begin(), names.end(), [&](const QString& one) {
        return one.compare(name, Qt::CaseInsensitive) == 0;
    });
}

bool contains(const QList<QByteArray>& names, QLatin1StringView name) {
    return std::any_of(names.begin(), names.end(), [&](const QByteArray& one) {
        return name.compare(QLatin1StringView(one), Qt::CaseInsensitive) == 0;
    });
}

/// Whether all of them stand in the entry, in any order.
template <class Values>
bool shows(const engine::Entry& entry, const Values& written) {
    return std::all_of(written.begin(), written.end(), [&](const auto& attribute) {
        QList<QByteArray> there = entry.values(attribute.first), wanted = attribute.second;
        std::sort(there.begin(), there.end());
        std::sort(wanted.begin(), wanted.end());
        return there == wanted;
    });
}

std::optional<engine::Entry> one(engine::Session& session, const engine::SearchRequest& request) {
    return session.search(request)->next();
}

/// The domain controller as texts name it.
QString named(const QString& server) {
    return server.isEmpty() ? u"the directory"_s : server;
}

/// One entry that has been read, or none.
class ReadEntry final : public engine::Entries {
public:
    explicit ReadEntry(std::optional<engine::Entry> entry) : m_entry(std::move(entry)) {}
    std::optional<engine::Entry> next() override { return std::exchange(m_entry, std::nullopt); }

private:
    std::optional<engine::Entry> m_entry;
};

} // namespace

class UserChanges::GuardedSession final : public engine::Session {
public:
    explicit GuardedSession(UserChanges& changes)
        : m_changes(changes), m_session(changes.m_engine.openSession()) {}

    std::unique_ptr<engine::Entries> search(const engine::SearchRequest& request) override {
        const QUuid user = guidOfBase(request.base);
        if (user.isNull() || request.scope != engine::Scope::Base)
            return m_session->search(request);
        return std::make_unique<ReadEntry>(m_changes.read(*m_session, request, user));
    }
    void modify(const QString& name, const QList<engine::Change>& changes,
                const QString&) override {
        m_changes.write(*m_session, name, changes);
    }

private:
    UserChanges& m_changes;
    std::unique_ptr<engine::Session> m_session;
};

std::unique_ptr<engine::Session> UserChanges::openSession() {
    return std::make_unique<GuardedSession>(*this);
}

QStringList UserChanges::attributesFor(Purpose purpose) const {
    // "objectClass" and "objectGUID" come with every binding.
    QStringList names = homeAttributeNames() + QStringList{u"sAMAccountName"_s};
    if (purpose == Purpose::Drop) {
        names += {u"msExchVersion"_s, Writable};
        if (m_allowed.empty()) // a long list, nearly always the same for all users
            names += Allowed;
    }
    return names;
}

// Rule 2.
QString UserChanges::serverFor(const QUuid& guid, Purpose purpose) const {
    const User* user = find(guid);
    return user && purpose != Purpose::Look ? user->server.value_or(QString()) : QString();
}

const UserChanges::User* UserChanges::find(const QUuid& guid) const {
    const auto found = m_users.find(guid);
    return found == m_users.end() ? nullptr : &found->second;
}

/// Rule 3: whether the entry may be relied on, wherever it was read.
bool UserChanges::isCurrent(const engine::Entry& entry, const User& user) {
    return entry.server == user.server || (user.unanswered.empty() && shows(entry, user.written));
}

template <class Ask>
auto UserChanges::atOwnServer(const User& user, const QString& elsewhere, const Ask& ask) {
    const QString own = user.server.value_or(QString());
    const QString both =
        u"%1 does not show what was written at %2 yet, or it has been changed since; %2 does not "
        "respond."_s.arg(named(elsewhere), named(own));
    if (m_silent.contains(own))
        throw Error(both);
    try {
        return ask(own);
    } catch (const engine::DirectoryFailed& failure) {
        m_silent.insert(own);
        throw Error(both + u" Details: "_s + failure.description());
    }
}

std::optional<engine::Entry> UserChanges::read(engine::Session& session,
                                               engine::SearchRequest request, const QUuid& guid) {
    const auto known = m_users.find(guid);
    const bool changed = known != m_users.end() && known->second.server;
    for (const HomeAttribute& attribute : HomeAttributes) // to compare with what was written
        if (changed && !contains(request.attributes, attribute.name))
            request.attributes += attribute.name;
    auto entry = one(session, request);
    if (changed) {
        User& user = known->second;
        if (!entry || !isCurrent(*entry, user))
            entry = atOwnServer(user, entry ? entry->server : QString(), [&](const QString& own) {
                request.server = own;
                return one(session, request);
            });
        if (entry)
            settle(*entry, user);
    }
    if (!entry)
        return entry;
    if (const auto allowed = entry->values(Allowed); !allowed.isEmpty()) {
        QStringList& names = m_allowed[entry->values(u"objectClass"_s).join(' ')];
        for (const QByteArray& name : allowed)
            names += QString::fromLatin1(name);
    }
    // What is read besides, of the user that is bound already, is not what a change goes by.
    if (contains(request.attributes, QLatin1StringView("objectGUID")))
        m_read = {guid, *entry};
    return entry;
}

engine::Entry
UserChanges::findCurrent(const std::function<engine::Entry(const QString& server)>& find) {
    engine::Entry entry = find({});
    const auto known = m_users.find(guidOf(entry));
    if (known == m_users.end() || !known->second.server)
        return entry;
    User& user = known->second;
    if (!isCurrent(entry, user))
        entry = atOwnServer(user, entry.server, find);
    settle(entry, user);
    if (const QString unanswered = unansweredChange(known->first); !unanswered.isEmpty())
        throw Error(unanswered);
    return entry;
}

/// Rule 4: an unanswered change counts as made as soon as the own server shows it.
void UserChanges::settle(const engine::Entry& entry, User& user) const {
    if (user.unanswered.empty() || entry.server != user.server || !shows(entry, user.unanswered))
        return;
    for (const auto& [attribute, values] : user.unanswered)
        user.written[attribute] = values;
    user.unanswered.clear();
}

void UserChanges::write(engine::Session& session, const QString& base,
                        const QList<engine::Change>& asked) {
    const QUuid guid = guidOfBase(base);
    if (guid.isNull() || m_read.first != guid)
        throw Error(u"Internal error: %1 is to be changed without having been read. Please report "
                    "this."_s.arg(base));
    const engine::Entry entry = m_read.second;
    if (const QString unanswered = unansweredChange(guid); !unanswered.isEmpty()) // rule 4
        throw Error(unanswered);

    QList<engine::Change> changes;
    Values written;
    for (const auto& [name, values, kind] : asked) {
        const HomeAttribute* attribute = findHomeAttribute(name);
        if (!attribute)
            throw Error(
                u"Internal error: %1 of a user is not to be written. Please report this."_s.arg(
                    name));
        if (!isKnown(session, entry, name))
            continue;
        written[name] = values;
        if (attribute->sent == HomeAttribute::Sent::Whole) {
            changes.append({name, values});
            continue;
        }
        if (const auto before = entry.values(name); !before.isEmpty()) // rule 5
            changes.append({name, before, engine::Change::Kind::Delete});
        if (!values.isEmpty())
            changes.append({name, values, engine::Change::Kind::Add});
    }
    if (changes.isEmpty())
        return;

    const auto home = written.find(HomeMdb);
    const bool drops = home != written.end() && home->second.isEmpty();
    const bool creates = home != written.end() && !home->second.isEmpty();
    const User before = m_users[guid];
    if (before.server && *before.server != entry.server) // rule 2
        throw Error(
            u"Internal error: %1 is to be changed at another domain controller than before. "
            "Please report this."_s.arg(entry.distinguishedName));
    keepRecord(session, entry, creates && before.dropped); // rule 0
    if (creates)
        m_destinations.expect();

    // Rules 1 and 2. From here on the change may have been made.
    User& user = m_users[guid];
    user.server = entry.server;
    user.unanswered = written;
    user.dropped = drops;
    try {
        session.modify(base, changes, entry.server);
    } catch (const engine::OutcomeUnknown&) {
        throw;
    } catch (const engine::ChangedSince& refusal) {
        user = before;
        throw Error(describeChange(session, base, entry, refusal));
    } catch (...) {
        user = before;
        throw;
    }
    for (const auto& [attribute, values] : written)
        user.written[attribute] = values;
    user.unanswered.clear();
    if (creates)
        m_destinations.confirm();
}

void UserChanges::keepRecord(engine::Session& session, const engine::Entry& entry,
                             bool followsItsDrop) {
    const QByteArray guid = entry.values(u"objectGUID"_s).value(0);
    const bool held = m_journal.Holds(guid);
    if (followsItsDrop && held)
        return;
    platform::RecoveryRecord record{entry.distinguishedName, guid, {}, entry.server};
    for (const QString& name : homeAttributeNames())
        if (const auto values = entry.values(name);
            !values.isEmpty() || isKnown(session, entry, name))
            record.Attributes.append({name, values});
    try {
        m_journal.Keep(record);
    } catch (const Error&) {
        // The user can be restored already; a record of what has come since is not worth a mailbox.
        if (!held)
            throw;
    }
}

bool UserChanges::isKnown(engine::Session& session, const engine::Entry& entry,
                          const QString& attribute) {
    const QByteArray classes = entry.values(u"objectClass"_s).join(' ');
    auto known = m_allowed.find(classes);
    if (known == m_allowed.end()) {
        engine::SearchRequest request;
        request.base = u"<GUID=%1>"_s.arg(guidOf(entry).toString(QUuid::WithoutBraces));
        request.attributes = QStringList{Allowed};
        request.server = entry.server;
        QStringList names;
        if (const auto answer = one(session, request))
            for (const QByteArray& name : answer->values(Allowed))
                names += QString::fromLatin1(name);
        known = m_allowed.emplace(classes, names).first;
    }
    // A directory that does not tell is taken to have them all.
    return known->second.isEmpty() ||
           contains(known->second, QLatin1StringView(attribute.toLatin1()));
}

void UserChanges::requireRights() {
    const engine::Entry& entry = m_read.second;
    const auto writable = entry.values(Writable);
    const auto allowed = m_allowed.find(entry.values(u"objectClass"_s).join(' '));
    const bool tells = allowed != m_allowed.end() && !allowed->second.isEmpty();
    // None at all is also how a directory that does not tell looks; but one that tells what objects
    // can have would tell this, too.
    if (writable.isEmpty() && !tells)
        return;
    QStringList refused;
    for (const HomeAttribute& attribute : HomeAttributes) {
        const bool written =
            (attribute.steps & (HomeAttribute::Drop | HomeAttribute::Creation)) != 0 &&
            (!attribute.onlyIfNone || entry.values(attribute.name).isEmpty());
        if (written && (!tells || contains(allowed->second, attribute.name)) &&
            !contains(writable, attribute.name))
            refused += attribute.name;
    }
    if (!refused.isEmpty())
        throw Error(u"You may not write %1 of %2. Run the tool with the ticket of somebody who may "
                    "(kinit), or have the right delegated to you."_s.arg(refused.join(u", "_s),
                                                                         entry.distinguishedName));
}

QString UserChanges::homeIsAnother(const QUuid& guid, const QString& name, const QString& home,
                                   const QString& listedAt) const {
    const User* user = find(guid);
    const auto written = user ? user->written.find(HomeMdb) : Values::const_iterator();
    if (user && written != user->written.end() &&
        QString::fromUtf8(written->second.value(0)).compare(home, Qt::CaseInsensitive) == 0)
        return u"%1 was moved to %2 by this run; %3 does not show it yet: wait for replication, "
               "then press Refresh"_s.arg(name, home, named(listedAt));
    return u"%1 is on %2 now: press Refresh"_s.arg(name, home);
}

/// Rule 5: what has come in between, from a fresh read where that is possible.
QString UserChanges::describeChange(engine::Session& session, const QString& base,
                                    const engine::Entry& before, const Error& refusal) const {
    engine::SearchRequest request;
    request.base = base;
    request.attributes = homeAttributeNames();
    request.server = before.server;
    QString what = u"the user %1, or the destination store, was changed meanwhile"_s.arg(
        before.distinguishedName);
    try {
        const auto now = one(session, request);
        if (!now)
            what = u"the user %1 was deleted meanwhile"_s.arg(before.distinguishedName);
        else if (now->text(HomeMdb) != before.text(HomeMdb))
            what = now->text(HomeMdb).isEmpty()
                       ? u"somebody else has removed the mailbox of %1 meanwhile"_s.arg(
                             before.distinguishedName)
                       : u"somebody else has moved %1 to %2 meanwhile"_s.arg(
                             before.distinguishedName, now->text(HomeMdb));
    } catch (const Error&) {
        // The refusal itself is told below.
    }
    return what + u". Nothing was changed. Press Refresh. Details: "_s + refusal.description();
}

QString UserChanges::unansweredChange(const QUuid& guid) const {
    const User* user = find(guid);
    if (!user || user->unanswered.empty())
        return {};
    return u"a change was sent to %1 and not answered: it may yet be made. Only a new run can move "
           "this user again; first look at %1 whether the change was made."_s.arg(
               named(user->server.value_or(QString())));
}

bool UserChanges::isLeftWithoutHome(const QUuid& guid) const {
    const User* user = find(guid);
    return user && user->dropped && user->unanswered.empty();
}

bool UserChanges::hasGivenHome(const engine::Entry& entry) const {
    const User* user = find(guidOf(entry));
    if (!user || !user->unanswered.empty())
        return false;
    const auto home = user->written.find(HomeMdb);
    return home != user->written.end() && !home->second.isEmpty() &&
           home->second == entry.values(HomeMdb);
}

QString UserChanges::where(const QUuid& guid) const {
    const User* user = find(guid);
    const QString server = user ? user->server.value_or(QString()) : QString();
    return server.isEmpty() ? QString() : u" at "_s + server;
}

void UserChanges::noteDrop(const QUuid& user, const std::optional<DropFailure>& failure) {
    m_users[user].dropFailure = failure;
}

std::optional<UserChanges::DropFailure> UserChanges::dropFailure(const QUuid& guid) const {
    const User* user = find(guid);
    return user ? user->dropFailure : std::nullopt;
}

} // namespace rehome::exchange
