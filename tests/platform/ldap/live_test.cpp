// The tool, and the engine's contract, over the Active Directory that samba_directory.py runs.
#include "main_window/list_combo.h"
#include "main_window/main_window.h"
#include "platform/engine_contract.h"
#include "platform/exchange/exchange_objects.h"
#include "platform/ldap/host_network.h"
#include "platform/ldap/ldap_engine.h"
#include "platform/ldap/ldap_probe.h"
#include "support/recording_engine.h"
#include "support/test_desktop.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>

#include <arpa/inet.h>
#include <csignal>

using namespace rehome;
using test::errorOf;

namespace {

const QString moved = "MailBox moved successfully", failed = "Failed to move mailbox";

/// The main window, loaded; all that goes over the wire is recorded.
struct Live {
    Live() { frame.Form_Load(); }
    QModelIndex find(const QString& mailbox) const {
        const auto* rows = grid.model();
        return rows->match(rows->index(0, 1), Qt::DisplayRole, mailbox, 1, Qt::MatchExactly)
            .value(0);
    }
    /// Moves a mailbox and returns the last message.
    QString move(const QString& mailbox, const QString& store) {
        grid.setRow(find(mailbox).row() + 1);
        chooser.setText(store);
        Q_EMIT chooser.Click();
        return desktop.texts().value(desktop.texts().size() - 1);
    }

    ldap::LdapEngine engine;
    ldap::HostNetwork network;
    ldap::LdapProbe unrecorded{engine, network};
    test::RecordingEngine calls{engine, unrecorded};
    ldap::LdapProbe probe{calls, network};
    test::TestJournal journal;
    test::TestDesktop desktop;
    adsi::Directory directory{calls};
    exchange::ExchangeObjects exchange{directory, probe, journal};
    platform::Platform platform{directory, exchange, network, desktop, journal};
    main_window::frmMain frame{platform, "Rehome"};
    main_window::FlexGrid& grid = *frame.findChild<main_window::FlexGrid*>();
    main_window::ListCombo& chooser = *frame.findChild<main_window::ListCombo*>("comboStoreName");
};

} // namespace

class LiveTest : public QObject {
    Q_OBJECT

    const QString m_place = qEnvironmentVariable("REHOME_TEST_DIRECTORY");
    const QString m_address = qEnvironmentVariable("LDAPURI").section("//", 1);
    const QString m_server = qEnvironmentVariable("REHOME_TEST_SERVER"); // this host
    const QString m_group = "CN=First Storage Group,CN=InformationStore," + m_server;
    const QString m_mailboxStore = "CN=Mailbox Store," + m_group;
    const QString m_accounts = "CN=Accounts\\, Sales," + m_group;

