#include "journal/kept_journal.h"
#include "journal/recovery_ldif.h"
#include "support/window_driver.h"

#include <QRegularExpression>

#include <sys/mman.h>
#include <unistd.h>

using namespace rehome;
using test::Fault, test::OrganisationText;

namespace {

const QString local = OrganisationText::serverDN("EX1"), B = OrganisationText::storeDN("EX1/SG/B"),
              C = OrganisationText::storeDN("EX2/SG/C");
const char* const recorded[] = {
    "homeMDB",      "homeMTA", "msExchHomeServerName", "msExchMailboxGuid", "mDBUseDefaults",
    "mailNickname", "mail",    "proxyAddresses"};
const char* const faults[] = {"once", "after its effect", "on its object", "for ever"};
const QString notCreated = "Failed to create mailbox on new location:";
const QString notListed = "Failed to refresh list of mailboxes. Error=";

const auto dn = OrganisationText::userDN;

/// Whole mailboxes, that of u2 without a GUID: u1 and u2 on EX2's C, u3 and u5 on its D, which is
/// offline, u4 on EX1's B.
OrganisationText organisation() {
    OrganisationText text = test::smallOrganisation(0);
    for (const auto& [user, store, more] :
         {std::tuple("u1", "EX2/SG/C", "proxyAddresses: X400:c=t\nrehomePolicyAddress: one@t\n"),
          {"u2", "EX2/SG/C", "rehomePolicyAddress: two@t\n"},
          {"u3", "EX2/SG/D", "mDBUseDefaults: FALSE\nmsExchMailboxSecurityDescriptor: own\n"},
          {"u4", "EX1/SG/B", ""},
          {"u5", "EX2/SG/D", ""}}) {
        const QString server = QString(store).section('/', 0, 0);
        text.user(user, store,
                  QString("homeMTA: CN=Microsoft MTA,%1\nmsExchHomeServerName: /o=T/cn=%2\n"
                          "%3%4")
                      .arg(OrganisationText::serverDN(server), server, more,
                           user == QString("u2") ? "" : "msExchMailboxGuid: the old GUID\n"));
    }
    return text;
}

/// One run of the tool: all that happens in it, in order.
struct Run final : platform::Journal, test::Window {
    const int stream = memfd_create("recovery", 0);
    journal::KeptJournal kept{journal::KeptJournal::Of::Rehearsal, stream};
    QStringList wrong;
    std::map<QString, engine::Entry> before; ///< the users
    std::map<QString, QByteArray> undo;      ///< each one's record, by distinguished name

    Run() : test::Window(::organisation(), nullptr, this) {
        calls.meanwhile = [this](const auto& made) {
            require(made.call != "modify" || !made.details.startsWith("homeMDB-=") ||
                        written().contains(undo[made.object]),
                    made.object + " is dropped without its record");
        };
        organisation.modify(dn("u2"), {{"proxyAddresses", {}}});
        desktop.unseen = true;
        desktop.whileShown = [this] { checkReason(desktop.shown.last().Text); };
        for (const char* user : {"u1", "u2", "u3", "u4", "u5"}) {
            before[user] = *organisation.object(dn(user));
            platform::RecoveryRecord record{dn(user), {}, {}};
            for (const char* name : recorded)
                record.Attributes.append({name, before[user].values(name)});
            undo[dn(user)] = '\n' + toLdif(record, journal::Naming::ByName);
        }
    }
    ~Run() override { ::close(stream); }
    void require(bool right, const QString& what) {
        if (!right)
            wrong += what;
    }
    QByteArray written() const {
        QByteArray all(lseek(stream, 0, SEEK_END), '\0');
        return pread(stream, all.data(), size_t(all.size()), 0) < 0 ? QByteArray() : all;
    }
    /// A call too.
    void Keep(const platform::RecoveryRecord& record) override {
        const int call = -int(calls.log.size()) - 1;
        calls.begin(call, "record " + record.DistinguishedName);
        kept.Keep(record);
        calls.onSucceeded(call);
    }
    bool Holds(const QByteArray& guid) const override { return kept.Holds(guid); }
    QStringList RestoreSteps(const QByteArray& guid, const QString& server) const override {
        return kept.RestoreSteps(guid, server);
    }
    void Tell(platform::Event event, const QString& text, const QString& who) noexcept override {
        kept.Tell(event, text, who);
    }

