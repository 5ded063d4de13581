#include "platform/twips.h"
#include "support/window_driver.h"

using namespace rehome;
using test::OrganisationText;
using test::u;
using test::Window;

namespace {

class ListTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void firstView() {
        Window w;
        w.open();
        QCOMPARE(
            rows(w),
            QStringList({u("Display u1|EX2:SG\\C|Online"), u("Display u2|EX2:SG\\C|Online"),
                         u("Display u3|EX2:SG\\D|Offline"), u("Display u4|EX1:SG\\A|Online")}));
        QCOMPARE(Window::items(w.combo("comboSourceMBx")),
                 QStringList({u("EX2:SG\\C"), u("EX2:SG\\D"), u("EX1:SG\\A")}));
        for (const char* list : {"comboDestMBx", "comboStoreName"})
            QCOMPARE(Window::items(w.combo(list)), QStringList({u("EX1:SG\\A"), u("EX1:SG\\B")}));
        QCOMPARE(Window::items(w.combo("comboStatus")).join(u' '),
                 u("Offline Online Dismounting Mounting Unreachable"));
        QCOMPARE(w.combo("comboStatus").Text(), u("Offline"));
        QCOMPARE(w.combo("comboSourceMBx").Text(), u("--- Click to Select ---"));
        QCOMPARE(w.combo("comboDestMBx").Text(), u("--- Click to Select ---"));
        QVERIFY(w.control<QRadioButton>("rdoALL").isChecked());
        QVERIFY(!w.combo("comboSourceMBx").isEnabled() && !w.combo("comboStatus").isEnabled());
        QVERIFY(w.button("btnMove").isEnabled() && w.button("btnRefresh").isEnabled());
        chooserStandsOver(w, 4, u("EX1:SG\\A"));
    }

    void callOrder() {
        Window w;
        w.frame.Form_Load();
        const QStringList made = w.rehearsal.calls.made;
        QCOMPARE(made.mid(0, 5).join(u'|'), u("session|read |session|read |session"));
        QVERIFY(made.at(5).startsWith(u("find CN=Configuration,DC=t ")));
        QCOMPARE(made.at(6), u("read ") + OrganisationText::serverDN(u("EX1")));
        QCOMPARE(made.indexOf(u("read ") + OrganisationText::serverDN(u("EX2"))),
                 (made.size() - 7) / 2 + 6);
        QCOMPARE(made.constLast(),
                 u("find DC=t (&(&(& (mailnickname=*) (| (&(objectCategory=person)"
                   "(objectClass=user)(|(homeMDB=*)(msExchHomeServerName=*))) )))) ADsPath,"
                   "displayName,distinguishedName,homeMDB,mailNickname,objectGUID,mail,"
                   "legacyExchangeDN,msExchHideFromAddressLists,proxyAddresses"));
        w.rehearsal.calls.made.clear();
        w.frame.show();
        w.press("btnRefresh");
        QCOMPARE(w.rehearsal.calls.made, made.mid(3)); // its own connection is opened once
    }

    void whoIsListed() {
        OrganisationText text;
        text.server(u("EX1")).group(u("EX1/SG")).store(u("EX1/SG/S\\, T"));
        text.server(u("EX3"), u("rehomeServerDown: TRUE\n")).group(u("EX3/SG"));
        text.store(u("EX3/SG/L"));
        text.bareUser(u("unaddressed"), u("homeMDB: x\n"));
        text.user(u("lost"), u("EX3/SG/L"), u("msExchHideFromAddressLists: TRUE\n"));
        text.user(u("system,CN=Microsoft Exchange System Objects"), u("EX1/SG/S\\, T"));
        text.user(u("kept,CN=microsoft exchange system objects"), u("EX1/SG/S\\, T"));
        text.user(u("nowhere"), u("EX9/Gone/Store"));
        Window w(text);
        w.open();
        const QString kept = u("kept,CN=microsoft exchange system objects");
        QCOMPARE(rows(w), QStringList({u("Display lost|EX3:SG\\L|Unreachable"),
                                       u("Display ") + kept + u("|EX1:SG\\S, T|Online"),
                                       u("Display nowhere|EX9:Gone\\Store|Unreachable")}));
    }

    void nobodyListed() {
        Window w{OrganisationText()};
        w.open();
        QCOMPARE(w.grid().Rows(), 1);
        chooserStandsOver(w, 0, u("Target Mail Store"));
        QVERIFY(w.button("btnMove").isEnabled());
    }

