#include "support/window_driver.h"

#include <QHeaderView>

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
            w.rows(),
            QStringList({u("Display u1|EX2:SG\\C|Online"), u("Display u2|EX2:SG\\C|Online"),
                         u("Display u3|EX2:SG\\D|Offline"), u("Display u4|EX1:SG\\A|Online")}));
        const std::pair<const char*, const char*> lists[] = {
            {"comboSourceMBx", "EX2:SG\\C EX2:SG\\D EX1:SG\\A"},
            {"comboDestMBx", "EX1:SG\\A EX1:SG\\B"},
            {"comboStoreName", "EX1:SG\\A EX1:SG\\B"},
            {"comboStatus", "Offline Online Dismounting Mounting Unreachable"}};
        for (const auto& [list, items] : lists)
            QCOMPARE(Window::items(w.combo(list)).join(u' '), u(items));
        QCOMPARE(w.combo("comboStatus").Text(), u("Offline"));
        for (const char* list : {"comboSourceMBx", "comboDestMBx"})
            QCOMPARE(w.combo(list).Text(), u("--- Click to Select ---"));
        QVERIFY(!w.combo("comboSourceMBx").isEnabled() && !w.combo("comboStatus").isEnabled());
        QVERIFY(w.button("btnMove").isEnabled() && w.button("btnRefresh").isEnabled());
        QVERIFY(w.chooser().isVisible());
        QCOMPARE(w.chooser().Text(), u("EX1:SG\\A"));

        Window nobody{OrganisationText()};
        nobody.open();
        QCOMPARE(nobody.grid().Rows(), 1);
        QVERIFY(nobody.chooser().isVisible() && nobody.button("btnMove").isEnabled());
        QCOMPARE(nobody.chooser().Text(), u("Target Mail Store"));
    }

    void callOrder() {
        Window w;
        w.open();
        const QStringList made = w.calls.made;
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
        w.calls.made.clear();
        w.press("btnRefresh");
        QCOMPARE(w.calls.made, made.mid(3)); // its own connection is opened once

        for (const char* call : {"read ", "session", "find CN=Configuration"}) {
            Window failing;
            failing.calls.failing = u(call);
            QVERIFY_THROWS_EXCEPTION(Error, failing.frame.Form_Load());
            QVERIFY(failing.desktop.shown.isEmpty());
        }
    }

    void whoIsListed() {
        OrganisationText text;
        text.server(u("EX1")).group(u("EX1/SG")).store(u("EX1/SG/S\\, T"));
        text.server(u("EX3"), u("rehomeServerDown: TRUE\n")).group(u("EX3/SG"));
        text.store(u("EX3/SG/L")).bareUser(u("unaddressed"), u("homeMDB: x\n"));
        text.user(u("lost"), u("EX3/SG/L"), u("msExchHideFromAddressLists: TRUE\n"));
        text.user(u("system,CN=Microsoft Exchange System Objects"), u("EX1/SG/S\\, T"));
        text.user(u("kept,CN=microsoft exchange system objects"), u("EX1/SG/S\\, T"));
        text.user(u("nowhere"), u("EX9/Gone/Store"));
        QCOMPARE(Window(text).open().rows(),
                 QStringList({u("Display lost|EX3:SG\\L|Unreachable"),
                              u("Display kept,CN=microsoft exchange system objects|"
                                "EX1:SG\\S, T|Online"),
                              u("Display nowhere|EX9:Gone\\Store|Unreachable")}));
    }

    void storeListCutShort() {
        OrganisationText text = test::smallOrganisation();
        text.group(u("EX1/SG2")).store(u("EX1/SG2/E")).user(u("u5"), u("EX1/SG2/E"));
        Window w(text);
        w.calls.failing = u("read CN=SG2,");
        w.open();
        QCOMPARE(w.rows().constFirst(), u("Display u1|EX2:SG\\C|Online"));
        QCOMPARE(w.rows().constLast(), u("Display u5|EX1:SG2\\E|Unreachable"));
        QCOMPARE(Window::items(w.chooser()).join(u' '), u("EX1:SG\\A EX1:SG\\B"));
        QVERIFY(w.desktop.shown.isEmpty());
    }

    void failingRow_data() {
        QTest::addColumn<QString>("failing");
        QTest::addColumn<QString>("told");
        const QString mail = u("mail: t@t\n"), name = u("displayName: T\n");
        QTest::newRow("no name") << mail + u("homeMDB: CN=S\n") << u("\"displayName\" of CN=u30,");
        QTest::newRow("no store") << mail + name + u("msExchHomeServerName: x\n")
                                  << u("\"homeMDB\" of CN=u30,");
        QTest::newRow("not a store") << mail + name + u("homeMDB: CN=S,DC=t\n") << u("CN=S,DC=t");
    }
    void failingRow() {
        QFETCH(QString, failing);
        QFETCH(QString, told);
        OrganisationText text = test::smallOrganisation();
        for (int i = 5; i < 30; ++i)
            text.user(u("u%1").arg(i), u("EX2/SG/C"));
        text.bareUser(u("u30"), failing).user(u("u31"), u("EX2/SG/C"));
        Window w(text);
        int modelRows = 0;
        w.desktop.whileShown = [&](QDialog&) { modelRows = w.grid().model()->rowCount(); };
        w.open();
        const auto& box = w.desktop.shown.value(0);
        QVERIFY(box.Text.startsWith(u("Failed to refresh list of mailboxes. Error=")));
        QVERIFY2(box.Text.contains(told), qPrintable(box.Text));
        QVERIFY(box.Icon == platform::Icon::None && box.Title.isNull());
        QCOMPARE(modelRows, 30); // visible behind the message already
        QCOMPARE(w.frame.state().GridMailboxes.Count(), 29);
        QVERIFY(!w.button("btnMove").isEnabled() && !w.button("btnRefresh").isEnabled());
        QVERIFY(!w.grid().Redraw() && w.grid().ScrollBars() == main_window::FlexGrid::Bars::None);
        QVERIFY(!w.chooser().isVisible());
        QTest::mouseClick(w.grid().horizontalHeader()->viewport(), Qt::LeftButton, {}, {50, 10});
        QVERIFY(w.grid().geometry().contains(w.chooser().geometry())); // its row is in view
        Window::pick(w.chooser(), u("EX1:SG\\B"));                     // but has no record
        QVERIFY(!w.chooser().isVisible());
        QCOMPARE(w.desktop.shown.size(), 1);
    }

    void tooManyMailboxes() {
        OrganisationText text;
        for (int i = 0; i <= 32767; ++i)
            text.user(QString::number(i), u("EX1/SG/A"));
        Window w(text);
        w.open();
        QVERIFY(w.desktop.texts().value(0).contains(u("32,767")));
        QCOMPARE(w.grid().Rows(), 32768);
        QCOMPARE(w.frame.state().MailboxRowCount, qint16(32767));
    }

    void refreshStartsAfresh() {
        Window w;
        w.open();
        w.rehearsal.organisation.modify(
            OrganisationText::userDN(u("u1")),
            {{u("homeMDB"), {OrganisationText::storeDN(u("EX2/SG/D")).toUtf8()}}});
        w.press("rdoFromStore");
        Window::pick(w.combo("comboSourceMBx"), u("EX2:SG\\C"));
        Window::pick(w.combo("comboDestMBx"), u("EX1:SG\\B"));
        w.press("btnRefresh");
        const auto& state = w.frame.state();
        QCOMPARE(w.rows().constFirst(), u("Display u1|EX2:SG\\D|Offline"));
        QVERIFY(w.control<QRadioButton>("rdoALL").isChecked());
        QCOMPARE(state.SourceMode, main_window::Source::All);
        QCOMPARE(state.SourceStoreName + state.DestStoreName, QString());
        QCOMPARE(w.combo("comboDestMBx").Text(), u("--- Click to Select ---"));
    }
};

} // namespace

QTEST_MAIN(ListTest)
#include "list_test.moc"
