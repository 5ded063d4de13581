#include "platform/text_case.h"
#include "support/window_driver.h"

using namespace rehome;
using test::OrganisationText;
using test::Window;

namespace {

const QString B = OrganisationText::storeDN("EX1/SG/B");
const QString C = OrganisationText::storeDN("EX2/SG/C");

class MovesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void oneMailbox() {
        Window w;
        w.open();
        w.calls.made.clear();
        w.desktop.refusals = 1;
        w.moveRow(1, "EX1:SG\\B");
        QVERIFY(w.calls.made.isEmpty() && !w.chooser().isVisible());
        w.chooser().AddItem("EX1:sg\\b");
        w.moveRow(1, "EX1:sg\\b"); // the store is found whatever the letter case
        QCOMPARE(platform::upperCase("straße"), "STRAßE"); // unit by unit: "ß" is not "SS"
        const auto& shown = w.desktop.shown;
        QCOMPARE(shown.size(), 3);
        QCOMPARE(shown.at(0).Title + shown.at(0).Text,
                 " Move Mailbox Are you sure you want to move Display u1 from \r\n"
                 "-> EX2:SG\\C\r\n\t\t- TO -\r\n-> EX1:SG\\B");
        QCOMPARE(shown.at(2).Title + shown.at(2).Text, "Mailbox moveMailBox moved successfully");

        const QString server = OrganisationText::serverDN("EX1");
        const QString id = (*w.state.MovedMailboxes.begin())->GetID();
        QString made; // the round trips, without what is written and the refresh
        for (const QString& call : w.calls.made.mid(0, 6))
            made += call.section(' ', 0, 1) + '|';
        QCOMPARE(made.replace(id.mid(1, 36), "U"),
                 QString("read <GUID=U>|modify <GUID=U>|read <GUID=U>|read %1|find %2|"
                         "modify <GUID=U>|")
                     .arg(B, server));
        QCOMPARE(w.calls.made.at(6), "read "); // the refresh begins
        QCOMPARE(w.text(1, 2) + w.values("u1", "homeMDB"), "EX1:SG\\B" + B);
        QCOMPARE(w.values("u1", "msExchHomeServerName") + w.values("u1", "homeMTA"),
                 "/o=T/cn=EX1CN=Microsoft MTA," + server);
        QCOMPARE(w.values("u1", "mDBUseDefaults") + w.values("u1", "mail"), "TRUEu1@t");
        QVERIFY(!w.values("u1", "msExchMailboxGuid").isEmpty() && w.chooser().isVisible());
        QString recorded; // before the drop, all that the move may change
        for (const auto& [name, values] : w.rehearsal.journal.records.value(0).Attributes)
            recorded += name + '=' + values.join(',') + ' ';
        QCOMPARE(recorded,
                 "homeMDB=" + C +
                     " homeMTA= msExchHomeServerName= msExchMailboxGuid= "
                     "mDBUseDefaults= mailNickname=u1 mail=u1@t proxyAddresses=SMTP:u1@t ");
    }

    void picksThatMoveNothing() {
        Window w;
        w.open();
        w.moveRow(4, "EX1:SG\\A"); // the store shown
        QVERIFY(!w.chooser().isVisible());
        QVERIFY(w.desktop.shown.isEmpty());
        // A store of a server that differs from the local one in letter case alone.
        w.chooser().AddItem("ex1:SG\\B");
        w.moveRow(1, "ex1:SG\\B");
        QCOMPARE(w.desktop.texts(),
                 QStringList("Moving mailbox to remote server prohibited, disaster recovery "
                             "utility can only restore to local stores"));
        QVERIFY(w.desktop.shown.at(0).Icon == platform::Icon::Exclamation);
        QCOMPARE(w.state.MovedMailboxes.Count(), 0);
    }