    static QString user(const QString& name) {
        return "CN=" + name + ",OU=Staff,DC=rehome,DC=test";
    }
    QString fullName(const QString& store) const {
        return engine::firstValue(m_server) + ":First Storage Group\\" + store;
    }
    void useTicket(const QString& cache) const {
        qputenv("KRB5CCNAME", (m_place + '/' + cache).toUtf8());
    }
    /// With limits that a test can wait for.
    static ldap::LdapEngine limited(const QString& servers = {}) {
        using std::chrono::seconds;
        return ldap::LdapEngine(
            {seconds(2), seconds(2), 1000, servers.split(' ', Qt::SkipEmptyParts)});
    }
    engine::Entry stored(const QString& dn) const {
        useTicket("admin.cc");
        return test::one(*limited().openSession(), dn);
    }
    QString home(const QString& dn) const { return stored(dn).text("homeMDB"); }
    static QString added(const QString& dn, const QString& what) {
        return QString("dn: %1\nchangetype: add\nobjectClass: %2\n\n").arg(dn, what);
    }
    /// Changes the directory from outside.
    static void change(const QString& ldif) {
        const QString command = "printf %s \"$0\" | ldapmodify -QNY GSSAPI >/dev/null";
        QCOMPARE(QProcess::execute("sh", {"-c", command, ldif}), 0);
    }
    pid_t serverProcess() const {
        QFile file(m_place + "/server.pid");
        return file.open(QIODevice::ReadOnly) ? file.readAll().toInt() : 0;
    }
    /// Kills the server, and waits until another one answers.
    void restartServer() const {
        const auto before = serverProcess();
        ::kill(before, SIGKILL);
        QTRY_VERIFY_WITH_TIMEOUT(serverProcess() != before, 60'000);
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY2(!m_place.isEmpty(), "to be run by tests/support/samba_directory.py");
        qputenv("LDAPTLS_REQCERT", "never"); // certificates are checked all the same
    }
    void init() { useTicket("admin.cc"); }

    void contract() {
        ldap::LdapEngine engine;
        const test::ContractNames names{"DC=rehome,DC=test", "OU=Staff,DC=rehome,DC=test",
                                        user("user0000"),    m_mailboxStore,
                                        m_accounts,          m_server};
        test::checkContract(engine, names);
    }

    void aMoveAndARefreshTakeFewRoundTrips() {
        Live live;
        QStringList& made = live.calls.made;
        made.clear();
        QCOMPARE(live.move("Mailbox user0001", fullName("Mailbox Store")), moved);
        const auto refresh = made.lastIndexOf(QRegularExpression("modify .*")) + 1;
        QVERIFY2(refresh <= 6, qPrintable(made.join('\n')));
        // With 2 servers that answer, one that does not, 6 storage groups and 8 stores.
        QVERIFY2(made.size() <= refresh + 47, qPrintable(made.join('\n')));
    }

    void whoMayNotChangesNothing() {
        const auto before = stored(user("user0002"));
        useTicket("user.cc");
        Live live;
        QCOMPARE(live.move("Mailbox user0002", fullName("Mailbox Store")), failed);
        const QStringList shown = live.desktop.texts(), said = live.journal.lines;
        QCOMPARE(shown.size(), 3); // the question, the creation's failure, the outcome
        QVERIFY2(shown.at(1).startsWith("Failed to create mailbox on new location:"),
                 qPrintable(shown.at(1)));
        QCOMPARE(said.size(), 2);
        QVERIFY2(said.at(1).startsWith("drop of {") && said.at(1).contains("(result 50)"),
                 qPrintable(said.at(1)));
        QVERIFY(stored(user("user0002")).attributes == before.attributes);
    }

    void goesByWhatHasBecomeOfUserAndStore() {
        const QString deletion = "changetype: delete\n";
        const QString rename = "changetype: moddn\nnewrdn: CN=%1 now\ndeleteoldrdn: 1\n";
        for (const auto& [name, ofUser, event] : {std::tuple(QString("a"), true, rename.arg("a")),
                                                  {"b", true, deletion},
                                                  {"c", false, rename.arg("c")},
                                                  {"d", false, deletion}}) {
            const QString store = "CN=" + name + ',' + m_group;
            change(added(store, "msExchPrivateMDB\nsystemFlags: 1073741824") +
                   added(user(name), QString("user\ndisplayName: %1\nmailNickname: d\nmail: d@x\n"
                                             "homeMDB: %2")
                                         .arg(name, m_mailboxStore)));
            Live live;
            change("dn: " + (ofUser ? user(name) : store) + '\n' + event);
            const bool moves = name == "a";
            QCOMPARE(live.move(name, fullName(name)), moves ? moved : failed);
            QCOMPARE(live.desktop.shown.size(), moves ? 2 : 3);
            QString now;
            for (const QString& someone : {user(name), user(name + " now")})
                errorOf([&] { now += home(someone); });
            QCOMPARE(now, moves ? store : QString());
        }
    }

    void theLaterOfTwoToolsWins() {
        Live first, second;
        const QString name = "Mailbox user0004";
        bool asked = false;
        second.desktop.whileShown = [&] {
            if (std::exchange(asked, true))
                return;
            QCOMPARE(first.move(name, fullName("Accounts, Sales")), moved);
            QCOMPARE(home(user("user0004")), m_accounts);
        };
        QCOMPARE(second.move(name, fullName("Mailbox Store")), moved);
        QCOMPARE(home(user("user0004")), m_mailboxStore);
        QVERIFY(second.journal.lines.value(0).contains("CN=Accounts"));
    }

    void anyNameSurvives() {
        const QString odd = "\\#\\ (a*b) /c\\\\d\\, #\\ ", shown = " #(a*b)/\\ ";
        const QString group = "CN=" + odd + ",CN=InformationStore," + m_server;
        const QString store = "CN=" + odd + ',' + group;
        change(added(group, "msExchStorageGroup") + added(store, "msExchPrivateMDB") +
               added(user(odd), "user\ndisplayName:: ICMoYSpiKS9cIA==\nmail: o(*)\\d@x\n"
                                "mailNickname: o\nhomeMDB: " +
                                    store));
        Live live;
        QCOMPARE(live.move(shown, fullName("Mailbox Store")), moved);
        QCOMPARE(home(user(odd)), m_mailboxStore);
        const int item = live.chooser.findText("(a*b)", Qt::MatchContains);
        QCOMPARE(live.move(shown, live.chooser.itemText(item)), moved);
        QCOMPARE(engine::firstValue(home(user(odd))), engine::firstValue(store));
        QCOMPARE(live.find(shown).siblingAtColumn(3).data(), "Online");
        const auto person = live.exchange.CreatePerson();
        person->DataSource().Open("mailto:o(*)\\d@x", {});
        QVERIFY(!person->Mailbox()->FolderLocation().isEmpty());
    }

    void aRefusedRequestSaysWhyAndWhatHelps() {
        const QString missing = errorOf([&] { stored(user("nobody")); });
        QVERIFY2(missing.contains("(result 32)") && missing.contains("refresh"),
                 qPrintable(missing));
        const QString nul = errorOf([&] { stored("CN=a" + QString(QChar(0))); });
        QVERIFY2(nul.contains("NUL"), qPrintable(nul));
    }

    void signingOnSaysWhatIsMissing() {
        // Another spelling of the address, which the certificate does not hold.
        const QString alias = QString::number(ntohl(inet_addr(qPrintable(m_address))));
        const QString starting = "ldap://%1/??\?\?%2StartTLS";
        struct Case {
            QString ticket, servers, said;
        };
        for (const auto& [ticket, servers, said] :
             QList<Case>{{"none.cc", "ldap://" + m_address, "no Kerberos ticket: run kinit"},
                         {"expired.cc", "ldap://" + m_address, "has expired: run kinit"},
                         {"admin.cc", "ldap://127.77.255.254", "cannot be reached"},
                         {"admin.cc", "ldap://127.77.255.254 ldap://" + m_address, ""},
                         {"admin.cc", "ldaps://" + m_address, ""},
                         {"admin.cc", starting.arg(m_address, "!"), ""},
                         {"admin.cc", "ldaps://" + alias, "is not trusted"},
                         {"admin.cc", starting.arg(alias, ""), "is not trusted"}}) {
            useTicket(ticket);
            const QString seen = errorOf([&] { test::one(*limited(servers).openSession(), ""); });
            QVERIFY2(seen.isEmpty() == said.isEmpty() && seen.contains(said),
                     qPrintable(ticket + ' ' + servers + ": " + seen));
        }
    }

    void listsThousandsOrFails() {
        const engine::SearchRequest everybody{
            "DC=rehome,DC=test", engine::Scope::Subtree, "(sAMAccountName=crowd*)", {"cn"}};
        ldap::LdapEngine engine = limited();
        const auto session = engine.openSession();
        const QStringList listed = test::names(*session, everybody);
        QCOMPARE(QSet<QString>(listed.begin(), listed.end()).size(), 3000);
        const auto entries = session->search(everybody);
        QVERIFY(entries->next());
        restartServer();
        int more = 0;
        const QString said = errorOf([&] {
            while (entries->next())
                ++more;
        });
        QVERIFY2(said.contains("connection to the server was lost"), qPrintable(said));
        QVERIFY(more < 2999);
        // Afterwards it works again, and a restart between two operations is not noticed.
        QCOMPARE(test::one(*session, user("user0003")).text("mail"), "user0003@rehome.test");
        restartServer();
        session->modify(user("user0004"), {{"mail", {"user0004@rehome.test"}}});
    }

    void aFrozenServerEndsInAnError() {
        ldap::LdapEngine engine = limited();
        const auto session = engine.openSession();
        ::kill(serverProcess(), SIGSTOP);
        QElapsedTimer time;
        time.start();
        const QStringList said{
            errorOf([&] { test::one(*session, ""); }), errorOf([&] { test::one(*session, ""); }),
            errorOf([&] { (void)limited("ldaps://" + m_address).openSession(); })};
        const auto taken = time.elapsed();
        ::kill(serverProcess(), SIGCONT);
        for (const QString& one : said)
            QVERIFY2(one.contains("no answer within 2 seconds"), qPrintable(one));
        QVERIFY2(taken < 9000, qPrintable(QString::number(taken)));
        QCOMPARE(test::one(*session, user("user0005")).text("mail"), "user0005@rehome.test");
    }
};

QTEST_MAIN(LiveTest)
#include "live_test.moc"
