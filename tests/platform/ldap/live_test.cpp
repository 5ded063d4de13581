// The tool, and the engine's contract, over the Active Directory that samba_directory.py runs.
#include "journal/kept_journal.h"
#include "live_platform.h"
#include "platform/engine_contract.h"
#include "platform/exchange/home_attributes.h"
#include "platform/ldap/tcp_check.h"
#include "repopulation/recreate_status.h"

#include <QProcess>
#include <QTemporaryFile>

#include <arpa/inet.h>
#include <netinet/tcp.h>

using namespace rehome;
using test::checkPart, test::errorOf, test::Live;
using namespace std::chrono_literals;

const QString moved = "MailBox moved successfully", failed = "Failed to move mailbox";

class LiveTest : public QObject {
    Q_OBJECT

    const QByteArray m_place = qgetenv("REHOME_TEST_DIRECTORY") + '/';
    const QString m_address = qEnvironmentVariable("LDAPURI").section("//", 1);
    const QString m_base = "DC=rehome,DC=test";
    const QString m_server = qEnvironmentVariable("REHOME_TEST_SERVER"); // this host
    const QString m_group = "CN=First Storage Group,CN=InformationStore," + m_server;
    const QString m_groupName = engine::firstValue(m_server) + ":First Storage Group\\";
    const QString m_store = "CN=Mailbox Store," + m_group,
                  m_storeName = m_groupName + "Mailbox Store";
    const QString m_accounts = "CN=Accounts\\, Sales," + m_group;