    /// Leaves of a reason only the mailbox that it names.
    void checkReason(QString& text) {
        if (text.startsWith(notListed + "refused"))
            text = notListed;
        if (!text.startsWith(notCreated))
            return;
        const QString reason = text.mid(notCreated.size());
        const QString user = QRegularExpression("\\bu\\d(?=@t\\b)").match(reason).captured();
        text = notCreated + user;
        const QString at = home(dn(user)),
                      has = at.isEmpty() ? "NO mailbox now" : "a mailbox on " + at;
        require((reason.startsWith("refused") ||
                 reason.startsWith(dn(user) + " still has a mailbox on " + at)) &&
                    (reason.contains(user + "@t has " + has + '.') ||
                     reason.contains("It is not known whether " + user + "@t has")),
                "reason: " + reason);
    }
    /// The boxes as "title: text", an exclamation mark before what is critical.
    QStringList shown() const {
        QStringList all;
        for (const auto& box : desktop.shown)
            all += (box.Icon == platform::Icon::Critical ? "!" : "") + box.Title + ": " + box.Text;
        return all;
    }

    void moveBatch(const char* source) {
        control<QRadioButton>(source).toggle(); // as an accessibility client does
        choose("comboSourceMBx", "EX2:SG\\C");
        choose("comboDestMBx", "EX1:SG\\B");
        Q_EMIT button("btnMove").clicked();
    }
    /// Closes the window, and the dialog where it is not to give up by itself.
    void leave(bool givingUp) {
        close([&](QWidget& dialog) {
            if (!givingUp && dialog.findChild<QLabel*>("lblElapsedTime")->text() > "00:00:01")
                dialog.close();
        });
    }
};

/// What is done while calls fail. Its name says what it shows.
struct Part {
    QString name;
    QStringList chosen;                    ///< whose mailboxes are moved, in order
    QList<std::function<void(Run&)>> acts; ///< calls fail in the last
};

class SweepTest : public QObject {
    Q_OBJECT

    int m_tried = 0;

    /// The boxes of a part, by which of its calls have failed.
    static QStringList boxes(const Run& run, const Part& part) {
        const bool closing = part.name == "closing";
        const QString count = QString::number(part.chosen.size());
        QStringList failed;
        for (const QString& user : part.chosen)
            if (closing ? !opened(run, user) : !created(run, user))
                failed += "!: " + notCreated + user;
        const bool well = failed.isEmpty();
        if (closing)
            return QStringList("!: Fatal:Failed to recreate mailbox in specified timeframe")
                       .mid(well) +
                   summary(part);
        QStringList all = failed;
        if (part.name == "one") {
            all.prepend(" Move Mailbox : Are you sure you want to move Display u2 from \r\n"
                        "-> EX2:SG\\C\r\n\t\t- TO -\r\n-> EX1:SG\\B");
            all += well ? "Mailbox move: MailBox moved successfully" : ": Failed to move mailbox";
        } else if (count > "0") {
            all.prepend(" Move Mailbox : Are you Sure You want to Move selected MailBoxes to -\r\n"
                        "\r\n-> EX1:SG\\B");
            all += well ? ": " + count + " MailBoxes Moved Successfully"
                        : QString(": ERROR : Unable to move %1 MailBoxes of ").arg(failed.size()) +
                              count;
        }
        if (run.calls.any("session", {}, true) || run.calls.any("read", {}, true) ||
            run.calls.any("find", "CN=Configuration,DC=t", true, "(objectClass="))
            all += ": fatal";
        else if (run.calls.any("find", "DC=t", true))
            all += ": " + notListed;
        return all;
    }
    static QStringList summary(const Part& part) {
        return QStringList("Moved Mailboxes: The following mailboxes were moved :\t\r\n\r\n\t" +
                           part.chosen.join("@t\r\n\t") + "@t")
            .mid(part.chosen.isEmpty());
    }
    static bool opened(const Run& run, const QString& user) {
        return run.calls.any("open", dn(user), false);
    }
    static bool created(const Run& run, const QString& user) {
        return run.calls.any("modify", dn(user), false, "homeMDB+=CN=");
    }

