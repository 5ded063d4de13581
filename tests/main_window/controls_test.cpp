#include "main_window/screen_frame.h"
#include "repopulation/recreate_status.h"
#include "support/window_driver.h"

#include <QHeaderView>
#include <QLabel>
#include <QRegularExpression>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QWheelEvent>

using namespace rehome;
using main_window::FlexGrid, main_window::ListCombo;
using test::OpenWindow, test::Window;

static void turnWheel(QWidget& widget, int steps) {
    const QPoint at = widget.rect().center();
    QWheelEvent event(at, widget.mapToGlobal(at), {}, {0, -120 * steps}, Qt::NoButton, {},
                      Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&widget, &event);
    QCoreApplication::processEvents();
}

class ControlsTest : public QObject {
    Q_OBJECT

    static void fits(const QWidget& window) {
        for (const auto* widget :
             window.findChildren<QWidget*>(QRegularExpression("^(rdo|btn|L|lbl)"))) {
            const QString text = widget->property("text").toString().remove('&');
            const int dot = widget->objectName().startsWith("rdo") ? 16 : 0;
            if (dot + widget->fontMetrics().horizontalAdvance(text) > widget->width() ||
                widget->fontMetrics().height() > widget->height())
                throw Error(widget->objectName() + " is cut off");
        }
    }

    static void stands(Window& w) {
        const FlexGrid& grid = w.grid;
        const QRect cell = grid.visualRect(grid.model()->index(grid.Row() - 1, 2));
        const QPoint corner = grid.viewport()->mapTo(&w.frame, cell.topLeft());
        if ((corner - w.chooser().pos()).manhattanLength() > 1 ||
            !grid.geometry().contains(w.chooser().geometry()) ||
            w.chooser().Text() != w.text(grid.Row(), 2))
            throw Error(QString("the chooser does not stand over row %1").arg(grid.Row()));
    }

private Q_SLOTS:
    void layoutAndKeyboard() {
        OpenWindow w;
        const QString expected = // left, top, width and height in twips, and the caption
            "msfgMain 120 120 9735 4215|Frame1 120 4440 9735 3855 Migration Options|"
            "Frame2 240 360 9255 1815 Source|rdoALL 120 240 8895 255  All|"
            "rdoCriteria 120 720 2775 255 Mailboxes having  store status |"
            "comboStatus 2880 720 3375 360|rdoFromStore 120 1200 1815 255 Mailboxes from store|"
            "comboSourceMBx 1920 1200 7215 360|btnMove 3900 2300 1815 375 &Move|"
            "Frame3 240 2760 9255 855 Destination|Label4 120 360 1695 255 Destination mailstore|"
            "comboDestMBx 1800 360 7335 360|btnRefresh 3480 8520 1455 375 &Refresh|"
            "btnExit 5160 8520 1455 375 E&xit";
        QCOMPARE(w.frame.size(), QSize(666, 600));
        w.frame.resize(1100, 700);
        QTRY_COMPARE(w.frame.size(), QSize(1100, 700)); // and no control follows
        for (const QString& line : expected.split('|')) {
            const QStringList parts = line.split(' ');
            const auto& control = w.control<QWidget>(qPrintable(parts.at(0)));
            const auto pixels = [&](int part) { return parts.at(part).toInt() / 15; };
            QCOMPARE(control.geometry(), QRect(pixels(1), pixels(2), pixels(3), pixels(4)));
            const QString caption = control.property("text").toString();
            QCOMPARE(caption + control.property("title").toString(), parts.mid(5).join(' '));
        }
        fits(w.frame);
        repopulation::frmRecreateMailboxStatus dialog(w.platform, nullptr);
        dialog.findChild<QLabel*>("lblRecreated")->setText("32767");
        fits(dialog);
        dialog.show();
        dialog.hide();
        QVERIFY(!dialog.findChild<QTimer*>("tmrElapsed")->isActive());

        w.press("rdoFromStore");
        w.button("btnMove").setFocus();
        QStringList order;
        for (int i = 0; i < 8; ++i) {
            QTest::keyClick(w.frame.focusWidget(), Qt::Key_Tab);
            order += w.frame.focusWidget()->objectName();
        }
        QCOMPARE(order.join(u' '), QString("rdoFromStore msfgMain comboStoreName comboSourceMBx "
                                           "comboDestMBx btnExit btnRefresh btnMove"));
        for (const char* list : {"comboStoreName", "comboSourceMBx", "comboDestMBx"}) {
            const QString counts = w.combo(list).Text();
            w.combo(list).setFocus();
            QTest::keyClicks(&w.combo(list), "typed");
            QVERIFY(w.combo(list).Text().contains("typed"));
            QTest::keyClick(&w.combo(list), Qt::Key_Tab);
            QCOMPARE(w.combo(list).Text(), counts);
        }
        // The arrow keys on the option buttons are clicks.
        w.control<QRadioButton>("rdoFromStore").setFocus();
        QTest::keyClick(w.frame.focusWidget(), Qt::Key_Up);
        QCOMPARE(w.frame.selection().order().SourceMode, main_window::Source::Criteria);
        QVERIFY(w.combo("comboStatus").isEnabled() && !w.combo("comboSourceMBx").isEnabled());

        // A button that a run disables gets its focus back; a chooser that hides gives it up.
        w.button("btnMove").setFocus();
        QTest::keyClick(&w.button("btnMove"), Qt::Key_M, Qt::AltModifier);
        QTRY_COMPARE(w.desktop.shown.size(), 1); // an access key presses with a delay
        QTRY_VERIFY(w.button("btnMove").isEnabled());
        QCOMPARE(w.frame.focusWidget(), &w.button("btnMove"));
        w.frame.activateWindow(); // there is no window manager to do so
        w.chooser().setFocus();
        w.desktop.refusals = 1;
        w.pick("comboStoreName", "EX1:SG\\B");
        QCOMPARE(w.frame.focusWidget(), &w.grid);
    }

