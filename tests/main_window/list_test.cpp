#include "support/window_driver.h"

#include <QHeaderView>

using namespace rehome;
using test::OrganisationText;
using test::Window;

namespace {

class ListTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void firstView() {
        Window w;
        w.open();
        QCOMPARE(w.items("comboSourceMBx"), "EX2:SG\\C EX2:SG\\D EX1:SG\\A");
        for (const char* list : {"comboDestMBx", "comboStoreName"})
            QCOMPARE(w.items(list), "EX1:SG\\A EX1:SG\\B");
        QCOMPARE(w.items("comboStatus"), "Offline Online Dismounting Mounting Unreachable");
    }

    void callOrder() {
        OrganisationText text;
        Window w(text.server("EX1").group("EX1/SG").store("EX1/SG/A").store("EX1/SG/B", 1));
        w.open();
        const QStringList made = w.calls.made;
        const QString server = OrganisationText::serverDN("EX1");
        QCOMPARE(QString(made.join('|'))
                     .replace("CN=SG,CN=InformationStore," + server, "GROUP")
                     .replace(server, "SERVER"),
                 "session|read |session|" // the root object, and the window's own connection
                 "read |session|find CN=Configuration,DC=t "
                 "(objectClass=msExchExchangeServer) name,distinguishedName,objectGUID|"
                 "read SERVER|server SERVER|"
                 "find SERVER (objectClass=msExchStorageGroup) distinguishedName|"
                 "read GROUP|read GROUP|read GROUP|" // to bind it, for its base name, to open it
                 "find GROUP (objectClass=msExchPrivateMDB) distinguishedName|"
                 "read CN=A,GROUP|status CN=A,GROUP|read CN=B,GROUP|status CN=B,GROUP|"
                 "find DC=t (&(&(& (mailnickname=*) (| (&(objectCategory=person)"
                 "(objectClass=user)(|(homeMDB=*)(msExchHomeServerName=*))) )))) ADsPath,"
                 "displayName,distinguishedName,homeMDB,mailNickname,objectGUID,mail,"
                 "legacyExchangeDN,msExchHideFromAddressLists,proxyAddresses");
        w.calls.made.clear();
        w.press("btnRefresh");
        QCOMPARE(w.calls.made, made.mid(3));
    }

    void whoIsListed() {
        OrganisationText text("ex1"); // differs from the server's name in letter case
        text.server("EX1").group("EX1/SG").store("EX1/SG/S\\, T");
        int state = 1;
        for (const char* base : {"R00", "r01", "E02"}) {
            const QString store = QString("EX1/%1/S").arg(base);
            text.group(store.chopped(2), QString("msExchESEParamBaseName: %1\n").arg(base));
            text.store(store, state++).user(base, store);
        }
        text.server("EX3", "rehomeServerDown: TRUE\n").group("EX3/SG");
        text.store("EX3/SG/L").bareUser("unaddressed", "homeMDB: x\n");
        text.user("lost", "EX3/SG/L", "msExchHideFromAddressLists: TRUE\n");
        text.user("system,CN=Microsoft Exchange System Objects", "EX1/SG/S\\, T");
        text.user("kept,CN=microsoft exchange system objects", "EX1/SG/S\\, T");
        text.user("nowhere", "EX9/Gone/Store");
        // Without what a creation needs of the server.
        text.object(OrganisationText::serverDN("EX4"), {"msExchExchangeServer"});
        text.group("EX4/SG").store("EX4/SG/S").user("nameless", "EX4/SG/S");
        Window w(text);
        QString rows = w.open().rows().join('\n');
        QCOMPARE(rows.remove("Display "),
                 "R00|EX1:R00\\S|Unreachable\n" // a recovery storage group
                 "r01|EX1:r01\\S|Mounting\n"
                 "E02|EX1:E02\\S|Dismounting\n"
                 "lost|EX3:SG\\L|Unreachable\n"
                 "kept,CN=microsoft exchange system objects|EX1:SG\\S, T|Online\n"
                 "nowhere|EX9:Gone\\Store|Unreachable\n"
                 "nameless|EX4:SG\\S|Unreachable");
        QCOMPARE(w.items("comboDestMBx"), "");
    }

    void failingRow() {
        const QString mail = "mail: t@t\n", name = "displayName: T\n";
        for (const auto& [failing, told] :
             {std::pair(mail + "homeMDB: CN=S\n", "\"displayName\" of CN=u30,"),
              {mail + name + "msExchHomeServerName: x\n", "\"homeMDB\" of CN=u30,"},
              {mail + name + "homeMDB: CN=S,DC=t\n", "CN=S,DC=t"}}) {
            OrganisationText text = test::smallOrganisation(29);
            text.bareUser("u30", failing).user("u31", "EX2/SG/C");
            text.bareUser("u32", mail + "homeMDB: CN=T\n").bareUser("u33", "homeMDB: CN=T\n");
            Window w(text.bareUser("u34", mail + name + "msExchHomeServerName: x\n"));
            int modelRows = 0;
            w.desktop.whileShown = [&] { modelRows = w.grid.model()->rowCount(); };
            w.open();
            QVERIFY2(w.desktop.texts().value(0).contains(told), told);
            QCOMPARE(modelRows, 30); // visible behind the message already
            QCOMPARE(w.state.GridMailboxes.Count(), 29);
            // The journal has all that is wrong, with those whom the list did not reach.
            const QStringList lines = w.journal.lines.filter("the list stops at ");
            QCOMPARE(lines.size(), 3);
            QVERIFY(lines.at(0).contains(told) && lines.at(2).contains("\"homeMDB\" of CN=u34,"));
            QVERIFY(lines.at(1).contains("\"displayName\" of CN=u32,DC=t has no value"));
            QVERIFY(lines.at(1).contains("\"CN=T\" has too few components"));
            QVERIFY(!w.button("btnMove").isEnabled() && !w.button("btnRefresh").isEnabled());
            QVERIFY(!w.grid.Redraw() && w.grid.ScrollBars() == main_window::FlexGrid::Bars::None);
            QVERIFY(!w.chooser().isVisible());
            QTest::mouseClick(w.grid.horizontalHeader()->viewport(), Qt::LeftButton, {}, {50, 10});
            QVERIFY(w.grid.geometry().contains(w.chooser().geometry())); // its row is in view
            w.pick("comboStoreName", "EX1:SG\\B");                       // but has no record
            QVERIFY(!w.chooser().isVisible());
            QCOMPARE(w.desktop.shown.size(), 1);
        }
    }

    void tooManyMailboxes() {
        OrganisationText text;
        for (int i = 0; i <= 32767; ++i)
            text.user(QString::number(i), "EX1/SG/A");
        Window w(text);
        w.open();
        QVERIFY(w.desktop.texts().value(0).contains("32,767"));
        QCOMPARE(w.grid.Rows(), 32768);
        QCOMPARE(w.state.MailboxRowCount, qint16(32767));
    }
};

} // namespace

QTEST_MAIN(ListTest)
#include "list_test.moc"
