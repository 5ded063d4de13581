#include "support/window_driver.h"

using namespace rehome;
using platform::Answer;
using test::OrganisationText;
using test::u;
using test::Window;

namespace {

class MovesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void oneMailbox() {
        Window w;
        w.open();
        w.desktop.answers = {Answer::No};
        const auto before = w.calls.made.size();
        w.moveRow(1, u("EX1:SG\\B"));
        QCOMPARE(w.calls.made.size(), before);
        QVERIFY(!w.chooser().isVisible());
        w.moveRow(1, u("EX1:SG\\B"));
        const auto& shown = w.desktop.shown;
        QCOMPARE(shown.size(), 3);
        for (int i = 0; i < 2; ++i) {
            QCOMPARE(shown.at(i).Text, u("Are you sure you want to move Display u1 from \r\n"
                                         "-> EX2:SG\\C\r\n\t\t- TO -\r\n-> EX1:SG\\B"));
            QCOMPARE(shown.at(i).Title, u(" Move Mailbox "));
        }
        QCOMPARE(shown.at(2).Text + shown.at(2).Title, u("MailBox moved successfullyMailbox move"));
        QCOMPARE(w.text(1, 2), u("EX1:SG\\B"));
        QCOMPARE(w.rehearsal.homeOf(u("u1")), OrganisationText::storeDN(u("EX1/SG/B")));
        QCOMPARE(w.frame.state().MovedMailboxes.Count(), 1);
        QVERIFY(w.chooser().isVisible());
    }

    void picksThatMoveNothing() {
        Window w;
        w.open();
        w.moveRow(4, u("EX1:SG\\A")); // the store shown
        QVERIFY(!w.chooser().isVisible());
        Window empty(OrganisationText().server(u("EX1")).group(u("EX1/SG")).store(u("EX1/SG/A")));
        empty.open();
        Window::pick(empty.chooser(), u("EX1:SG\\A")); // the heading row
        QVERIFY(!empty.chooser().isVisible());
        QVERIFY(w.desktop.shown.isEmpty() && empty.desktop.shown.isEmpty());
        // A store of a server that differs from the local one in letter case alone.
        w.clickCell(1, 1);
        w.chooser().AddItem(u("ex1:SG\\B"));
        Window::pick(w.chooser(), u("ex1:SG\\B"));
        QCOMPARE(w.desktop.texts(),
                 QStringList(u("Moving mailbox to remote server prohibited, disaster recovery "
                               "utility can only restore to local stores")));
        QVERIFY(w.desktop.shown.at(0).Icon == platform::Icon::Exclamation);
        QCOMPARE(w.frame.state().MovedMailboxes.Count(), 0);
    }

    void creationFails() {
        Window w;
        w.open();
        w.calls.failing = u("homeMDB=CN=");
        w.moveRow(2, u("EX1:SG\\B"));
        const QStringList texts = w.desktop.texts();
        QVERIFY(texts.value(1).startsWith(u("Failed to create mailbox on new location:refused")));
        QCOMPARE(texts.value(2), u("Failed to move mailbox"));
        QCOMPARE(w.frame.state().MovedMailboxes.Count(), 1);
        QCOMPARE(w.grid().Rows(), 4); // without a home the user is no longer found

        w.calls.failing = u("modify"); // a refused drop is silent, and the mailbox stays
        w.desktop.shown.clear();
        w.moveRow(1, u("EX1:SG\\B"));
        QVERIFY(w.desktop.texts().value(1).contains(u("still has a mailbox on CN=C,")));
        QCOMPARE(w.desktop.texts().value(2), u("Failed to move mailbox"));
        QCOMPARE(w.text(1, 2), u("EX2:SG\\C"));
    }