    void comboRaisesClickOnPicksAlone() {
        QWidget window;
        ListCombo combo(&window);
        combo.setText("shown");
        for (const char* item : {"one", "shown", "three"})
            combo.AddItem(item);
        QCOMPARE(combo.Text(), "shown");
        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        combo.setFocus();
        QSignalSpy clicks(&combo, &ListCombo::Click);
        const auto seen = [&] { return QString("%1 %2").arg(combo.Text()).arg(clicks.count()); };

        QTest::keySequence(&combo, QKeySequence("Down, Up, PgDown, End"));
        turnWheel(combo, 1);
        QCOMPARE(seen(), "shown 0");
        combo.lineEdit()->selectAll();
        QTest::keyClicks(&combo, "ONE"); // an item but for its case
        QTest::keyClick(&combo, Qt::Key_Return);
        combo.clearFocus();
        QCOMPARE(seen(), "ONE 0");
        QCOMPARE(combo.count(), 3);

        Window::pick(combo, "three");
        Window::pick(combo, "three"); // again the one shown
        QCOMPARE(seen(), "three 2");
        combo.setFocus();
        QTest::keyClick(&combo, Qt::Key_Down, Qt::AltModifier);
        QTest::keySequence(combo.view(), QKeySequence("Up, Return"));
        QCOMPARE(seen(), "shown 3");
        combo.setText("no item");
        QTest::keyClick(&combo, Qt::Key_F4);
        QTest::keyClick(combo.view(), Qt::Key_Return);
        combo.Clear();
        QCOMPARE(seen(), "no item 3");
    }

    void gridKeysAndMouse() {
        OpenWindow w(test::smallOrganisation(40));
        FlexGrid& grid = w.grid;
        stands(w);
        QStringList events;
        connect(&grid, &FlexGrid::MouseDown, this, [&] {
            events += QString("down %1,%2 %3")
                          .arg(grid.Row())
                          .arg(grid.Col())
                          .arg(w.chooser().isVisible());
        });
        connect(&grid, &FlexGrid::MouseUp, this, [&] { events += "up"; });
        connect(&grid, &FlexGrid::Click, this,
                [&] { events += QString("click %1").arg(w.chooser().isVisible()); });
        connect(&grid, &FlexGrid::Scroll, this, [&] { events += "scroll"; });
        QCOMPARE(grid.Row(), 40); // in view at the end of the refresh
        grid.setFocus();
        for (const auto& [key, row] : {std::pair("Up", 39), {"Ctrl+Home", 1}, {"Ctrl+End", 40}}) {
            QTest::keySequence(&grid, QKeySequence(key));
            QCoreApplication::processEvents();
            QCOMPARE(grid.Row(), row);
            stands(w);
        }
        QTest::keyClicks(&grid, "display U7"); // the first letter, and the last
        QCoreApplication::processEvents();
        QCOMPARE(grid.Row(), 7);
        stands(w);
        QTest::keySequence(&grid, QKeySequence("Ctrl+End, Ctrl+U, Alt+D"));
        QCOMPARE(grid.Row(), 40);
        QCOMPARE(events,
                 QStringList(6, "click 1")); // no scrolling, which makes the top row current
        events.clear();
        QTest::keyClick(&grid, Qt::Key_Tab);
        QVERIFY(!grid.hasFocus());
        const int top = grid.TopRow();
        QCOMPARE(top, 31);
        w.clickCell(35, 3);
        QCOMPARE(events, QStringList({"down 35,3 0", "up", "click 1"}));
        QCOMPARE(w.chooser().Text(), w.text(35, 2));
        QCOMPARE(grid.TopRow(), top);
        QCOMPARE(w.frame.chooser().LastCellWidth(), 1300.0F); // of column 3; the click follows
        events.clear();
        QTest::mouseClick(grid.horizontalHeader()->viewport(), Qt::LeftButton, {}, {50, 10});
        QCOMPARE(events.mid(1), QStringList({"up", "click 1"}));
        QCOMPARE(grid.Row(), 35);
        QCOMPARE(grid.Col(), 2);
        events.clear();

        for (int column : {2, 1}) { // released outside, with the chooser left or hidden
            const QRect cell = grid.visualRect(grid.model()->index(34 - column, column));
            QTest::mousePress(grid.viewport(), Qt::LeftButton, {}, cell.center());
            QTest::mouseRelease(grid.viewport(), Qt::LeftButton, {}, {-50, -50});
            QCoreApplication::processEvents();
            QCOMPARE(grid.Row(), 35 - column);
            QCOMPARE(w.chooser().isVisible(), column == 2);
            stands(w);
        }
        w.clickCell(35, 2);
        events.clear();

        turnWheel(*grid.viewport(), -2);
        QCOMPARE(events, QStringList("scroll"));
        QCOMPARE(grid.Row(), grid.TopRow());
        QVERIFY(grid.Row() < top && w.chooser().isVisible());
        stands(w);
        const int row = grid.Row();
        turnWheel(w.chooser(), 1); // the wheel over the chooser scrolls the grid
        QVERIFY(grid.Row() > row);
        stands(w);
        events.clear();
        grid.verticalScrollBar()->setValue(0); // not the user's doing
        QVERIFY(events.isEmpty());
    }