    void failingRow_data() {
        QTest::addColumn<QString>("tenth");
        QTest::addColumn<QString>("missing");
        QTest::newRow("display name") << u("mail: t@t\nhomeMDB: CN=S\n") << u("displayName");
        QTest::newRow("home store")
            << u("mail: t@t\ndisplayName: T\nmsExchHomeServerName: x\n") << u("homeMDB");
        QTest::newRow("home store of another form")
            << u("mail: t@t\ndisplayName: T\nhomeMDB: CN=S,DC=t\n") << u("CN=S,DC=t");
    }
    void failingRow() {
        QFETCH(QString, tenth);
        QFETCH(QString, missing);
        OrganisationText text = test::smallOrganisation();
        for (int i = 5; i < 10; ++i)
            text.user(u("u%1").arg(i), u("EX2/SG/C"));
        text.bareUser(u("u10"), tenth).user(u("u11"), u("EX2/SG/C"));
        Window w(text);
        int modelRows = 0;
        w.rehearsal.desktop.whileShown = [&](QDialog&) {
            modelRows = w.grid().model()->rowCount();
        };
        w.open();
        const auto& box = w.rehearsal.desktop.shown.value(0);
        QVERIFY(box.Text.startsWith(u("Failed to refresh list of mailboxes. Error=")));
        QVERIFY2(box.Text.contains(missing), qPrintable(box.Text));
        QVERIFY(box.Icon == platform::Icon::None && box.Title.isNull());
        QCOMPARE(modelRows, 10); // visible behind the message already
        QCOMPARE(w.frame.state().GridMailboxes.Count(), 9);
        QVERIFY(!w.button("btnMove").isEnabled() && !w.button("btnRefresh").isEnabled());
        QVERIFY(!w.chooser().isVisible());
        QVERIFY(!w.grid().Redraw() && w.grid().ScrollBars() == main_window::FlexGrid::Bars::None);
        QCOMPARE(w.text(9, 1), u("Display u9"));

        // A pick on the row without a record does nothing; one with a record can still be moved.
        w.grid().bringCurrentCellIntoView();
        w.clickCell(10, 1);
        Window::pick(w.chooser(), u("EX1:SG\\B"));
        QVERIFY(!w.chooser().isVisible());
        QCOMPARE(w.rehearsal.desktop.shown.size(), 1);
    }

    void tooManyMailboxes() {
        OrganisationText text;
        for (int i = 0; i <= 32767; ++i)
            text.user(QString::number(i), u("EX1/SG/A"));
        Window w(text);
        w.open();
        QVERIFY(w.rehearsal.desktop.texts().value(0).contains(u("32,767")));
        QCOMPARE(w.grid().Rows(), 32768);
        QCOMPARE(w.frame.state().MailboxRowCount, qint16(32767));
    }

    void startUpFails() {
        for (const char* call : {"read ", "session", "find CN=Configuration"}) {
            Window w;
            w.rehearsal.calls.failing = u(call);
            QVERIFY_THROWS_EXCEPTION(Error, w.frame.Form_Load());
            QVERIFY(w.rehearsal.desktop.shown.isEmpty());
        }
    }

    void refreshShowsWhatChanged() {
        Window w;
        w.open();
        w.rehearsal.organisation.modify(
            OrganisationText::userDN(u("u1")),
            {{u("homeMDB"), {OrganisationText::storeDN(u("EX2/SG/D")).toUtf8()}}});
        w.press("rdoFromStore");
        Window::pick(w.combo("comboSourceMBx"), u("EX2:SG\\C"));
        Window::pick(w.combo("comboDestMBx"), u("EX1:SG\\B"));
        w.press("btnRefresh");
        QCOMPARE(rows(w).constFirst(), u("Display u1|EX2:SG\\D|Offline"));
        QVERIFY(w.control<QRadioButton>("rdoALL").isChecked());
        QCOMPARE(w.frame.state().SourceMode, main_window::Source::All);
        QVERIFY(w.frame.state().SourceStoreName.isEmpty());
        QVERIFY(w.frame.state().DestStoreName.isEmpty());
        QCOMPARE(w.combo("comboDestMBx").Text(), u("--- Click to Select ---"));
    }

private:
    static QStringList rows(Window& w) {
        QStringList all;
        for (int row = 1; row < w.grid().Rows(); ++row)
            all += w.text(row, 1) + u'|' + w.text(row, 2) + u'|' + w.text(row, 3);
        return all;
    }
    static void chooserStandsOver(Window& w, int row, const QString& text) {
        QCoreApplication::processEvents();
        QCOMPARE(w.grid().Row(), row);
        QCOMPARE(w.grid().Col(), 2);
        QVERIFY(w.chooser().isVisible());
        QCOMPARE(w.chooser().Text(), text);
        QCOMPARE(w.chooser().width(), platform::toPixels(5000));
        const QRect cell =
            row > 0 ? QRect(w.grid().viewport()->mapTo(&w.frame, w.cell(row, 2)), QSize(1, 1))
                    : QRect(w.grid().pos() + QPoint(300, 5), QSize(1, 1));
        QVERIFY(w.chooser().geometry().contains(cell));
        QVERIFY(w.grid().geometry().contains(w.chooser().geometry()));
    }
};

} // namespace

QTEST_MAIN(ListTest)
#include "list_test.moc"