    void batchTakesWhatQualifies() {
        Window w;
        w.open();
        w.press("rdoCriteria");
        auto& status = w.combo("comboStatus");
        status.lineEdit()->selectAll();
        QTest::keyClicks(&status, u("offline")); // compared exactly, and not corrected
        QTest::keyClick(&status, Qt::Key_Tab);
        Window::pick(w.combo("comboDestMBx"), u("EX1:SG\\B"));
        w.press("btnMove");
        QCOMPARE(w.desktop.shown.at(0).Title + w.desktop.shown.at(0).Text,
                 u(" Move Mailbox Are you Sure You want to Move selected MailBoxes to -\r\n\r\n"
                   "-> EX1:SG\\B"));
        QCOMPARE(w.desktop.texts().at(1), u("No MailBox found in "));
        w.press("rdoCriteria");
        Window::pick(status, u("Offline"));
        Window::pick(w.combo("comboDestMBx"), u("EX1:SG\\B"));
        w.press("btnMove"); // u3
        Window::pick(w.combo("comboDestMBx"), u("EX1:SG\\B"));
        w.press("btnMove"); // all the others, in the grid's order
        QCOMPARE(w.desktop.texts().at(3), u("1 MailBoxes Moved Successfully"));
        QCOMPARE(w.desktop.texts().at(5), u("3 MailBoxes Moved Successfully"));
        QStringList moved;
        for (const auto& user : w.frame.state().MovedMailboxes)
            moved += user->GetMail();
        QCOMPARE(moved.join(u' '), u("u3@t u1@t u2@t u4@t"));
        for (const QString& row : w.rows())
            QVERIFY(row.endsWith(u("|EX1:SG\\B|Online")));
    }

    void batchReportsFailures() {
        Window w(test::smallOrganisation().user(u("u5"), u("EX2/SG/C")));
        w.open();
        w.calls.failing = u("homeMDB=CN=");
        w.calls.which = {1, 3};
        Window::pick(w.combo("comboDestMBx"), u("EX1:SG\\B"));
        w.press("btnMove");
        const QStringList texts = w.desktop.texts();
        QCOMPARE(texts.size(), 4);
        QCOMPARE(texts.filter(u("Failed to create mailbox on new location:")).size(), 2);
        QCOMPARE(texts.constLast(), u("ERROR : Unable to move 2 MailBoxes of 5"));
        for (const char* user : {"u1", "u3", "u5"})
            QCOMPARE(w.rehearsal.homeOf(u(user)), OrganisationText::storeDN(u("EX1/SG/B")));
        QCOMPARE(w.frame.state().MovedMailboxes.Count(), 5);
        QCOMPARE(w.rehearsal.journal.lines.filter(u("drop {")).size(), 5);
    }

    void batchChecks() {
        Window w;
        w.open();
        auto& destination = w.combo("comboDestMBx");
        destination.lineEdit()->selectAll();
        QTest::keyClicks(&destination, u("EX1:SG\\B")); // typed, not picked
        w.press("btnMove");
        Window::pick(destination, u("EX1:SG\\B"));
        w.press("rdoFromStore");
        w.press("btnMove"); // the confirmation comes before the check of the source
        w.desktop.answers = {Answer::No};
        w.press("btnMove");
        QCOMPARE(w.desktop.shown.size(), 4);
        QCOMPARE(w.desktop.texts().at(0), u("Please Select the Destination MailStore"));
        QCOMPARE(w.desktop.texts().at(2), u("Please Select the Source MailStore"));
        QVERIFY(w.button("btnMove").isEnabled() && w.button("btnRefresh").isEnabled());
        QCOMPARE(w.frame.state().MovedMailboxes.Count(), 0);
        // Source and destination the same.
        Window::pick(w.combo("comboSourceMBx"), u("EX1:SG\\A"));
        Window::pick(destination, u("EX1:SG\\A"));
        w.press("btnMove");
        QCOMPARE(w.desktop.texts().constLast(), u("No MailBox found in EX1:SG\\A"));
    }
};

} // namespace

QTEST_MAIN(MovesTest)
#include "moves_test.moc"