    void batchTakesWhatQualifies() {
        Window w;
        w.open();
        w.press("rdoCriteria");
        auto& status = w.combo("comboStatus");
        status.lineEdit()->selectAll();
        QTest::keyClicks(&status, "offline"); // compared exactly, and not corrected
        QTest::keyClick(&status, Qt::Key_Tab);
        const auto move = [&] {
            w.pick("comboDestMBx", "EX1:SG\\B");
            w.press("btnMove");
        };
        move();
        QVERIFY(w.state.SourceMode == main_window::Source::Criteria && status.isEnabled());
        QCOMPARE(w.desktop.shown.at(0).Title + w.desktop.shown.at(0).Text,
                 " Move Mailbox Are you Sure You want to Move selected MailBoxes to -\r\n\r\n"
                 "-> EX1:SG\\B");
        w.pick("comboStatus", "Offline"); // the choice itself has outlived the refresh
        move();                           // u3
        w.press("rdoFromStore");
        w.pick("comboSourceMBx", "EX2:SG\\C");
        move(); // u1 and u2
        w.press("rdoALL");
        move(); // whoever is left
        const QStringList texts = w.desktop.texts();
        QCOMPARE(QStringList({texts.at(1), texts.at(3), texts.at(5), texts.at(7)}).join('|'),
                 "No MailBox found in |1 MailBoxes Moved Successfully|"
                 "2 MailBoxes Moved Successfully|1 MailBoxes Moved Successfully");
        QString moved;
        for (const auto& user : w.state.MovedMailboxes)
            moved += user->GetMail() + ' ';
        QCOMPARE(moved, "u3@t u1@t u2@t u4@t ");
        QCOMPARE(w.rows().filter("|EX1:SG\\B|Online").size(), 4);
    }

    /// A store that reads otherwise in the grid than in the lists, and names that would lie.
    void misleadingNames() {
        const QString path = "EX1/SG/A\\\\\u202EB", store = "EX1:SG\\A\\\u202EB";
        OrganisationText text = test::smallOrganisation(3);
        text.store(path).user("u4", path);
        const QByteArray name = "a\r\n-> x\t\u2028\u0085\u00AD\u200C\U000E0041é";
        const QString shown = u"a\uFFFD\uFFFD-> x\uFFFD\uFFFD\uFFFD\uFFFD\u200C\uFFFDé"_qs;
        text.bareUser("u5", "mail: \u202E@t\nhomeMDB: " + C + "\ndisplayName:: " + name.toBase64() +
                                '\n');
        Window w(text);
        w.open();
        w.moveRow(4, store);
        QVERIFY(w.desktop.shown.isEmpty());
        w.moveRow(5, store);
        QCOMPARE(w.desktop.texts().at(0), "Are you sure you want to move " + shown +
                                              " from \r\n-> EX2:SG\\C\r\n"
                                              "\t\t- TO -\r\n-> EX1:SG\\A\\\uFFFDB");
        w.grid.setRow(5);
        QCOMPARE(w.grid.Text() + w.text(5, 2) + w.text(5, 1),
                 "EX1:SG\\A\u202EBEX1:SG\\A\uFFFDB" + shown);
        w.press("rdoFromStore");
        w.pick("comboSourceMBx", w.grid.Text());
        w.pick("comboDestMBx", store);
        QCOMPARE(w.combo("comboDestMBx").lineEdit()->text(), "EX1:SG\\A\\\uFFFDB");
        w.press("btnMove");
        const QStringList told = w.desktop.texts().mid(2);
        QVERIFY(told.at(0).endsWith("\r\n\r\n-> EX1:SG\\A\\\uFFFDB"));
        QCOMPARE(told.at(1), "No MailBox found in EX1:SG\\A\uFFFDB");
    }

    void batchChecks() {
        Window w;
        w.open();
        w.press("rdoFromStore");
        w.pick("comboSourceMBx", "EX2:SG\\C");
        w.press("btnRefresh"); // forgets the source
        auto& destination = w.combo("comboDestMBx");
        destination.setFocus();
        destination.lineEdit()->selectAll();
        QTest::keyClicks(&destination, "EX1:SG\\B"); // typed, not picked
        w.press("btnMove");
        QCOMPARE(destination.Text(), "--- Click to Select ---");
        w.pick(destination, "EX1:SG\\B");
        w.press("btnMove"); // the confirmation comes before the check of the source
        w.desktop.refusals = 1;
        w.press("btnMove");
        QCOMPARE(w.desktop.shown.size(), 4);
        QCOMPARE(w.desktop.texts().at(0), "Please Select the Destination MailStore");
        QCOMPARE(w.desktop.texts().at(2), "Please Select the Source MailStore");
        QVERIFY(w.button("btnMove").isEnabled() && w.button("btnRefresh").isEnabled());
        QCOMPARE(w.state.MovedMailboxes.Count(), 0);
    }
};

} // namespace

QTEST_MAIN(MovesTest)
#include "moves_test.moc"