    /// The stores listed are those whose state was told; a server that failed is asked no more.
    static void checkList(Run& run, bool complete) {
        QStringList told;
        for (size_t i = run.calls.armed; i < run.calls.log.size(); ++i) {
            const auto& made = run.calls.log[i];
            if (made.call == "status" && !made.failed)
                told += made.object;
            const QString server = made.object.section("CN=InformationStore,", -1);
            run.require(!made.failed || !server.contains(",CN=Servers,") ||
                            !run.calls.log[i + 1].object.endsWith(server),
                        "a server is asked again");
        }
        const main_window::ListState& state = run.state;
        auto listed = run.grid.Rows() - 1;
        for (const auto& [user, as] : run.before)
            listed -= !run.home(dn(user)).isEmpty();
        run.require(state.StoreList.Count() == told.size() && (!complete || listed == 0) &&
                        run.control<QComboBox>("comboStoreName").count() ==
                            told.filter(local).size(),
                    "the list");
        for (const auto& user : state.GridMailboxes) {
            const QString guid = "<GUID=" + user->GetID().mid(1, 36) + '>';
            const bool known = told.contains(run.home(guid));
            run.require((user->GetSourceStoreState() == "Unreachable") != known, "a store's state");
        }
    }

    static std::map<QString, QList<QByteArray>> byName(const engine::Entry& entry) {
        std::map<QString, QList<QByteArray>> attributes;
        for (const auto& [name, values] : entry.attributes())
            attributes[name] = values;
        return attributes;
    }

    /// Whatever failed: who was not chosen is as before; of the others at most one has no mailbox;
    /// no mailbox is half there; nothing else of anybody has changed.
    static void checkUsers(Run& run, const Part& part) {
        int homeless = 0;
        for (const auto& [name, before] : run.before) {
            const QString user = name;
            const engine::Entry now = *run.organisation.object(dn(user));
            auto dropped = byName(before);
            for (int i = 0; i < 3; ++i)
                dropped.erase(recorded[i]);
            auto created = dropped;
            created["homeMDB"] = {B.toUtf8()};
            created["homeMTA"] = {"CN=Microsoft MTA," + local.toUtf8()};
            created["msExchHomeServerName"] = {"/o=T/cn=EX1"};
            created.insert(
                {"msExchMailboxGuid", now.values("msExchMailboxGuid")}); // if it had none
            created.insert({"mDBUseDefaults", {"TRUE"}});
            const auto policy = before.values("rehomePolicyAddress");
            if (!policy.isEmpty() && now.values("mail") == policy && !opened(run, user)) {
                created["mail"] = policy;
                created["proxyAddresses"] = {"SMTP:" + policy.at(0)};
                if (user == "u1")
                    created["proxyAddresses"] += {"smtp:u1@t", "X400:c=t"};
            }
            const auto held = byName(now);
            homeless += held == dropped;
            run.require(held == byName(before) ||
                            (part.chosen.contains(user) && (held == dropped || held == created)),
                        user + " is changed or half there");
        }
        run.require(homeless <= 1, "one fault costs two mailboxes");
    }

    /// The lines at the end of the stream tell of every moved mailbox what has become of it.
    static void checkStream(Run& run, const Part& part) {
        const QStringList all = QString::fromUtf8(run.written()).split('\n');
        run.kept.tellStates();
        const QStringList lines =
            QString::fromUtf8(run.written()).split('\n').mid(all.size() - 1).filter(" summary: ");
        run.require(lines.size() == part.chosen.size(), "summary: " + lines.join(' '));
        for (const QString& user : part.chosen) {
            const QString line = lines.value(part.chosen.indexOf(user));
            const bool dropped = run.calls.any("modify", dn(user), false, "homeMDB-=");
            const auto perhaps = [&](const char* change) {
                const auto* struck = run.calls.struck;
                return struck->effected && struck->object == dn(user) &&
                       struck->details.startsWith(change);
            };
            const bool dropUnanswered = perhaps("homeMDB-="),
                       creationUnanswered = perhaps("homeMDB+=CN=");
            const QString state = creationUnanswered   ? "perhaps moved"
                                  : created(run, user) ? "moved"
                                  : dropUnanswered     ? "perhaps without a mailbox"
                                  : dropped            ? "without a mailbox"
                                                       : "not moved";
            run.require(line.contains(" summary: " + user + "@t {") &&
                            line.contains("}: " + state + "; ") &&
                            line.contains("; opened;") == opened(run, user) &&
                            all.filter(user + "@t {")
                                    .filter(dropUnanswered ? ": perhaps dropped: "
                                            : dropped      ? ": dropped from "
                                                           : ": not dropped: ")
                                    .size() == 1,
                        "told of " + user + ": " + line);
        }
    }

