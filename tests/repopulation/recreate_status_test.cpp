#include "repopulation/recreate_status.h"

#include "support/window_driver.h"

#include <QSignalSpy>

using namespace rehome;
using repopulation::FormatTime;
using repopulation::frmRecreateMailboxStatus;
using test::OrganisationText;
using test::u;

namespace {

/// The dialog over users of which some never open.
struct Repopulation {
    explicit Repopulation(const QStringList& users) : rehearsal(organisation(users)) {
        main_window::applyLook(*qApp);
        for (auto rs = rehearsal.users(); !rs->Eof(); rs->MoveNext()) {
            auto record = std::make_shared<mailbox::MailboxUser>(rehearsal.platform);
            record->initFromRS(*rs, {}, {});
            record->DropUserMailbox();
            QVERIFY(record->CreateUserMailbox(OrganisationText::storeDN(u("EX1/SG/A"))));
            moved.Add(record, record->GetID());
        }
        dialog.Prepare(moved);
        rehearsal.calls.made.clear();
    }
    static OrganisationText organisation(const QStringList& users) {
        OrganisationText text;
        text.server(u("EX1")).group(u("EX1/SG")).store(u("EX1/SG/A"));
        for (const QString& user : users)
            text.user(user, u("EX1/SG/A"),
                      user.startsWith(u("never")) ? u("rehomeOpensAfter: never\n") : QString());
        return text;
    }
    QString label(const char* name) {
        return dialog.findChild<QLabel*>(QLatin1String(name))->text();
    }
    QTimer& timer() { return *dialog.findChild<QTimer*>(u("tmrElapsed")); }

    test::Rehearsal rehearsal;
    mailbox::Mailboxes moved;
    frmRecreateMailboxStatus dialog{rehearsal.platform, nullptr};
};

class RecreateStatusTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void nothingIsCutOff() {
        Repopulation r({});
        for (const auto* label : r.dialog.findChildren<QLabel*>())
            QVERIFY2(label->sizeHint().width() <= label->width() &&
                         label->sizeHint().height() <= label->height(),
                     qPrintable(label->objectName() + QString::number(label->sizeHint().width())));
    }

    void times() {
        const std::pair<int, const char*> expected[] = {{0, "00:00:00"},    {75, "00:01:15"},
                                                        {1320, "00:22:00"}, {3599, "00:59:59"},
                                                        {3600, "01:00:00"}, {360000, "100:00:00"}};
        for (const auto& [seconds, text] : expected)
            QCOMPARE(FormatTime(seconds), u(text));
    }

    void allAtOnce_data() {
        QTest::addColumn<QStringList>("users");
        QTest::newRow("nobody") << QStringList();
        QTest::newRow("two") << QStringList({u("a"), u("b")});
    }
    void allAtOnce() {
        QFETCH(QStringList, users);
        Repopulation r(users);
        QTimer::singleShot(0, &r.dialog, [&] {
            QCOMPARE(r.timer().interval(), 1000);
            r.timer().setInterval(1);
        });
        r.dialog.exec();
        QVERIFY(r.dialog.IsSuccessful() && !r.timer().isActive());
        QCOMPARE(r.label("lblRecreated"), u("0")); // the last tick leaves the labels alone
        QCOMPARE(r.label("lblTotal"), QString::number(users.size()));
        QCOMPARE(r.label("lblElapsedTime"), u("00:00:00"));
    }

