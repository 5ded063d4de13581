// The tool, and the engine's contract, over a real Active Directory.
#include "main_window/list_combo.h"
#include "main_window/main_window.h"
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

/// The main window, loaded; all that goes over the wire is recorded.
struct Live {
    Live() { frame.Form_Load(); }
    QString cell(int row, int column) const {
        return grid.model()->index(row - 1, column).data().toString();
    }
    int rowOf(const QString& name) const {
        int row = grid.Rows() - 1;
        while (row > 0 && cell(row, 1) != name)
            --row;
        return row;
    }
    /// Moves a mailbox and returns the last message but the question.
    QString move(const QString& name, const QString& store) {
        grid.setRow(rowOf(name));
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
    main_window::frmMain frame{platform, u"Rehome"_s};
    main_window::FlexGrid& grid = *frame.findChild<main_window::FlexGrid*>();
    main_window::ListCombo& chooser =
        *frame.findChild<main_window::ListCombo*>(u"comboStoreName"_s);
};

const QString moved = u"MailBox moved successfully"_s, failed = u"Failed to move mailbox"_s;

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
        QCOMPARE(live.move(u"Mailbox user0001"_s, fullName(u"Mailbox Store"_s)), moved);
        qsizetype moves = made.size();
        while (!made.at(moves - 1).startsWith(u"modify "_s))
            --moves;
        QVERIFY2(moves <= 6, qPrintable(made.join(u'\n')));

        QMap<QString, int> trips; // by object
        for (const QString& call : made.mid(moves))
            ++trips[call.section(u' ', 1).section(u" ("_s, 0, 0)];
        const QMap<int, int> most{{1, 3}, {3, 4}, {4, 2}}; // a server's, a group's, a store's level
        int others = 0;
        for (auto it = trips.cbegin(); it != trips.cend(); ++it) {
            const auto level = std::find_if(most.keyBegin(), most.keyEnd(), [&](int above) {
                return engine::parentName(it.key(), above) == m_directory.value("SERVERS");
            });
            if (level == most.keyEnd())
                others += it.value();
            else
                QVERIFY2(it.value() <= most[*level], qPrintable(made.join(u'\n')));
        }
        QCOMPARE(trips.size(), 3 + 6 + 8 + 3);               // and root, configuration, domain
        QVERIFY2(others <= 4, qPrintable(made.join(u'\n'))); // sign-on, root, servers, users
    }

    void whoMayNotChangesNothing() {
        const auto before = stored(user(2));
        m_directory.useTicket("USER_CACHE");
        Live live;
        QCOMPARE(live.move(u"Mailbox user0002"_s, fullName(u"Mailbox Store"_s)), failed);
        const QStringList shown = live.desktop.texts(), said = live.journal.lines;
        QCOMPARE(shown.size(), 3); // the question, the creation's failure, the outcome
        QVERIFY2(shown.at(1).startsWith(u"Failed to create mailbox on new location:"_s),
                 qPrintable(shown.at(1)));
        QCOMPARE(said.size(), 2);
        QVERIFY2(said.at(1).startsWith(u"drop of {"_s) && said.at(1).contains(u"(result 50)"_s),
                 qPrintable(said.at(1)));
        const auto after = stored(user(2));
        QVERIFY(after.attributes == before.attributes);
    }

    void goesByWhatHasBecomeOfUserAndStore() {
        const QString deletion = u"changetype: delete\n"_s;
        const QString rename = u"changetype: moddn\nnewrdn: CN=%1 now\ndeleteoldrdn: 1\n"_s;
        for (const auto& [name, ofUser, change] :
             {std::tuple(u"a"_s, true, rename.arg(u"a"_s)), std::tuple(u"b"_s, true, deletion),
              std::tuple(u"c"_s, false, rename.arg(u"c"_s)), std::tuple(u"d"_s, false, deletion)}) {
            const QString someone = u"CN=%1,"_s.arg(name) + m_directory.value("USERS");
            const QString store = u"CN=%1,"_s.arg(name) + m_group;
            m_directory.change(added(store, u"msExchPrivateMDB\nsystemFlags: 1073741824"_s) +
                               added(someone, u"user\ndisplayName: %1\nmailNickname: d\nmail: d@x\n"
                                              "homeMDB: CN=Mailbox Store,%2"_s.arg(name, m_group)));
            Live live;
            m_directory.change(u"dn: %1\n"_s.arg(ofUser ? someone : store) + change);
            const bool moves = name == u"a"_s;
            QCOMPARE(live.move(name, fullName(name)), moves ? moved : failed);
            QCOMPARE(live.desktop.shown.size(), moves ? 2 : 3);
            QString now;
            for (const QString& user : {someone, QString(someone).replace(u",OU"_s, u" now,OU"_s)})
                test::errorOf([&] { now += home(user); });
            QCOMPARE(now, moves ? store : QString());
        }
    }

    void theLaterOfTwoToolsWins() {
        Live first, second;
        const QString name = u"Mailbox user0004"_s;
        const auto other = fullName(u"Accounts, Sales"_s);
        bool asked = false;
        second.desktop.whileShown = [&] {
            if (std::exchange(asked, true))
                return;
            QCOMPARE(first.move(name, other), moved);
            QCOMPARE(home(user(4)), u"CN=Accounts\\, Sales,"_s + m_group);
        };
        QCOMPARE(second.move(name, fullName(u"Mailbox Store"_s)), moved);
        QCOMPARE(home(user(4)), u"CN=Mailbox Store,"_s + m_group);
        QVERIFY(second.journal.lines.value(0).contains(u"CN=Accounts"_s));
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
        QCOMPARE(live.move(shown, fullName(u"Mailbox Store"_s)), moved);
        QCOMPARE(home(someone), u"CN=Mailbox Store,"_s + m_group);
        const auto& chooser = live.chooser;
        const int item = chooser.findText(u"(a*b)"_s, Qt::MatchContains);
        QCOMPARE(live.move(shown, chooser.itemText(item)), moved);
        QCOMPARE(engine::firstValue(home(someone)), engine::firstValue(store));
        QCOMPARE(live.cell(live.rowOf(shown), 3), u"Online"_s);
        const auto person = live.exchange.CreatePerson();
        person->DataSource().Open(u"mailto:o(*)\\d@x"_s, {});
        QVERIFY(!person->Mailbox()->FolderLocation().isEmpty());
    }
};

QTEST_MAIN(LiveTest)
#include "live_test.moc"
