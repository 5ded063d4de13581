#include "platform/text_case.h"
#include "support/window_driver.h"

using namespace rehome;
using test::OrganisationText;
using test::Window;

namespace {

const QString B = OrganisationText::storeDN("EX1/SG/B");
const QString C = OrganisationText::storeDN("EX2/SG/C");

class MovesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void oneMailbox() {
        Window w;
        w.open();
        w.calls.made.clear();
        w.desktop.refusals = 1;
        w.moveRow(1, "EX1:SG\\B");
        QVERIFY(w.calls.made.isEmpty() && !w.chooser().isVisible());
        w.chooser().AddItem("EX1:sg\\b");
        w.moveRow(1, "EX1:sg\\b"); // the store is found whatever the letter case
        QCOMPARE(platform::upperCase("straße"), "STRAßE"); // unit by unit: "ß" is not "SS"
        const QString id = (*w.state.MovedMailboxes.begin())->GetID();
        QString made; // the round trips, without what is written, and the first of the refresh
        for (const QString& call : w.calls.made.mid(0, 7))
            made += call.section(' ', 0, 1) + '|';
        QCOMPARE(made.replace(id.mid(1, 36), "U"),
                 QString("read <GUID=U>|modify <GUID=U>|read <GUID=U>|read %1|find %2|"
                         "modify <GUID=U>|read |")
                     .arg(B, OrganisationText::serverDN("EX1")));
        QCOMPARE(w.text(1, 2), "EX1:SG\\B");
    }

    /// A store of a server that differs from the local one in letter case alone.
    void remoteStore() {
        Window w;
        w.open();
        w.chooser().AddItem("ex1:SG\\B");
        w.moveRow(1, "ex1:SG\\B");
        QCOMPARE(w.desktop.texts(),
                 QStringList("Moving mailbox to remote server prohibited, disaster recovery "
                             "utility can only restore to local stores"));
        QVERIFY(w.desktop.shown.at(0).Icon == platform::Icon::Exclamation);
    }

    /// A store that reads otherwise in the grid than in the lists, and names that would lie.
    void misleadingNames() {
        const QString path = "EX1/SG/A\\\\\u202EB", store = "EX1:SG\\A\\\u202EB";
        OrganisationText text = test::smallOrganisation(3);
        text.store(path).user("u4", path);
        const QByteArray name = "a\r\n-> x\t\u2028\u0085\u00AD\u200C\U000E0041é";
        const QString shown = u"a\uFFFD\uFFFD-> x\uFFFD\uFFFD\uFFFD\uFFFD\u200C\uFFFDé"_qs;
        text.bareUser("u5", "mail: \u202E@t\nhomeMDB: " + C + "\ndisplayName:: " + name.toBase64() +
                                '\n');
        Window w(text);
        w.open();
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
    }

    void batchChecks() {
        Window w;
        w.open();
        const auto type = [](main_window::ListCombo& combo, const char* text) {
            combo.setFocus();
            combo.lineEdit()->selectAll();
            QTest::keyClicks(&combo, text);
        };
        w.press("rdoFromStore");
        w.pick("comboSourceMBx", "EX2:SG\\C");
        w.press("btnRefresh"); // forgets the source
        type(w.combo("comboDestMBx"), "EX1:SG\\B");
        w.press("btnMove"); // what was typed was not picked
        w.pick("comboDestMBx", "EX1:SG\\B");
        w.press("btnMove"); // the confirmation comes before the check of the source
        w.desktop.refusals = 1;
        w.press("btnMove");
        QVERIFY(w.button("btnRefresh").isEnabled());
        w.press("rdoCriteria");
        type(w.combo("comboStatus"), "offline"); // compared exactly, and not corrected
        w.press("btnMove");
        const QStringList texts = w.desktop.texts();
        QCOMPARE(texts.size(), 6);
        QCOMPARE(texts.at(0), "Please Select the Destination MailStore");
        QCOMPARE(texts.at(2), "Please Select the Source MailStore");
        QCOMPARE(texts.at(5), "No MailBox found in ");
        QCOMPARE(w.state.SourceMode, main_window::Source::Criteria); // outlives the refresh
    }
};

} // namespace

QTEST_MAIN(MovesTest)
#include "moves_test.moc"
