#include "repopulation/recreate_status.h"
#include "support/window_driver.h"

using namespace rehome;
using repopulation::frmRecreateMailboxStatus;
using test::OrganisationText;
using test::Window;

namespace {

/// The window, its mailboxes moved and closed, and what the repopulation dialog shows meanwhile.
struct Closing : Window {
    /// Moves the mailboxes of some rows to EX1's B.
    Closing(const OrganisationText& text, const QList<int>& rows) : Window(text) {
        open();
        for (int row : rows)
            moveRow(row, "EX1:SG\\B");
        desktop.shown.clear();
        calls.made.clear();
    }

    frmRecreateMailboxStatus* dialog = nullptr;
    QTimer* timer = nullptr;
    /// Runs every few milliseconds while the dialog is shown.
    std::function<void()> meanwhile = [] {};

    QString label(const char* name) { return dialog->findChild<QLabel*>(name)->text(); }
    void close() {
        QTimer driver;
        QObject::connect(&driver, &QTimer::timeout, [&] {
            dialog = qobject_cast<frmRecreateMailboxStatus*>(QApplication::activeModalWidget());
            if (!dialog)
                return;
            timer = dialog->findChild<QTimer*>("tmrElapsed");
            if (timer->interval() == 1000)
                timer->setInterval(0);
            meanwhile();
        });
        driver.start(1);
        try {
            qint16 cancel = 1;
            frame.Form_Unload(cancel);
            throw Error("the process was not ended");
        } catch (const test::TestDesktop::Ended& ended) {
            // One session stays: that of the bindings; the connection is closed.
            if (ended.status != 0 || calls.underWay("session") != 1)
                throw Error("the process has not ended as it should");
        }
    }
};

class ClosingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void summary() {
        Closing w(test::smallOrganisation(), {3, 1});
        w.moveRow(3, "EX1:SG\\A");
        w.desktop.shown.clear();
        w.close();
        QCOMPARE(w.desktop.texts(),
                 QStringList("The following mailboxes were moved :\t\r\n\r\n\tu3@t\r\n\tu1@t"));

        Closing cannotClose(test::smallOrganisation(), {1});
        cannotClose.state.DirConnection->Close(); // a second time is an error
        cannotClose.close();
        QVERIFY(cannotClose.rehearsal.journal.lines.last().startsWith("closing: "));
        QCOMPARE(cannotClose.desktop.texts().size(), 1);

        Closing nothingMoved(test::smallOrganisation(), {});
        nothingMoved.close();
        nothingMoved.press("btnRefresh"); // no handler runs any more
        nothingMoved.press("btnExit");
        QVERIFY(nothingMoved.desktop.shown.isEmpty() && nothingMoved.calls.made.isEmpty());
    }

    /// The recipient policy has given another address to the new mailbox.
    void addressRestored() {
        for (const char* addresses : {"SMTP:p@t", ""}) {
            const QString policy = "mail: p@t\nhomeMDB: " + OrganisationText::storeDN("EX2/SG/C") +
                                   "\nmailNickname: p\ndisplayName: P\nobjectCategory: CN=Person\n"
                                   "rehomePolicyAddress: new@t\n";
            const QString proxies = *addresses ? QString("proxyAddresses: SMTP:p@t\n") : QString();
            Closing w(
                test::smallOrganisation().object("CN=p,DC=t", {"person", "user"}, policy + proxies),
                {5});
            QCOMPARE(w.values("p", "mail") + w.values("p", "proxyAddresses").section(',', 0, 0),
                     "new@tSMTP:new@t");
            w.close();
            const QString id = (*w.state.MovedMailboxes.begin())->GetID().mid(1, 36);
            QCOMPARE(w.calls.made.join('|').replace("<GUID=" + id + '>', "U"),
                     QString("read U|read U|modify U mail=p@t;ProxyAddresses=%1|read U|read |find "
                             "DC=t (&(objectCategory=person)(objectClass=user)(|(proxyAddresses="
                             "smtp:p@t)(mail=p@t))) homeMDB,mailNickname,proxyAddresses|status %2|"
                             "open CN=p,DC=t")
                         .arg(addresses, OrganisationText::storeDN("EX1/SG/B")));
            QCOMPARE(w.values("p", "mail") + w.values("p", "proxyAddresses"),
                     QString("p@t") + addresses);
        }
    }

    /// One mailbox never opens, another has lost its address.
    void givesUp() {
        OrganisationText text = test::smallOrganisation(5);
        text.user("never", "EX2/SG/C", "rehomeOpensAfter: never\n");
        Closing w(text, {1, 2, 5, 6});
        w.rehearsal.organisation.modify("CN=u2,DC=t", {{"mail", {}}});
        QHideEvent iconified;
        QShowEvent restored;
        w.meanwhile = [&, events = QList<QEvent*>{&restored, &iconified}]() mutable {
            if (w.label("lblElapsedTime") > "00:00:09" && !events.isEmpty()) {
                QSpontaneKeyEvent::setSpontaneous(events.last());
                qApp->notify(w.dialog, events.takeLast());
            }
        };
        w.desktop.whileShown = [&] {
            if (w.desktop.shown.size() > 1)
                return;
            QVERIFY(w.dialog->isVisible());
            QCOMPARE(w.label("lblElapsedTime"), "00:22:00");
            QCOMPARE(w.label("lblRecreated") + '/' + w.label("lblTotal"), "2/4");
            QVERIFY(!w.timer->isActive());
        };
        w.close();
        QCOMPARE(w.desktop.texts().at(0),
                 "Fatal:Failed to recreate mailbox in specified timeframe");
        QVERIFY(w.desktop.shown.at(0).Icon == platform::Icon::Critical);
        QCOMPARE(w.desktop.shown.size(), 2); // the summary follows
        // Those that are done are not tried again, the other at each of the 1321 ticks.
        QCOMPARE(w.calls.made.filter("(mail=never@t)").size(), 1321);
        QCOMPARE(w.calls.made.filter("(mail=u1@t)").size(), 1);
        QVERIFY(w.calls.made.filter("modify").isEmpty()); // an address that is gone is not restored
    }

    void failuresAreTriedAgain() {
        for (const char* failing : {"read <GUID=", "modify", "find DC=t", "status", "open"}) {
            Closing w(test::smallOrganisation(), {1});
            w.rehearsal.organisation.modify("CN=u1,DC=t", {{"mail", {"changed@t"}}});
            w.calls.failing = failing;
            w.meanwhile = [&] {
                if (w.calls.failings > 1 && w.label("lblElapsedTime") != "00:00:00")
                    w.calls.failing.clear();
            };
            w.close();
            QVERIFY(w.calls.failing.isEmpty());
            QCOMPARE(w.desktop.shown.size(), 1); // the summary
            QCOMPARE(w.values("u1", "mail"), "u1@t");
        }
    }
};

} // namespace

QTEST_MAIN(ClosingTest)
#include "closing_test.moc"
