// The tool, and the engine's contract, over a real Active Directory.
#include "main_window/list_combo.h"
#include "main_window/main_window.h"
#include "platform/embedded/embedded_engine.h"
#include "platform/embedded/embedded_network.h"
#include "platform/embedded/embedded_probe.h"
#include "platform/engine_contract.h"
#include "platform/exchange/exchange_objects.h"
#include "platform/ldap/host_network.h"
#include "platform/ldap/ldap_engine.h"
#include "platform/ldap/ldap_probe.h"
#include "support/recording_engine.h"
#include "support/test_desktop.h"
#include "support/test_directory.h"

using namespace rehome;
using namespace Qt::Literals::StringLiterals;

namespace {

/// The main window, loaded, and what it did.
struct Tool {
    Tool(engine::Engine& engine, engine::ExchangeProbe& probe, platform::Network& network)
        : directory(engine),
          exchange(directory, probe, journal), platform{directory, exchange, network, desktop,
                                                        journal} {
        frame.Form_Load();
    }
    QString cell(int row, int column) const {
        return grid.model()->index(row - 1, column).data().toString();
    }
    /// The rows as "name|store|state".
    QStringList rows() const {
        QStringList all;
        for (int row = 1; row < grid.Rows(); ++row)
            all += cell(row, 1) + u'|' + cell(row, 2) + u'|' + cell(row, 3);
        return all;
    }
    /// Moves a mailbox and returns the last message but the question.
    QString move(const QString& name, const QString& store) {
        for (int row = grid.Rows() - 1; row > 0 && cell(grid.Row(), 1) != name; --row)
            grid.setRow(row);
        chooser.setText(store);
        Q_EMIT chooser.Click();
        return desktop.texts().value(desktop.texts().size() - 1);
    }

    test::TestJournal journal;
    test::TestDesktop desktop;
    adsi::Directory directory;
    exchange::ExchangeObjects exchange;
    platform::Platform platform;
    main_window::frmMain frame{platform, u"Rehome"_s};
    main_window::FlexGrid& grid = *frame.findChild<main_window::FlexGrid*>();
    main_window::ListCombo& chooser =
        *frame.findChild<main_window::ListCombo*>(u"comboStoreName"_s);
};

/// What a tool needs over the directory; all that goes over the wire is recorded.
struct Live {
    ldap::LdapEngine engine;
    ldap::HostNetwork network;
    ldap::LdapProbe unrecorded{engine, network};
    test::RecordingEngine calls{engine, unrecorded};
    ldap::LdapProbe probe{calls, network};
    Tool tool{calls, probe, network};
};

const QString moved = u"MailBox moved successfully"_s;

} // namespace

class LiveTest : public QObject {
    Q_OBJECT

    test::TestDirectory m_directory;
    const QString m_local = m_directory.value("LOCAL");
    const QString m_server = u"CN=%1,"_s.arg(m_local) + m_directory.value("SERVERS");
    const QString m_group = u"CN=First Storage Group,CN=InformationStore,"_s + m_server;

    QString user(int number) const {
        return u"CN=user%1,"_s.arg(number, 4, 10, QChar(u'0')) + m_directory.value("USERS");
    }
    engine::Entry stored(const QString& dn) {
        m_directory.useTicket("ADMIN_CACHE");
        return test::one(*ldap::LdapEngine().openSession(), dn);
    }
    QString home(const QString& dn) { return stored(dn).text(u"homeMDB"_s); }
    QString added(const QString& dn, const QString& what) const {
        return u"dn: %1\nchangetype: add\nobjectClass: %2\n\n"_s.arg(dn, what);
    }
    QString fullName(const QString& store) const {
        return m_local + u":First Storage Group\\"_s + store;
    }

private Q_SLOTS:
    void init() { m_directory.useTicket("ADMIN_CACHE"); }

    void contract() {
        ldap::LdapEngine engine;
        const test::ContractNames names{
            m_directory.value("BASE"),        m_directory.value("USERS"),           user(0),
            u"CN=Mailbox Store,"_s + m_group, u"CN=Accounts\\, Sales,"_s + m_group, m_server};
        test::checkSearches(engine, names);
        test::checkErrors(engine, names);
        test::checkModify(engine, names);
    }

