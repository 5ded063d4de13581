#include "support/window_driver.h"

using namespace rehome;
using test::inChild;
using test::OrganisationText;
using test::u;
using test::Window;

namespace {

/// Keeps the repopulation dialog's timer quick, whenever there is one.
void hurry() {
    auto* every = new QTimer(qApp);
    QObject::connect(every, &QTimer::timeout, [] {
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (auto* timer = window->findChild<QTimer*>(u("tmrElapsed"));
                timer && timer->interval() == 1000)
                timer->setInterval(1);
        }
    });
    every->start(1);
}

class ClosingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void closing_data() {
        QTest::addColumn<QStringList>("move");
        QTest::addColumn<bool>("exitButton");
        QTest::addColumn<QString>("boxes");
        const QString summary = u("The following mailboxes were moved :\t\r\n");
        QTest::newRow("nothing moved") << QStringList() << true << QString();
        QTest::newRow("nothing moved, close box") << QStringList() << false << QString();
        QTest::newRow("in the order of the first move")
            << QStringList({u("3 A"), u("1 B"), u("3 B")}) << true
            << summary + u("\r\n\tu3@t\r\n\tu1@t");
    }
    void closing() {
        QFETCH(QStringList, move);
        QFETCH(bool, exitButton);
        const auto ended = inChild(
            test::smallOrganisation(),
            [&](Window& w) {
                for (const QString& step : move)
                    w.moveRow(step.section(u' ', 0, 0).toInt(),
                              u("EX1:SG\\") + step.section(u' ', 1));
                w.rehearsal.desktop.shown.clear();
                hurry();
                if (exitButton)
                    w.press("btnExit");
                else
                    w.frame.close();
            },
            [](Window& w) {
                return u("%1|%2")
                    .arg(w.rehearsal.calls.sessions)
                    .arg(w.rehearsal.desktop.texts().join(u'|'));
            });
        QCOMPARE(ended.status, 0);
        QFETCH(QString, boxes);
        QCOMPARE(ended.report,
                 u("1|") + boxes); // the connection is closed, the bindings' session left
    }

    void addressRestored() {
        OrganisationText text = test::smallOrganisation();
        text.user(u("p"), u("EX2/SG/C"), u("rehomePolicyAddress: new@t\n"));
        const QString dn = OrganisationText::userDN(u("p"));
        const auto ended = inChild(
            text,
            [&](Window& w) {
                w.moveRow(5, u("EX1:SG\\B"));
                if (w.rehearsal.values(dn, u("mail")) != QStringList(u("new@t")))
                    return;
                w.rehearsal.calls.made.clear();
                hurry();
                w.press("btnExit");
            },
            [&](Window& w) {
                const QString id = (*w.frame.state().MovedMailboxes.begin())->GetID();
                return w.rehearsal.calls.made.join(u'|').replace(id.mid(1, 36), u("ID")) + u'#' +
                       w.rehearsal.values(dn, u("mail")).join(u',') + u'#' +
                       w.rehearsal.values(dn, u("proxyAddresses")).join(u',');
            });
        const QString bind = u("read <GUID=ID>");
        QCOMPARE(
            ended.report,
            QStringList({bind, bind, u("modify <GUID=ID> mail=p@t;ProxyAddresses=SMTP:p@t"), bind,
                         u("read "),
                         u("find DC=t (&(objectCategory=person)(objectClass=user)"
                           "(|(proxyAddresses=smtp:p@t)(mail=p@t))) homeMDB,mailNickname"),
                         u("status ") + OrganisationText::storeDN(u("EX1/SG/B")), u("open ") + dn})
                    .join(u'|') +
                u("#p@t#SMTP:p@t"));
    }

    void uncaughtFailureEndsOnce() {
        const auto ended = inChild(
            test::smallOrganisation(),
            [](Window& w) {
                w.rehearsal.calls.failing = u("read ");
                // While the failure is shown, nothing of the window runs.
                w.rehearsal.desktop.whileShown = [&w](QDialog&) {
                    w.button("btnExit").click();
                    w.button("btnRefresh").click();
                };
                w.press("btnRefresh");
            },
            [](Window& w) { return w.rehearsal.desktop.texts().join(u'|'); });
        QCOMPARE(ended.status, EXIT_FAILURE);
        QCOMPARE(ended.report, u("refused: read "));
    }

    void failureInsideATick() {
        OrganisationText text = test::smallOrganisation();
        text.user(u("n"), u("EX2/SG/C"), u("rehomeOpensAfter: never\n"));
        const QString fatal = u("Fatal:Failed to recreate mailbox in specified timeframe");
        const auto ended = inChild(
            text,
            [&](Window& w) {
                w.moveRow(5, u("EX1:SG\\B"));
                w.rehearsal.desktop.failing = fatal;
                w.rehearsal.desktop.shown.clear();
                hurry();
                w.frame.close();
            },
            [](Window& w) { return w.rehearsal.desktop.texts().join(u'|'); });
        QCOMPARE(ended.status, EXIT_FAILURE);
        QCOMPARE(ended.report, fatal + u("|no box")); // and no summary behind it
    }
};

} // namespace

QTEST_MAIN(ClosingTest)
#include "closing_test.moc"
