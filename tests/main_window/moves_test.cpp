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
        w.moveRow(1, u("EX1:SG\\B"));
        const auto& shown = w.rehearsal.desktop.shown;
        QCOMPARE(shown.size(), 2);
        QCOMPARE(shown.at(0).Text, u("Are you sure you want to move Display u1 from \r\n"
                                     "-> EX2:SG\\C\r\n\t\t- TO -\r\n-> EX1:SG\\B"));
        QCOMPARE(shown.at(0).Title, u(" Move Mailbox "));
        QVERIFY(shown.at(0).Buttons == platform::Buttons::YesNo);
        QCOMPARE(shown.at(1).Text, u("MailBox moved successfully"));
        QCOMPARE(shown.at(1).Title, u("Mailbox move"));
        QCOMPARE(w.text(1, 2), u("EX1:SG\\B"));
        QCOMPARE(w.rehearsal.homeOf(u("u1")), OrganisationText::storeDN(u("EX1/SG/B")));
        QCOMPARE(w.frame.state().MovedMailboxes.Count(), 1);
        QVERIFY(w.chooser().isVisible());
    }

    void answeredNo() {
        Window w;
        w.open();
        w.rehearsal.desktop.answers = {Answer::No};
        const auto before = w.rehearsal.calls.made.size();
        w.moveRow(1, u("EX1:SG\\B"));
        QCOMPARE(w.rehearsal.desktop.shown.size(), 1);
        QCOMPARE(w.rehearsal.calls.made.size(), before);
        QVERIFY(!w.chooser().isVisible());
        QCOMPARE(w.frame.state().MovedMailboxes.Count(), 0);
        w.clickCell(1, 3);
        QVERIFY(w.chooser().isVisible());
        QCOMPARE(w.chooser().Text(), u("EX2:SG\\C"));
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
        QVERIFY(w.rehearsal.desktop.shown.isEmpty() && empty.rehearsal.desktop.shown.isEmpty());
        // A store of a server that differs from the local one in letter case alone.
        w.clickCell(1, 1);
        w.chooser().AddItem(u("ex1:SG\\B"));
        Window::pick(w.chooser(), u("ex1:SG\\B"));
        QCOMPARE(w.rehearsal.desktop.texts().value(0),
                 u("Moving mailbox to remote server prohibited, disaster recovery utility can only "
                   "restore to local stores"));
        QVERIFY(w.rehearsal.desktop.shown.at(0).Icon == platform::Icon::Exclamation);
        QCOMPARE(w.frame.state().MovedMailboxes.Count(), 0);
    }

    void creationFails() {
        Window w;
        w.open();
        w.rehearsal.calls.failing = u("homeMDB=CN=");
        w.moveRow(2, u("EX1:SG\\B"));
        const QStringList texts = w.rehearsal.desktop.texts();
        QVERIFY(texts.value(1).startsWith(u("Failed to create mailbox on new location:refused")));
        QCOMPARE(texts.value(2), u("Failed to move mailbox"));
        QVERIFY(w.rehearsal.desktop.shown.at(2).Title.isNull());
        QCOMPARE(w.frame.state().MovedMailboxes.Count(), 1);
        // Without a home store and a home server the user is no longer found: the view says so.
        QCOMPARE(w.grid().Rows(), 4);
    }

    void batchRuns_data() {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("choice");
        QTest::addColumn<QString>("report");
        QTest::addColumn<QString>("moved");
        QTest::newRow("all") << u("rdoALL") << QString() << u("4 MailBoxes Moved Successfully")
                             << u("u1 u2 u3 u4");
        QTest::newRow("state") << u("rdoCriteria") << u("Offline")
                               << u("1 MailBoxes Moved Successfully") << u("u3");
        QTest::newRow("state, other case")
            << u("rdoCriteria") << u("typed:offline") << u("No MailBox found in ") << QString();
        QTest::newRow("store") << u("rdoFromStore") << u("EX2:SG\\C")
                               << u("2 MailBoxes Moved Successfully") << u("u1 u2");
    }
    void batchRuns() {
        QFETCH(QString, source);
        QFETCH(QString, choice);
        Window w;
        w.open();
        w.press(qPrintable(source));
        auto& list = w.combo(source == u("rdoCriteria") ? "comboStatus" : "comboSourceMBx");
        if (choice.startsWith(u("typed:"))) {
            list.lineEdit()->selectAll();
            QTest::keyClicks(&list, choice.mid(6));
            QTest::keyClick(&list, Qt::Key_Tab);
        } else if (!choice.isEmpty()) {
            Window::pick(list, choice);
        }
        Window::pick(w.combo("comboDestMBx"), u("EX1:SG\\B"));
        w.press("btnMove");
        const auto& shown = w.rehearsal.desktop.shown;
        QCOMPARE(shown.size(), 2);
        QCOMPARE(shown.at(0).Text, u("Are you Sure You want to Move selected MailBoxes to -\r\n"
                                     "\r\n-> EX1:SG\\B"));
        QCOMPARE(shown.at(0).Title, u(" Move Mailbox "));
        QTEST(shown.at(1).Text, "report");
        QStringList moved;
        for (const auto& user : w.frame.state().MovedMailboxes) {
            moved += user->GetMail().chopped(2);
            QCOMPARE(w.rehearsal.homeOf(moved.constLast()),
                     OrganisationText::storeDN(u("EX1/SG/B")));
        }
        QTEST(moved.join(u' '), "moved");
        QVERIFY(w.button("btnMove").isEnabled() && w.button("btnRefresh").isEnabled());
        QVERIFY(w.frame.state().DestStoreName.isEmpty());
    }

    void batchReportsFailures() {
        OrganisationText text = test::smallOrganisation();
        text.user(u("u5"), u("EX2/SG/C"));
        Window w(text);
        w.open();
        w.rehearsal.calls.failing = u("homeMDB=CN=");
        w.rehearsal.calls.which = {1, 3};
        Window::pick(w.combo("comboDestMBx"), u("EX1:SG\\B"));
        w.press("btnMove");
        const QStringList texts = w.rehearsal.desktop.texts();
        QCOMPARE(texts.size(), 4);
        QCOMPARE(texts.filter(u("Failed to create mailbox on new location:")).size(), 2);
        QCOMPARE(texts.constLast(), u("ERROR : Unable to move 2 MailBoxes of 5"));
        QCOMPARE(w.frame.state().MovedMailboxes.Count(), 5);
        for (const char* user : {"u1", "u3", "u5"})
            QCOMPARE(w.rehearsal.homeOf(u(user)), OrganisationText::storeDN(u("EX1/SG/B")));
        // Those that lost their mailbox are listed no more; what they had stands in the journal.
        QCOMPARE(w.grid().Rows(), 4);
        QCOMPARE(w.rehearsal.journal.lines.filter(u("drop {")).size(), 5);
    }

    void batchChecks() {
        Window w;
        w.open();
        auto& destination = w.combo("comboDestMBx");
        destination.lineEdit()->selectAll();
        QTest::keyClicks(&destination, u("EX1:SG\\B"));
        w.press("btnMove");
        QCOMPARE(w.rehearsal.desktop.texts(),
                 QStringList(u("Please Select the Destination MailStore")));
        Window::pick(destination, u("EX1:SG\\B"));
        w.press("rdoFromStore");
        w.press("btnMove");
        QCOMPARE(w.rehearsal.desktop.texts().mid(2),
                 QStringList(u("Please Select the Source MailStore")));
        w.rehearsal.desktop.answers = {Answer::No};
        w.press("btnMove");
        QCOMPARE(w.rehearsal.desktop.shown.size(), 4);
        QVERIFY(w.button("btnMove").isEnabled() && w.button("btnRefresh").isEnabled());
        QCOMPARE(w.frame.state().MovedMailboxes.Count(), 0);
        QCOMPARE(w.frame.state().DestStoreName, u("EX1:SG\\B"));
        // Source and destination the same: nothing to move, whatever the letter case.
        Window::pick(w.combo("comboSourceMBx"), u("EX1:SG\\A"));
        Window::pick(destination, u("EX1:SG\\A"));
        w.press("btnMove");
        QCOMPARE(w.rehearsal.desktop.texts().constLast(), u("No MailBox found in EX1:SG\\A"));
    }
};

} // namespace

QTEST_MAIN(MovesTest)
#include "moves_test.moc"
