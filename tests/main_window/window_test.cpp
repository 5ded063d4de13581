// The list, the moves and the closing, through the window.
#include "listing/unlisted.h"
#include "platform/text_case.h"
#include "support/window_driver.h"
#include "topology/domains.h"
#include "topology/names.h"

#include <QHeaderView>
#include <QRegularExpression>

using namespace rehome;
using test::OpenWindow, test::OrganisationText, test::Window;

const QString C = OrganisationText::storeDN("EX2/SG/C");
const QString TopologyFilter = "(|(objectClass=msExchExchangeServer)(objectClass=";

class WindowTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// At the start, in a move and its refresh, in a closing that restores an address.
    void callOrder() {
        OrganisationText text;
        text.server("EX1").group("EX1/SG").store("EX1/SG/A").store("EX1/SG/B");
        Window w(text.user("p", "EX1/SG/A", "rehomePolicyAddress: P@t\n"));
        w.calls.meanwhile = [](const auto& made) { // each object is asked for by itself then
            if (made.details.startsWith(TopologyFilter))
                throw Error("refused");
        };
        w.open();
        w.moveRow(1, "EX1:SG\\B");
        w.calls.meanwhile = [](const auto&) {};
        w.calls.made += "ONE SEARCH";
        w.press("btnRefresh");
        w.close();
        const QString server = OrganisationText::serverDN("EX1");
        const QString servers =
            "read |session|find CN=Configuration,DC=t (objectClass=msExchExchangeServer) "
            "name,distinguishedName,objectGUID|"
            "find CN=Configuration,DC=t (|(objectClass=msExchExchangeServer)(objectClass="
            "msExchStorageGroup)(objectClass=msExchPrivateMDB)) objectClass,objectGUID,"
            "distinguishedName,name,legacyExchangeDN,msExchESEParamBaseName|";
        const QString mailboxes =
            "find DC=t (&(&(& (mailnickname=*) (| (&(objectCategory=person)(objectClass=user)"
            "(|(homeMDB=*)(msExchHomeServerName=*))) )))) ADsPath,displayName,distinguishedName,"
            "homeMDB,mailNickname,objectGUID,mail,legacyExchangeDN,msExchHideFromAddressLists,"
            "proxyAddresses|";
        const QString refresh =
            servers +
            "read SERVER|server SERVER|find SERVER (objectClass=msExchStorageGroup) "
            "distinguishedName|read GROUP|read GROUP|find GROUP (objectClass=msExchPrivateMDB) "
            "distinguishedName|read CN=A,GROUP|status CN=A,GROUP|read CN=B,GROUP|"
            "status CN=B,GROUP|" +
            mailboxes;
        QCOMPARE(
            w.calls.made.join('|')
                .replace("CN=SG,CN=InformationStore," + server, "GROUP")
                .replace(server, "SERVER")
                .replace(QRegularExpression("<GUID=[-0-9A-Fa-f]{36}>"), "U")
                .remove(QRegularExpression("\\+=0x[0-9a-f]{32}"))
                .split('|'),
            QString(
                "session|read |session|%1" // the root object, and the window's own connection
                "find CN=Configuration,DC=t (&(objectClass=crossRef)(nETBIOSName=*)) "
                "nCName,dnsRoot|"
                "read U|modify U homeMDB-=CN=A,GROUP|read U|read CN=B,GROUP|find SERVER "
                "(|(objectClass=msExchExchangeServer)(name=Microsoft MTA)) "
                "objectClass,legacyExchangeDN|modify U homeMDB+=CN=B,GROUP;"
                "msExchHomeServerName=/o=T/cn=EX1;homeMTA=CN=Microsoft MTA,SERVER;"
                "msExchMailboxGuid;mDBUseDefaults=TRUE|%1ONE SEARCH|%2"
                "read U|read U|modify U mail-=P@t;mail+=p@t;ProxyAddresses=SMTP:p@t|read U|read |"
                "find DC=t (&(objectCategory=person)(objectClass=user)(|(proxyAddresses="
                "smtp:p@t)(mail=p@t))) homeMDB,homeMTA,msExchHomeServerName,msExchMailboxGuid,"
                "mDBUseDefaults,mailNickname,mail,proxyAddresses,objectGUID|"
                "read CN=B,GROUP|status CN=B,GROUP|open CN=p,DC=t")
                .arg(refresh,
                     servers + "server SERVER|status CN=A,GROUP|status CN=B,GROUP|" + mailboxes)
                .split('|'));
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
        for (const QString domain : {"DC=t", "DC=child,DC=t"})
            text.object(
                QString("CN=%1,CN=Configuration,DC=t").arg(domain.section(u'=', 1, 1).at(0)),
                {"crossRef"},
                QString("nETBIOSName: X\nnCName: %1\ndnsRoot: %2\n")
                    .arg(domain, topology::domainName(domain)));
        OpenWindow w(text);
        enum { Whole, Refused, BreaksOff } search = Whole; // for the servers and their stores
        w.calls.meanwhile = [&](const auto& made) {
            if (!made.details.startsWith(TopologyFilter))
                return;
            w.calls.breakOff = search == BreaksOff ? 4 : 0;
            if (search == Refused)
                throw Error("refused");
        };
        for (const auto how : {Whole, Refused, BreaksOff}) {
            search = how;
            w.press("btnRefresh");
            QString rows; // "name|store|state"
            for (int row = 1; row < w.grid.Rows(); ++row)
                rows += w.text(row, 1) + '|' + w.text(row, 2) + '|' + w.text(row, 3) + '\n';
            QCOMPARE(rows.remove("Display "),
                     "R00|EX1:R00\\S|Unreachable\n" // a recovery storage group
                     "r01|EX1:r01\\S|Mounting\n"
                     "E02|EX1:E02\\S|Dismounting\n"
                     "lost|EX3:SG\\L|Unreachable\n"
                     "kept,CN=microsoft exchange system objects|EX1:SG\\S, T|Online\n"
                     "nowhere|EX9:Gone\\Store|Unreachable\n"
                     "nameless|EX4:SG\\S|Unreachable\n");
            QCOMPARE(w.items("comboDestMBx"), "");
        }
        w.close();
        const QStringList& told = w.journal.lines;
        listing::logUnlisted(w.engine, w.journal);
        QCOMPARE(told.last(), "1 not listed in t: run rehome-check to see which, and why");
        w.calls.meanwhile = [](const auto&) { throw Error("refused"); };
        listing::logUnlisted(w.observed, w.journal);
        QCOMPARE(told.last(), "not listed: could not be counted: refused");
        QVERIFY(told.contains("other domains of the forest, which are not listed: child.t"));
        QVERIFY(told.contains("listed mailboxes that are still on unreachable servers: 1 on EX1, "
                              "1 on EX3, 1 on EX4, 1 on EX9"));
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

    void aDirectoryThatFailsIsNoServerThatIsDown() {
        OpenWindow w;
        w.calls.meanwhile = [](const auto& made) {
            if (made.details.startsWith(TopologyFilter) ||
                (made.call == "read" && made.object == OrganisationText::serverDN("EX2")))
                throw engine::DirectoryFailed("The directory is silent.");
        };
        w.press("btnRefresh");
        QCOMPARE(w.desktop.texts().value(0), "Failed to refresh list of mailboxes. Error=The "
                                             "directory is silent. Press Exit, then start again.");
        QVERIFY(!w.button("btnRefresh").isEnabled() && w.state.GridMailboxes.Count() == 0);
    }

    void tooManyMailboxes() {
        OrganisationText text;
        for (int i = 0; i <= 32767; ++i)
            text.user(QString::number(i), "EX1/SG/A");
        OpenWindow w(text);
        QVERIFY(w.desktop.texts().value(0).contains("32,767"));
        QCOMPARE(w.state.MailboxRowCount, qint16(32767));
    }

    void oneMailboxAndBatch() {
        OpenWindow w;
        QCOMPARE(w.items("comboSourceMBx"), "EX2:SG\\C EX2:SG\\D EX1:SG\\A");
        for (const char* list : {"comboDestMBx", "comboStoreName"})
            QCOMPARE(w.items(list), "EX1:SG\\A EX1:SG\\B");
        QCOMPARE(w.items("comboStatus"), "Offline Online Dismounting Mounting Unreachable");
        w.calls.made.clear();
        w.chooser().AddItem("ex1:SG\\B"); // differs from the local server in letter case alone
        w.moveRow(1, "ex1:SG\\B");
        QCOMPARE(w.desktop.texts(),
                 QStringList("Moving mailbox to remote server prohibited, disaster recovery "
                             "utility can only restore to local stores"));
        QVERIFY(w.desktop.shown.at(0).Icon == platform::Icon::Exclamation);
        w.desktop.refusals = 1;
        w.desktop.whileShown = [&] { // nothing is done behind a box
            w.button("btnRefresh").click();
            w.combo("comboDestMBx").showPopup();
        };
        w.moveRow(1, "EX1:SG\\B");
        QVERIFY(w.calls.made.isEmpty() && !w.chooser().isVisible());
        QVERIFY(!w.combo("comboDestMBx").view()->isVisible());
        w.chooser().AddItem("EX1:sg\\b");
        w.moveRow(1, "EX1:sg\\b"); // the store is found whatever the letter case
        QCOMPARE(platform::upperCase("straße"), "STRAßE"); // unit by unit: "ß" is not "SS"
        QCOMPARE(w.text(1, 2), "EX1:SG\\B");

        w.desktop.whileShown = [] {};
        w.desktop.shown.clear();
        const auto type = [](main_window::ListCombo& combo, const char* text) {
            combo.setFocus();
            combo.lineEdit()->selectAll();
            QTest::keyClicks(&combo, text);
        };
        w.press("rdoFromStore");
        w.pick("comboSourceMBx", "EX2:SG\\C");
        w.pick("comboDestMBx", "EX1:SG\\B");
        w.press("btnRefresh"); // forgets both
        type(w.combo("comboDestMBx"), "EX1:SG\\B");
        w.press("btnMove"); // what was typed was not picked
        w.pick("comboDestMBx", "EX1:SG\\B");
        w.press("btnMove"); // the confirmation comes before the check of the source
        w.desktop.refusals = 1;
        w.press("btnMove");
        QVERIFY(w.button("btnRefresh").isEnabled());
        w.press("rdoCriteria");
        type(w.combo("comboStatus"), "offline"); // compared exactly, and not corrected
        // Whatever is chosen behind the question counts for the next move.
        w.desktop.whileShown = [&] { w.control<QRadioButton>("rdoALL").setChecked(true); };
        w.press("btnMove");
        const QStringList texts = w.desktop.texts();
        QCOMPARE(texts.size(), 6);
        QCOMPARE(texts.at(0), "Please Select the Destination MailStore");
        QCOMPARE(texts.at(2), "Please Select the Source MailStore");
        QCOMPARE(texts.at(5), "No MailBox found in ");
        w.press("rdoCriteria");
        w.press("btnRefresh");
        QCOMPARE(w.frame.selection().order().SourceMode, main_window::Source::Criteria);
    }

    /// A store that reads otherwise in the grid than in the lists, and names that would lie.
    void misleadingNames() {
        const QString path = "EX1/SG/A\\\\\u202EB", store = "EX1:SG\\A\\\u202EB";
        OrganisationText text = test::smallOrganisation(3);
        text.store(path).user("u4", path);
        const QByteArray name = "a\r\n-> x\t\u2028\u0085\u00AD\u200C\U000E0041é";
        const QString shown =
            QStringLiteral("a\uFFFD\uFFFD-> x\uFFFD\uFFFD\uFFFD\uFFFD\u200C\uFFFDé");
        text.bareUser("u5", "mail: \u202E@t\nhomeMDB: " + C + "\ndisplayName:: " + name.toBase64() +
                                '\n');
        OpenWindow w(text);
        w.moveRow(4, store);
        QVERIFY(w.desktop.shown.isEmpty());
        w.moveRow(5, store);
        QCOMPARE(w.desktop.texts().at(0), "Are you sure you want to move " + shown +
                                              " from \r\n-> EX2:SG\\C\r\n"
                                              "\t\t- TO -\r\n-> EX1:SG\\A\\\uFFFDB");
        w.grid.setRow(5);
        QCOMPARE(w.grid.Text() + w.text(5, 2) + w.text(5, 1),
                 "EX1:SG\\A\u202EBEX1:SG\\A\uFFFDB" + shown);
        w.press("rdoFromStore");
        w.pick("comboSourceMBx", w.grid.Text());
        w.pick("comboDestMBx", store);
        QCOMPARE(w.combo("comboDestMBx").lineEdit()->text(), "EX1:SG\\A\\\uFFFDB");
        w.press("btnMove");
        const QStringList told = w.desktop.texts().mid(2);
        QVERIFY(told.at(0).endsWith("\r\n\r\n-> EX1:SG\\A\\\uFFFDB"));
        QCOMPARE(told.at(1), "No MailBox found in EX1:SG\\A\uFFFDB");
        w.moveRow(4, "EX1:SG\\B");
        QVERIFY(w.desktop.texts().at(4).contains("from \r\n-> EX1:SG\\A\uFFFDB\r\n"));
        w.close();
        QVERIFY(w.desktop.texts().last().contains("\uFFFD@t"));
    }

    /// A backslash escapes the comma behind it, be it escaped itself.
    void namesAreTakenApart() {
        for (const auto& [dn, name] : {std::pair("CN=A\\,B,CN=G,CN=I,CN=EX1,CN=S", "EX1:G\\A,B"),
                                       {"CN=A\\\\,CN=G,CN=I,CN=EX1,CN=S,DC=t", "S:I\\A,CN=G"}})
            QCOMPARE(topology::StoreFullNameFromDN(dn), name);
    }

    /// Three in a row that the directory gave no warning of; everybody else keeps the mailbox.
    void refusedCreations() {
        OpenWindow w(test::smallOrganisation(9));
        w.calls.meanwhile = [n = 0](const auto& made) mutable {
            if (made.details.startsWith("homeMDB+=CN=") && ++n != 3)
                throw Error("refused");
        };
        // How often the store is read, which counts as usable only while creations succeed there.
        for (const auto& [left, reads] :
             {std::pair(9 - 5, 12), {1, 5}}) { // and the stores are enumerated anew in between
            w.calls.made.clear();
            w.pick("comboDestMBx", "EX1:SG\\B");
            w.press("btnMove");
            QCOMPARE(w.state.GridMailboxes.Count(), left);
            QCOMPARE(w.calls.made.filter("read " + OrganisationText::storeDN("EX1/SG/B")).size(),
                     reads);
        }
        QVERIFY(w.desktop.texts().contains("ERROR : Unable to move 8 MailBoxes of 9"));
    }

    void leavesAloneWhatIsNotItsOwn() {
        OrganisationText text = test::smallOrganisation(0);
        text.user("later", "EX2/SG/C", "msExchVersion: 4\n");
        // A directory whose users have no such attributes; it would refuse the whole change.
        text.user("plain", "EX2/SG/C",
                  "allowedAttributes: homeMDB\nallowedAttributes: msExchHomeServerName\n"
                  "allowedAttributesEffective: homeMDB\n"
                  "allowedAttributesEffective: msExchHomeServerName\n");
        OpenWindow w(text);
        w.moveRow(2, "EX1:SG\\B");
        w.moveRow(1, "EX1:SG\\B");
        QCOMPARE(w.home("CN=later,DC=t"), C);
        QVERIFY(w.desktop.texts().join(' ').contains("an Exchange 2007 or later mailbox"));
        const auto plain = w.organisation.object("CN=plain,DC=t");
        QVERIFY(plain->text("homeMDB") != C && !plain->text("msExchHomeServerName").isEmpty());
        QVERIFY(plain->values("msExchMailboxGuid").isEmpty() && plain->values("homeMTA").isEmpty());
    }

    /// A snapshot may name a store that it does not hold.
    void comesFromAStoreThatIsNoMore() {
        OpenWindow w(test::smallOrganisation(0).user("lost", "EX9/Gone/Store"));
        w.moveRow(1, "EX1:SG\\B");
        QCOMPARE(w.home("CN=lost,DC=t"), OrganisationText::storeDN("EX1/SG/B"));
    }

    /// Whichever right is missing, nothing is dropped.
    void missingRights() {
        const QStringList written{"homeMDB",           "homeMTA",        "msExchHomeServerName",
                                  "msExchMailboxGuid", "mDBUseDefaults", "mail"};
        OrganisationText text = test::smallOrganisation(0);
        for (const QString& missing : written) {
            QString rights;
            for (const QString& name : written)
                rights += "allowedAttributes: " + name + '\n' +
                          (name == missing ? "" : "allowedAttributesEffective: " + name + '\n');
            text.user(missing, "EX2/SG/C", rights);
        }
        OpenWindow w(text);
        for (int row = 1; row <= written.size(); ++row)
            w.moveRow(row, "EX1:SG\\B");
        for (const QString& missing : written) // the address is no part of a home
            QCOMPARE(w.home("CN=" + missing + ",DC=t") == C, missing != "mail");
    }

    /// One mailbox never opens, another has lost its address; one was moved twice.
    void closing() {
        OrganisationText text = test::smallOrganisation(5);
        text.user("never", "EX2/SG/C", "rehomeOpensAfter: never\n");
        OpenWindow w(text);
        for (int row : {5, 1, 2, 6})
            w.moveRow(row, "EX1:SG\\B");
        w.moveRow(5, "EX1:SG\\A");
        w.desktop.shown.clear();
        w.calls.made.clear();
        w.frame.directory().DirConnection->Close(); // a second time is an error
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
        QVERIFY(w.journal.lines.last().startsWith("closing: "));
        QCOMPARE(w.desktop.texts().at(1), "The following mailboxes were moved :\t\r\n"
                                          "\r\n\tu5@t\r\n\tu1@t\r\n\tu2@t\r\n\tnever@t");
        // Those that are done are not tried again, the other at each of the 1321 ticks.
        QCOMPARE(w.calls.made.filter("(mail=never@t)").size(), 1321);
        QCOMPARE(w.calls.made.filter("(mail=u1@t)").size(), 1);
        QVERIFY(w.calls.made.filter("modify").isEmpty()); // an address that is gone is not restored
        w.calls.made.clear();
        w.press("btnRefresh"); // no handler runs any more
        w.press("btnExit");
        QVERIFY(w.calls.made.isEmpty() && w.desktop.shown.size() == 2);
    }
};

QTEST_MAIN(WindowTest)
#include "window_test.moc"