    void aMoveAndARefreshTakeFewRoundTrips() {
        Live live;
        QStringList& made = live.calls.made;
        made.clear();
        QCOMPARE(live.tool.move(u"Mailbox user0001"_s, fullName(u"Mailbox Store"_s)), moved);
        qsizetype moves = made.size();
        while (!made.at(moves - 1).startsWith(u"modify "_s))
            --moves;
        QVERIFY2(moves <= 6, qPrintable(made.join(u'\n')));

        QMap<QString, int> trips; // by object
        for (const QString& call : made.mid(moves))
            ++trips[call.section(u' ', 1).section(u" ("_s, 0, 0)];
        const QString within = m_directory.value("SERVERS");
        int others = 0, servers = 0, groups = 0, stores = 0;
        for (auto it = trips.cbegin(); it != trips.cend(); ++it) {
            const bool server = engine::parentName(it.key(), 1) == within;
            const bool group = engine::parentName(it.key(), 3) == within;
            const bool store = engine::parentName(it.key(), 4) == within;
            servers += server, groups += group, stores += store;
            const int most = server ? 3 : group ? 4 : 2;
            if (server || group || store)
                QVERIFY2(it.value() <= most, qPrintable(it.key() + QString::number(it.value())));
            else
                others += it.value();
        }
        QCOMPARE(QList<int>({servers, groups, stores}), QList<int>({3, 6, 8}));
        QVERIFY2(others <= 4, qPrintable(made.join(u'\n'))); // sign-on, root, servers, users
    }

    void whoMayNotChangesNothing() {
        const auto before = stored(user(2));
        m_directory.useTicket("USER_CACHE");
        Live live;
        QCOMPARE(live.tool.move(u"Mailbox user0002"_s, fullName(u"Mailbox Store"_s)),
                 u"Failed to move mailbox"_s);
        const QStringList shown = live.tool.desktop.texts(), said = live.tool.journal.lines;
        QCOMPARE(shown.size(), 3); // the question, the creation's failure, the outcome
        QVERIFY2(shown.at(1).startsWith(u"Failed to create mailbox on new location:"_s),
                 qPrintable(shown.at(1)));
        QCOMPARE(said.size(), 2);
        QVERIFY2(said.at(1).startsWith(u"drop of {"_s) && said.at(1).contains(u"(result 50)"_s),
                 qPrintable(said.at(1)));
        const auto after = stored(user(2));
        QVERIFY(after.attributes == before.attributes);
    }

    void goesByWhatHasBecomeOfUserAndStore_data() {
        QTest::addColumn<QString>("change");
        QTest::addColumn<QString>("outcome");
        QTest::addColumn<QString>("home"); // afterwards
        const QString failed = u"Failed to move mailbox"_s;
        const QString renamed = u"changetype: moddn\nnewrdn: CN=Now\ndeleteoldrdn: 1\n"_s;
        const QString deleted = u"changetype: delete\n"_s;
        QTest::newRow("user renamed") << u"dn: USER\n"_s + renamed << moved << u"STORE"_s;
        QTest::newRow("user deleted") << u"dn: USER\n"_s + deleted << failed << QString();
        QTest::newRow("store renamed") << u"dn: STORE\n"_s + renamed << failed << QString();
        QTest::newRow("store deleted") << u"dn: STORE\n"_s + deleted << failed << QString();
    }
    void goesByWhatHasBecomeOfUserAndStore() {
        QFETCH(QString, change);
        QFETCH(QString, outcome);
        QFETCH(QString, home);
        const QString name = QString::fromUtf8(QTest::currentDataTag());
        const QString someone = u"CN=%1,"_s.arg(name) + m_directory.value("USERS");
        const QString store = u"CN=%1,"_s.arg(name) + m_group;
        m_directory.change(added(store, u"msExchPrivateMDB\nsystemFlags: 1073741824"_s) +
                           added(someone, u"user\ndisplayName: %1\nmailNickname: d\nmail: d@x\n"
                                          "homeMDB: CN=Mailbox Store,%2"_s.arg(name, m_group)));
        Live live;
        m_directory.change(change.replace(u"USER"_s, someone).replace(u"STORE"_s, store));
        QCOMPARE(live.tool.move(name, fullName(name)), outcome);
        QCOMPARE(live.tool.desktop.shown.size(), outcome == moved ? 2 : 3);
        QString now;
        for (const QString& user : {someone, u"CN=Now,"_s + m_directory.value("USERS")})
            test::errorOf([&] { now += this->home(user); });
        QCOMPARE(now, home.replace(u"STORE"_s, store));
    }

