#include "support/window_driver.h"

using namespace rehome;
using test::OrganisationText;
using test::u;
using test::Window;

namespace {

class ClosingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        // Keeps the repopulation dialog's timer quick, whenever there is one.
        auto* every = new QTimer(this);
        connect(every, &QTimer::timeout, [] {
            for (QWidget* window : QApplication::topLevelWidgets()) {
                auto* timer = window->findChild<QTimer*>(u("tmrElapsed"));
                if (timer && timer->interval() == 1000)
                    timer->setInterval(1);
            }
        });
        every->start(1);
    }

    void summary() {
        Window w;
        w.open();
        for (const QString& step : {u("3 A"), u("1 B"), u("3 B")})
            w.moveRow(step.left(1).toInt(), u("EX1:SG\\") + step.right(1));
        w.desktop.shown.clear();
        close(w);
        QCOMPARE(w.desktop.texts(), QStringList(u("The following mailboxes were moved :\t\r\n"
                                                  "\r\n\tu3@t\r\n\tu1@t")));
        QCOMPARE(w.desktop.shown.at(0).Title, u("Moved Mailboxes"));
        QCOMPARE(w.calls.sessions, 1); // that of the bindings; the connection is closed

        Window nothingMoved;
        nothingMoved.open();
        close(nothingMoved);
        QVERIFY(nothingMoved.desktop.shown.isEmpty());
        QCOMPARE(nothingMoved.calls.sessions, 1);
        // No handler runs any more.
        nothingMoved.calls.made.clear();
        nothingMoved.press("btnRefresh");
        nothingMoved.press("btnExit");
        QVERIFY(nothingMoved.calls.made.isEmpty());
    }

    void addressRestored() {
        Window w(test::smallOrganisation().user(u("p"), u("EX2/SG/C"),
                                                u("rehomePolicyAddress: new@t\n")));
        w.open();
        w.moveRow(5, u("EX1:SG\\B"));
        const QString dn = OrganisationText::userDN(u("p"));
        QCOMPARE(w.rehearsal.values(dn, u("mail")), QStringList(u("new@t")));
        w.calls.made.clear();
        close(w);
        const QString id = (*w.frame.state().MovedMailboxes.begin())->GetID().mid(1, 36);
        const QString bind = u("read <GUID=%1>").arg(id);
        QCOMPARE(w.calls.made,
                 QStringList(
                     {bind, bind, u("modify <GUID=%1> mail=p@t;ProxyAddresses=SMTP:p@t").arg(id),
                      bind, u("read "),
                      u("find DC=t (&(objectCategory=person)(objectClass=user)"
                        "(|(proxyAddresses=smtp:p@t)(mail=p@t))) homeMDB,mailNickname"),
                      u("status ") + OrganisationText::storeDN(u("EX1/SG/B")), u("open ") + dn}));
        QCOMPARE(w.rehearsal.values(dn, u("mail")), QStringList(u("p@t")));
    }

    void uncaughtFailureEnds() {
        Window w;
        w.open();
        // While the failure is shown, nothing of the window runs.
        w.desktop.whileShown = [&](QDialog&) { w.button("btnRefresh").click(); };
        w.calls.made.clear();
        try {
            platform::runHandler(w.desktop, [] { throw Error(u("broken")); });
            QFAIL("it went on");
        } catch (const test::TestDesktop::Ended& ended) {
            QCOMPARE(ended.status, EXIT_FAILURE);
        }
        QCOMPARE(w.desktop.texts(), QStringList(u("broken")));
        QVERIFY(w.calls.made.isEmpty());
    }

private:
    static void close(Window& w) {
        try {
            qint16 cancel = 1;
            w.frame.Form_Unload(cancel);
            QFAIL("the process was not ended");
        } catch (const test::TestDesktop::Ended& ended) {
            QCOMPARE(ended.status, 0);
        }
    }
};

} // namespace

QTEST_MAIN(ClosingTest)
#include "closing_test.moc"