    void givesUp() {
        Repopulation r({u("a"), u("never1"), u("b")});
        QTimer::singleShot(0, &r.dialog, [&] { r.timer().setInterval(0); });
        int hidden = -1;
        r.rehearsal.desktop.whileShown = [&](QDialog&) { hidden = r.dialog.isHidden(); };
        r.dialog.exec();
        QVERIFY(!r.dialog.IsSuccessful() && !r.timer().isActive());
        QCOMPARE(hidden, 0);
        QCOMPARE(r.rehearsal.desktop.texts(),
                 QStringList(u("Fatal:Failed to recreate mailbox in specified timeframe")));
        QVERIFY(r.rehearsal.desktop.shown.at(0).Icon == platform::Icon::Critical);
        QCOMPARE(r.label("lblElapsedTime"), u("00:22:00"));
        QCOMPARE(r.label("lblRecreated"), u("2"));
        // Those that are done are not tried again, the other at each of the 1321 ticks.
        QCOMPARE(r.rehearsal.calls.made.filter(u("(mail=never1@t)")).size(), 1321);
        QCOMPARE(r.rehearsal.calls.made.filter(u("(mail=a@t)")).size(), 1);
    }

    void failuresAreTriedAgain_data() {
        QTest::addColumn<QString>("failing");
        QTest::addColumn<bool>("updates");
        QTest::newRow("user not bound") << u("read <GUID=") << false;
        QTest::newRow("update refused") << u("modify") << true;
        QTest::newRow("person not found") << u("find DC=t") << true;
        QTest::newRow("store not asked") << u("status") << true;
        QTest::newRow("mailbox not opened") << u("open") << true;
    }
    void failuresAreTriedAgain() {
        QFETCH(QString, failing);
        QFETCH(bool, updates);
        Repopulation r({u("a")});
        const QString dn = OrganisationText::userDN(u("a"));
        r.rehearsal.organisation.modify(dn, {{u("mail"), {"changed@t"}}});
        r.rehearsal.calls.failing = failing;
        QTimer::singleShot(0, &r.dialog, [&] { r.timer().setInterval(5); });
        QTimer::singleShot(100, &r.dialog, [&] {
            QVERIFY(r.dialog.isVisible() && r.rehearsal.calls.failings > 1);
            QVERIFY(r.label("lblElapsedTime") != u("00:00:00"));
            QCOMPARE(
                !r.rehearsal.calls.made.filter(u("mail=a@t;ProxyAddresses=SMTP:a@t")).isEmpty(),
                updates);
            r.rehearsal.calls.failing.clear();
        });
        r.dialog.exec();
        QVERIFY(r.dialog.IsSuccessful());
        QCOMPARE(r.rehearsal.values(dn, u("mail")), QStringList(u("a@t")));
        QVERIFY(r.rehearsal.desktop.shown.isEmpty());
    }

    void withoutAddress() {
        Repopulation r({u("a")});
        r.rehearsal.organisation.modify(OrganisationText::userDN(u("a")), {{u("mail"), {}}});
        QTimer::singleShot(0, &r.dialog, [&] { r.timer().setInterval(0); });
        r.dialog.exec();
        QVERIFY(!r.dialog.IsSuccessful());
        QVERIFY(r.rehearsal.calls.made.filter(u("read <GUID=")).size() ==
                r.rehearsal.calls.made.size());
    }

    void titleBarEscapeAndFocus() {
        Repopulation r({u("never1")});
        QWidget other;
        int ticks = 0;
        QTimer::singleShot(0, &r.dialog, [&] { r.timer().setInterval(5); });
        QTimer::singleShot(60, &r.dialog, [&] {
            QTest::keyClick(&r.dialog, Qt::Key_Escape);
            QVERIFY(r.dialog.isVisible());
            ticks = r.label("lblElapsedTime").right(2).toInt();
            r.dialog.activateWindow(); // coming back to it is no new beginning
            QVERIFY(ticks > 0 && r.timer().isActive());
        });
        QTimer::singleShot(120, &r.dialog, [&] {
            QVERIFY(r.label("lblElapsedTime").right(2).toInt() > ticks);
            QCOMPARE(r.timer().interval(), 5);
            r.dialog.close();
        });
        r.dialog.exec();
        QVERIFY(!r.timer().isActive() && !r.dialog.IsSuccessful());
    }
};

} // namespace

QTEST_MAIN(RecreateStatusTest)
#include "recreate_status_test.moc"