    void theLaterOfTwoToolsWins() {
        Live first, second;
        const QString name = u"Mailbox user0004"_s;
        const auto other = fullName(u"Accounts, Sales"_s);
        bool asked = false;
        second.tool.desktop.whileShown = [&](QDialog&) {
            if (std::exchange(asked, true))
                return;
            QCOMPARE(first.tool.move(name, other), moved);
            QCOMPARE(home(user(4)), u"CN=Accounts\\, Sales,"_s + m_group);
        };
        QCOMPARE(second.tool.move(name, fullName(u"Mailbox Store"_s)), moved);
        QCOMPARE(home(user(4)), u"CN=Mailbox Store,"_s + m_group);
        QVERIFY(second.tool.journal.lines.value(0).contains(u"CN=Accounts"_s));
    }

    void anyNameSurvives() {
        const QString odd = u"CN=\\#\\ (a*b) /c\\\\d\\, #\\ "_s;
        const QString group = odd + u",CN=InformationStore,"_s + m_server;
        const QString someone = odd + u',' + m_directory.value("USERS"), store = odd + u',' + group;
        m_directory.change(added(group, u"msExchStorageGroup"_s) +
                           added(store, u"msExchPrivateMDB"_s) +
                           added(someone, u"user\ndisplayName:: ICMoYSpiKS9cIA==\nmail: "
                                          "o(*)\\d@x\nmailNickname: o\nhomeMDB: "_s +
                                              store));
        Live live;
        const QString shown = u" #(a*b)/\\ "_s;
        const QString row = live.tool.rows().filter(shown).value(0);
        QVERIFY2(row.endsWith(u"|Online"_s), qPrintable(row));
        QCOMPARE(live.tool.move(shown, fullName(u"Mailbox Store"_s)), moved);
        QCOMPARE(home(someone), u"CN=Mailbox Store,"_s + m_group);
        const auto& chooser = live.tool.chooser;
        const int item = chooser.findText(u"(a*b)"_s, Qt::MatchContains);
        QCOMPARE(live.tool.move(shown, chooser.itemText(item)), moved);
        QCOMPARE(engine::firstValue(home(someone)), engine::firstValue(store));
        const auto person = live.tool.exchange.CreatePerson();
        person->DataSource().Open(u"mailto:o(*)\\d@x"_s, {});
        QVERIFY(!person->Mailbox()->FolderLocation().isEmpty());
    }

    void aSnapshotShowsTheSame() {
        QTemporaryDir folder;
        const QString path = folder.filePath(u"snapshot.ldif"_s);
        QCOMPARE(QProcess::execute(QStringLiteral(REHOME_SNAPSHOT), {path}), 0);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QByteArray ldif = file.readAll(); // what is noted by hand:
        ldif.replace("\nname: EXDOWN\n", "\nname: EXDOWN\nrehomeServerDown: TRUE\n");
        embedded::Organisation organisation(ldif, path);
        embedded::EmbeddedEngine engine(organisation);
        embedded::EmbeddedProbe probe(organisation);
        embedded::EmbeddedNetwork network(organisation);
        Tool rehearsal(engine, probe, network);
        Live live;
        QStringList here = rehearsal.rows(), there = live.tool.rows();
        here.sort();
        there.sort();
        QCOMPARE(here, there);
        QCOMPARE(rehearsal.move(u"Mailbox user0001"_s, fullName(u"Accounts, Sales"_s)), moved);
    }
};

QTEST_MAIN(LiveTest)
#include "live_test.moc"