    void smallScreens() {
        Window w(test::smallOrganisation(40));
        main_window::ScreenFrame frame(w.frame);
        w.frame.Form_Load();
        frame.show();
        frame.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&frame));
        for (const QSize screen : {QSize(1024, 768), QSize(683, 384), QSize(1024, 600)}) {
            frame.fit(screen);
            QCoreApplication::processEvents();
            QTRY_VERIFY(frame.width() <= screen.width() && frame.height() <= screen.height());
            QCOMPARE(frame.size() == QSize(666, 600), screen.height() == 768);
            for (const char* name : {"btnExit", "comboDestMBx", "rdoALL", "btnRefresh"}) {
                auto& control = w.control<QWidget>(name);
                control.setFocus();
                const QPoint at = control.mapTo(frame.viewport(), QPoint());
                QVERIFY2(frame.viewport()->rect().contains(QRect(at, control.size())), name);
            }
            w.grid.setFocus();
            const int scrolled = frame.verticalScrollBar()->value();
            for (const int steps : {20, 1, -20, -1}) // also at the ends of the list
                turnWheel(*w.grid.viewport(), steps);
            QCOMPARE(frame.verticalScrollBar()->value(), scrolled);
        }
    }

    void messageBoxes() {
        using platform::Answer, platform::Buttons;
        platform::MessageBox box{"<b>A & B</b>\r\n\t\t&C"};
        for (const auto& [buttons, answer] :
             {std::pair(Buttons::YesNo, Answer::No), {Buttons::OkCancel, Answer::Cancel}}) {
            box.Buttons = buttons;
            main_window::MessageDialog dialog(box, "Title", nullptr);
            QTimer::singleShot(0, &dialog, [&] {
                const auto* label = dialog.findChild<QLabel*>("messageText");
                QCOMPARE(label->text(), "<b>A & B</b>\n\t\t&C");
                QCOMPARE(label->textFormat(), Qt::PlainText);
                QCOMPARE(dialog.windowTitle(), "Title");
                QVERIFY(qobject_cast<QPushButton*>(dialog.focusWidget()));
                QKeyEvent held(QEvent::KeyPress, Qt::Key_Return, {}, {}, true);
                QCoreApplication::sendEvent(dialog.focusWidget(), &held);
                dialog.close(); // as Escape does
            });
            QCOMPARE(dialog.ask(), answer);
        }
        box.Text = QString("a line of the summary\r\n").repeated(1000);
        main_window::MessageDialog dialog(box, "Title", nullptr);
        dialog.show();
        QVERIFY(dialog.height() < dialog.screen()->availableSize().height());
        QTest::keyClick(dialog.focusWidget(), Qt::Key_End);
        const auto* bar = dialog.findChild<QScrollArea*>()->verticalScrollBar();
        QCOMPARE(bar->value(), bar->maximum());
    }
};

QTEST_MAIN(ControlsTest)
#include "controls_test.moc"