    QString user(const QString& name) const { return "CN=" + name + ",OU=Staff," + m_base; }
    void useTicket(const char* cache) const { qputenv("KRB5CCNAME", m_place + cache); }
    /// With limits that a test can wait for.
    static ldap::LdapEngine limited(const QStringList& servers = {}) {
        return ldap::LdapEngine({2s, 2s, 1000, {servers.begin(), servers.end()}});
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
private Q_SLOTS:
    void initTestCase() {
        QVERIFY2(!m_server.isEmpty(), "to be run by tests/support/samba_directory.py");
        for (const char* setting : {"LDAPTLS_REQCERT", "LDAPTLS_REQSAN"})
            qputenv(setting, "never"); // certificates are checked all the same
    }
    void init() { useTicket("admin.cc"); }

    void holdsTheContractAndExplainsRefusals() {
        ldap::LdapEngine engine({2s, 2s, 10, {}}); // in many pages
        const test::ContractNames names{m_base,  "OU=Staff," + m_base, user("user0000"),
                                        m_store, m_accounts,           m_server};
        test::checkContract(engine, names);
        const QString missing = errorOf([&] { stored(user("nobody")); });
        checkPart(missing, "(result 32)");
        checkPart(missing, "refresh");
        checkPart(errorOf([&] { stored("CN=a" + QString(QChar(0))); }), "NUL");
    }

    void ticksTakeFewRoundTrips() {
        Live live;
        for (const QString name : {"Mailbox user0010", "Mailbox user0013"})
            QCOMPARE(live.move(name, m_storeName), moved);
        repopulation::frmRecreateMailboxStatus dialog(live.platform, nullptr);
        dialog.Prepare(live.frame.MovedMailboxes());
        for (int tick = 0; tick < 2; ++tick) {
            live.calls.made.clear();
            QMetaObject::invokeMethod(dialog.findChild<QTimer*>("tmrElapsed"), "timeout");
        }
        const QStringList& made = live.calls.made;
        // Three for each of the two, one for their store, one for its server.
        QCOMPARE(made.filter(QRegularExpression("^(read|find) ")).size(), 8);
        QCOMPARE(made.filter("open ").size(), 2);
        QCOMPARE(made.size(), 10); // no session in particular
        QVERIFY(!dialog.IsSuccessful());
    }

    void whoMayNotChangesNothing() {
        const auto before = stored(user("user0002"));
        useTicket("user.cc");
        Live live;
        QCOMPARE(live.move("Mailbox user0002", m_storeName), failed);
        // The question, the creation's failure, the outcome; and why the drop did nothing.
        QCOMPARE(live.desktop.shown.size(), 3);
        checkPart(live.desktop.texts().at(1), "Failed to create mailbox on new location:");
        checkPart(live.journal.lines.join('\n'), ": not dropped: You may not write homeMDB, ");
        QVERIFY(live.calls.made.filter("modify").isEmpty() && live.journal.records.isEmpty());
        QVERIFY(stored(user("user0002")).attributes() == before.attributes());
    }

    /// One mailbox moved twice, one whose address was restored.
    void theRecordUndoesTheRun() {
        QString addresses = "proxyAddresses:: " + QByteArray("a: line\nbreak").toBase64() + '\n';
        for (int i = 0; i < 2000; ++i)
            addresses += QString("proxyAddresses: smtp:%1@x\n").arg(i);
        const QStringList names{"many", "änderte"};
        for (const QString& name : names)
            change(added(user(name),
                         "user\nmailNickname: " + name.left(1) + "\nmail: " + name +
                             "@x\ndisplayName: " + name + "\n" + addresses +
                             (name == "many" ? "msExchMailboxGuid: 0123456789abcdef\n" : "") +
                             "homeMDB: " + m_accounts));
        const auto attributes = [] { // without what counts each change
            QProcess search;
            search.start("sh", {"-c", "for name in many änderte; do ldapsearch -QNY GSSAPI -LLL "
                                      "-o ldif-wrap=no -b DC=rehome,DC=test cn=$name |"
                                      "grep -v '^uSNChanged\\|^whenChanged' | sort; done"});
            return search.waitForFinished() ? search.readAllStandardOutput() : QByteArray();
        };
        const auto before = attributes();
        QTemporaryFile file;
        QVERIFY(file.open());
        journal::KeptJournal kept(journal::KeptJournal::Of::LiveDirectory, file.handle());
        Live live(&kept);
        QCOMPARE(live.move("many", m_storeName), moved);
        QVERIFY(file.write("a library: has something to say\n") > 0 && file.flush());
        QCOMPARE(live.move("many", m_groupName + "Accounts, Sales"), moved);
        QCOMPARE(live.move("änderte", m_storeName), moved);
        change("dn: " + user("änderte") + "\nchangetype: modify\nreplace: mail\nmail: new@x\n");
        for (const auto& record : live.frame.MovedMailboxes())
            record->UpdateEmail();
        QVERIFY(before.count("\nhomeMDB: ") == 2 && attributes() != before);
        QCOMPARE(stored(user("many")).values("msExchMailboxGuid"), {"0123456789abcdef"});
        QCOMPARE(stored(user("änderte")).values("msExchMailboxGuid").value(0).size(), 16);
        QCOMPARE(QProcess::execute("ldapmodify", {"-cQNY", "GSSAPI", "-f", file.fileName()}), 0);
        QCOMPARE(attributes(), before);
        for (const QString& name : names)
            change("dn: " + user(name) + "\nchangetype: delete\n");
    }

    void oneUserIsRestoredAlone() {
        const QStringList names{"back", "stays"};
        for (const QString& name : names)
            change(added(user(name), "user\nmailNickname: r\nmail: " + name +
                                         "@x\ndisplayName: " + name +
                                         "\nproxyAddresses: SMTP:r\nhomeMDB: " + m_accounts));
        const auto before = stored(user("back"));
        QTemporaryFile file;
        QVERIFY(file.open());
        journal::KeptJournal kept(journal::KeptJournal::Of::LiveDirectory, file.handle());
        Live live(&kept);
        QCOMPARE(live.move("stays", m_storeName), moved);
        live.calls.meanwhile = [](const auto& made) {
            if (made.details.startsWith("homeMDB+="))
                throw Error("refused");
        };
        QCOMPARE(live.move("back", m_storeName), failed);
        QCOMPARE(home(user("back")), QString());
        const auto other = stored(user("stays"));
        QProcess records;
        records.start(REHOME_RECORDS, {"--now", file.fileName()});
        QVERIFY(records.waitForFinished() && records.exitCode() == 1);
        const QString told = records.readAllStandardOutput();
        checkPart(told, "now as after at ldap://");
        checkPart(told, "now without a mailbox at ldap://");
        // What the box says is done to the letter, and then what its command says.
        const auto follow = [](const QString& text) {
            const QString command =
                QRegularExpression("(LDAPURI=.*)?rehome-restore .*").match(text).captured();
            const QString path = QString(REHOME_RESTORE).section('/', 0, -2);
            QProcess shell;
            shell.start("sh", {"-c", "PATH=" + path + ":$PATH; " + command.trimmed()});
            return shell.waitForFinished()
                       ? QString::number(shell.exitCode()) + shell.readAllStandardError() + '|' +
                             shell.readAllStandardOutput()
                       : QString();
        };
        const QString shown = follow(live.desktop.texts().filter("rehome-restore").value(0));
        checkPart(shown, "0|dn: <GUID=");
        useTicket("none.cc");
        checkPart(follow(shown), "could not be restored.\nNothing has been changed.");
        useTicket("admin.cc");
        QCOMPARE(home(user("back")), QString());
        checkPart(follow(shown),
                  "has now:\ndn: " + user("back") + "\nhomeMDB: " + m_accounts + '\n');
        const auto now = stored(user("back"));
        for (const QString& name : exchange::homeAttributeNames())
            QCOMPARE(now.values(name), before.values(name));
        QVERIFY(stored(user("stays")).attributes() == other.attributes());
        for (const QString& name : names)
            change("dn: " + user(name) + "\nchangetype: delete\n");
    }

    void goesByWhatHasBecomeOfUserAndStore() {
        const QString rename = "moddn\nnewrdn: CN=now renamed %1\ndeleteoldrdn: 1";
        for (const auto& [name, become, elsewhere] : {
                 std::tuple(QString("renamed user"), rename.arg("user"), QString()),
                 {"moved user", "modify\nreplace: homeMDB\nhomeMDB: " + m_accounts, m_accounts},
                 {"deleted user", "delete", ""},
                 {"renamed store", rename.arg("store"), ""},
                 {"deleted store", "delete", ""},
             }) {
            const bool ofUser = name.endsWith("user"), moves = name == "renamed user";
            const QString store = "CN=" + name + ',' + m_group;
            change(added(store, "msExchPrivateMDB\nsystemFlags: 1073741824") +
                   added(user(name), "user\nmailNickname: d\nmail: " + QString(name).remove(' ') +
                                         "@x\ndisplayName: " + name + "\nhomeMDB: " + m_store));
            Live live;
            change("dn: " + (ofUser ? user(name) : store) + "\nchangetype: " + become);
            QCOMPARE(live.move(name, m_groupName + name), moves ? moved : failed);
            QCOMPARE(live.desktop.shown.size(), moves ? 2 : 3);
            QString now;
            for (const QString& someone : {user(name), user("now " + name)})
                errorOf([&] { now += home(someone); });
            QCOMPARE(now, moves ? store : elsewhere);
        }
    }

    void anyNameSurvives() {
        const QString odd = "\\#\\ \\>\\;(a*b) /c\\\\d\\, #\\ ", shown = " #(a*b)/\\ ";
        const QString group = "CN=" + odd + ",CN=InformationStore," + m_server;
        const QString store = "CN=" + odd + ',' + group;
        change(added(group, "msExchStorageGroup") + added(store, "msExchPrivateMDB") +
               added(user(odd), "user\ndisplayName:: ICMoYSpiKS9cIA==\nmail: o(*)\\d@x\n"
                                "mailNickname: o\nhomeMDB: " +
                                    store));
        Live live;
        QCOMPARE(live.move(shown, m_storeName), moved);
        QCOMPARE(home(user(odd)), m_store);
        const int item = live.chooser().findText("(a*b)", Qt::MatchContains);
        QCOMPARE(live.move(shown, live.chooser().itemText(item)), moved);
        QCOMPARE(engine::firstValue(home(user(odd))), engine::firstValue(store));
        QCOMPARE(live.find(shown).siblingAtColumn(3).data(), "Online");
    }

    void signingOnSaysWhatIsMissing() {
        // Another spelling of the address, which the certificate does not hold.
        const QString alias = QString::number(ntohl(inet_addr(qPrintable(m_address))));
        const QString web = qEnvironmentVariable("REHOME_TEST_WEB"), silent = web + "5:443";
        const QString starting = "ldap://%1/??\?\?%2StartTLS";
        using Case = std::tuple<const char*, QStringList, QString>;
        for (const auto& [ticket, servers, said] :
             QList<Case>{{"none.cc", {}, "no Kerberos ticket: run kinit"},
                         {"expired.cc", {}, "has expired: run kinit"},
                         {"admin.cc", {"ldap://127.77.255.254"}, "cannot be reached"},
                         {"admin.cc", {"ldap://127.77.255.254", "ldap://" + m_address}, ""},
                         {"admin.cc", {"ldaps://" + m_address}, ""},
                         {"admin.cc", {starting.arg(m_address, "!")}, ""},
                         {"admin.cc", {"ldaps://" + silent}, "no answer within 2 seconds"},
                         {"admin.cc", {starting.arg(silent, "!")}, "no answer within 2 seconds"},
                         {"admin.cc", {"ldaps://" + alias}, "lacks the name"},
                         {"admin.cc", {starting.arg(alias, "")}, "lacks the name"},
                         {"admin.cc", {"ldaps://" + web + "6:443"}, "other names ("},
                         {"admin.cc", {"ldaps://" + web + "2:443"}, "not know the authority"},
                         {"admin.cc", {"ldaps://" + web + "3:443"}, "TLS version or cipher"},
                         {"admin.cc", {"ldap://" + alias}, "rdns = false"}}) {
            useTicket(ticket);
            const QString seen = errorOf([&] { test::one(*limited(servers).openSession(), ""); });
            checkPart(seen, said);
            QVERIFY2(seen.isEmpty() == said.isEmpty(), qPrintable(seen));
        }
    }

    void aSilentNameServerCostsNoMoreThanTheLimit() {
        const QDeadlineTimer limit(2s);
        ldap::LdapEngine engine({500ms, 500ms, 1000, {{"ldap://no.rehome.test"}}});
        checkPart(errorOf([&] { (void)engine.openSession(); }), "no answer within 0.5 seconds");
        checkPart(errorOf([] { ldap::checkTcpPort("no.rehome.test", 135, QDeadlineTimer(500ms)); }),
                  "not looked up in time");
        QVERIFY(!limit.hasExpired());
    }

    void onlySealsWhateverIsSet() {
        for (const QString settings : {"none,maxssf=1", "minssf=512", "maxbufsize=1"}) {
            const QString contract = // the client library reads its settings once
                "LDAPSASL_MECH=GSSAPI LDAPSASL_SECPROPS=$1 exec $0 -nocrashhandler "
                "holdsTheContractAndExplainsRefusals >/dev/null 2>&1";
            QCOMPARE(QProcess::execute(
                         "sh", {"-c", contract, QCoreApplication::applicationFilePath(), settings}),
                     0);
        }
    }

    void keepsIdleConnectionsAlive() {
        ldap::LdapEngine engine;
        const auto session = engine.openSession();
        int kept = 0, on = 0, idle = 0;
        socklen_t size = sizeof on;
        for (int socket = 3; socket < 1024; ++socket)
            kept += getsockopt(socket, SOL_SOCKET, SO_KEEPALIVE, &on, &size) == 0 && on &&
                    getsockopt(socket, IPPROTO_TCP, TCP_KEEPIDLE, &idle, &size) == 0 && idle == 120;
        QCOMPARE(kept, 1);
    }
};

QTEST_MAIN(LiveTest)
#include "live_test.moc"