    /// False where the part has fewer calls.
    bool fails(const Part& part, Fault fault, int n, QStringList& wrong) {
        Run run;
        for (const auto& act : part.acts.first(part.acts.size() - 1))
            act(run);
        run.desktop.shown.clear();
        run.calls.arm(fault, n);
        const bool closing = part.name == "closing";
        bool goesOn = false;
        try {
            part.acts.last()(run);
            goesOn = !closing;
        } catch (const test::TestDesktop::Ended&) {
        } catch (const Error&) { // of the start-up
            run.desktop.shown.append({"fatal"});
        }
        if (!run.calls.struck)
            return false;
        const QStringList expected = boxes(run, part);
        run.require(run.shown() == expected,
                    "boxes: " + run.shown().join(" / ") + " instead of " + expected.join(" / "));
        checkUsers(run, part);
        if (goesOn) {
            checkList(run, !run.shown().contains(": " + notListed));
            run.calls.arm(Fault::Once, -1);
            run.desktop.shown.clear();
            run.leave(false);
            run.require(run.shown() == summary(part), "summary: " + run.shown().join(" / "));
            checkUsers(run, part);
        }
        const bool recovers = goesOn || (closing && fault < Fault::OnItsObject);
        // Its old mailbox opens too, where the drop was refused and its store is online.
        for (const QString& user : part.chosen) {
            const QString home = run.home(dn(user));
            run.require(!recovers || opened(run, user) == (home == B || home == C),
                        user + " is not opened");
        }
        checkStream(run, part);
        for (const QString& what : std::as_const(run.wrong))
            wrong += QString("%1, %2 at call %3, %4 %5: %6")
                         .arg(part.name, faults[int(fault)])
                         .arg(n)
                         .arg(run.calls.struck->call, run.calls.struck->object, what);
        return true;
    }

private Q_SLOTS:
    void everyCall_data() {
        QTest::addColumn<Part>("part");
        using Act = std::function<void(Run&)>;
        const Act load = [](Run& run) { run.frame.Form_Load(); };
        const Act refresh = [](Run& run) { Q_EMIT run.button("btnRefresh").clicked(); };
        // The one search for all of them fails, too.
        const Act objectByObject = [](Run& run) {
            run.calls.meanwhile = [](const auto& made) {
                if (made.details.startsWith("(|(objectClass=msExchExchangeServer)(objectClass="))
                    throw Error("refused");
            };
        };
        const Act one = [](Run& run) {
            run.grid.setRow(2);
            run.choose("comboStoreName", "EX1:SG\\B");
        };
        const auto batch = [](const char* source) -> Act {
            return [=](Run& run) { run.moveBatch(source); };
        };
        const Act leave = [](Run& run) { run.leave(true); };
        for (const Part& part :
             {Part{"start-up", {}, {load}}, Part{"refresh", {}, {load, refresh}},
              Part{"object by object", {}, {load, objectByObject, refresh}},
              Part{"one", {"u2"}, {load, one}},
              Part{"all", {"u1", "u2", "u3", "u5"}, {load, batch("rdoALL")}},
              Part{"by state", {"u3", "u5"}, {load, batch("rdoCriteria")}},
              Part{"from store", {"u1", "u2"}, {load, batch("rdoFromStore")}},
              Part{"closing", {"u1", "u2"}, {load, batch("rdoFromStore"), leave}}})
            QTest::newRow(qPrintable(part.name)) << part;
    }
    void everyCall() {
        QFETCH(Part, part);
        QStringList wrong;
        for (const Fault fault :
             {Fault::Once, Fault::AfterEffect, Fault::OnItsObject, Fault::ForEver})
            for (int n = 0; fails(part, fault, n, wrong); ++n)
                ++m_tried;
        QVERIFY2(m_tried > 0 && wrong.isEmpty(), qPrintable(wrong.join('\n')));
    }
    /// A second move, after the address has changed.
    void oneLineForAMailbox() {
        journal::MoveStates states;
        states.take(platform::Event::Created, "a@t {1}");
        states.take(platform::Event::Opened, "b@t {1}");
        QVERIFY(states.mailboxes() == std::vector<QString>{"a@t {1}"});
        QCOMPARE(states.find("b@t {1}")->text(), "moved; opened; address unchanged");
        Run run;
        run.kept.Tell(platform::Event::Remark, "a name\nof two lines", {});
        QCOMPARE(run.written().count('\n'), 1);
    }
    void cleanupTestCase() { qInfo("%d faults tried", m_tried); }
};

} // namespace

QTEST_MAIN(SweepTest)
#include "sweep_test.moc"
