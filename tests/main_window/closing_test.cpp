#include "support/window_driver.h"

#include <QLabel>

using namespace rehome;
using test::OrganisationText;
using test::Window;

namespace {

/// The window, mailboxes moved.
struct Closing : Window {
    /// Moves the mailboxes of some rows to EX1's B.
    Closing(const OrganisationText& text, const QList<int>& rows) : Window(text) {
        open();
        for (int row : rows)
            moveRow(row, "EX1:SG\\B");
        desktop.shown.clear();
        calls.made.clear();
    }
};

class ClosingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void summary() {
        Closing w(test::smallOrganisation(), {3, 1});
        w.moveRow(3, "EX1:SG\\A");
        w.desktop.shown.clear();
        w.state.DirConnection->Close(); // a second time is an error
        w.close();
        QVERIFY(w.journal.lines.last().startsWith("closing: "));
        w.calls.made.clear();
        w.press("btnRefresh"); // no handler runs any more
        w.press("btnExit");
        QVERIFY(w.calls.made.isEmpty());
        QCOMPARE(w.desktop.texts(),
                 QStringList("The following mailboxes were moved :\t\r\n\r\n\tu3@t\r\n\tu1@t"));
    }

    /// The recipient policy has given an address to the new mailbox of who had but another one.
    void addressRestored() {
        const QString store = OrganisationText::storeDN("EX2/SG/C");
        Closing w(test::smallOrganisation().object(
                      "CN=p,DC=t", {"person", "user"},
                      "mail: p@t\nhomeMDB: " + store +
                          "\nmailNickname: p\ndisplayName: P\nobjectCategory: CN=Person\n"
                          "rehomePolicyAddress: new@t\n"),
                  {5});
        w.close();
        const QString id = (*w.state.MovedMailboxes.begin())->GetID().mid(1, 36);
        QCOMPARE(w.calls.made.join('|').replace("<GUID=" + id + '>', "U"),
                 "read U|read U|modify U mail=p@t;ProxyAddresses=|read U|read |find DC=t "
                 "(&(objectCategory=person)(objectClass=user)(|(proxyAddresses=smtp:p@t)"
                 "(mail=p@t))) homeMDB,mailNickname,proxyAddresses|status " +
                     w.values("p") + "|open CN=p,DC=t");
    }

    /// One mailbox never opens, another has lost its address.
    void givesUp() {
        OrganisationText text = test::smallOrganisation(5);
        text.user("never", "EX2/SG/C", "rehomeOpensAfter: never\n");
        Closing w(text, {1, 2, 5, 6});
        w.organisation.modify("CN=u2,DC=t", {{"mail", {}}});
        QHideEvent iconified;
        QShowEvent restored;
        QList<QEvent*> events{&restored, &iconified};
        QWidget* dialog = nullptr;
        const auto label = [&](const char* name) {
            return dialog->findChild<QLabel*>(name)->text();
        };
        w.desktop.whileShown = [&] {
            if (w.desktop.shown.size() > 1)
                return;
            QVERIFY(dialog->isVisible() && !dialog->findChild<QTimer*>("tmrElapsed")->isActive());
            QCOMPARE(label("lblElapsedTime"), "00:22:00");
            QCOMPARE(label("lblRecreated") + '/' + label("lblTotal"), "2/4");
        };
        w.close([&](QWidget& shown) {
            dialog = &shown;
            if (label("lblElapsedTime") > "00:00:09" && !events.isEmpty()) {
                QSpontaneKeyEvent::setSpontaneous(events.last());
                qApp->notify(dialog, events.takeLast());
            }
        });
        QCOMPARE(w.desktop.shown.size(), 2); // the summary follows
        // Those that are done are not tried again, the other at each of the 1321 ticks.
        QCOMPARE(w.calls.made.filter("(mail=never@t)").size(), 1321);
        QCOMPARE(w.calls.made.filter("(mail=u1@t)").size(), 1);
        QVERIFY(w.calls.made.filter("modify").isEmpty()); // an address that is gone is not restored
    }
};

} // namespace

QTEST_MAIN(ClosingTest)
#include "closing_test.moc"
