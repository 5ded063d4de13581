#pragma once

#include "main_window/look.h"
#include "main_window/main_window.h"
#include "support/rehearsal.h"

#include <QAbstractItemView>
#include <QLineEdit>
#include <QTest>

namespace rehome::test {

/// The main window over a whole platform, driven as a person would.
template <class Over>
struct WindowOver : Over {
    using Over::Over;

    /// Loads and shows it.
    void open() {
        frame.Form_Load();
        frame.show();
        frame.activateWindow();
        if (!QTest::qWaitForWindowActive(&frame))
            qFatal("the window does not become active");
    }

    template <class Control>
    Control& control(const char* name) {
        auto* found = frame.findChild<Control*>(name);
        if (!found)
            qFatal("there is no control %s", name);
        return *found;
    }
    main_window::ListCombo& combo(const char* name) {
        return control<main_window::ListCombo>(name);
    }
    main_window::ListCombo& chooser() { return combo("comboStoreName"); }
    QPushButton& button(const char* name) { return control<QPushButton>(name); }
    void press(const char* name) {
        auto& button = control<QAbstractButton>(name);
        // An option button ends where its text ends.
        QTest::mouseClick(&button, Qt::LeftButton, {}, {8, button.height() / 2});
    }

    void clickCell(int row, int column) {
        const QModelIndex cell = grid.model()->index(row - 1, column);
        QTest::mouseClick(grid.viewport(), Qt::LeftButton, {}, grid.visualRect(cell).center());
        QCoreApplication::processEvents();
    }
    QString text(int row, int column) {
        return grid.model()->index(row - 1, column).data().toString();
    }

    /// Opens a list with its arrow and clicks an item.
    static void pick(main_window::ListCombo& combo, const QString& text) {
        QTest::mouseClick(&combo, Qt::LeftButton, {}, {combo.width() - 8, combo.height() / 2});
        const int row = combo.findText(text);
        if (row < 0 || !combo.view()->isVisible())
            throw Error("there is no \"" + text + "\" to pick");
        QTest::mouseClick(combo.view()->viewport(), Qt::LeftButton, {},
                          combo.view()->visualRect(combo.model()->index(row, 0)).center());
    }
    void pick(const char* list, const QString& text) { pick(combo(list), text); }
    QString items(const char* list) {
        QStringList all;
        for (int i = 0; i < combo(list).count(); ++i)
            all += combo(list).itemText(i);
        return all.join(' ');
    }
    /// The same where the window is not shown.
    void choose(const char* list, const QString& text) {
        combo(list).setText(text);
        Q_EMIT combo(list).Click();
    }
    /// Moves a row's mailbox with the chooser.
    void moveRow(int row, const QString& store) {
        clickCell(row, 1);
        pick(chooser(), store);
    }
    /// Closes it, which must end the process. The seconds of the repopulation dialog pass at once;
    /// `meanwhile` runs again and again while it is shown.
    void close(const std::function<void(QWidget& dialog)>& meanwhile = [](QWidget&) {}) {
        QTimer driver;
        QObject::connect(&driver, &QTimer::timeout, [&] {
            QWidget* dialog = QApplication::activeModalWidget();
            auto* timer = dialog ? dialog->findChild<QTimer*>("tmrElapsed") : nullptr;
            if (!timer)
                return;
            if (const int interval = timer->interval()) {
                timer->setInterval(0);
                QCOMPARE(interval, 1000);
            }
            meanwhile(*dialog);
        });
        driver.start(0);
        qint16 cancel = 1;
        try {
            frame.Form_Unload(cancel);
        } catch (const TestDesktop::Ended& ended) {
            // One session stays: that of the bindings; the connection is closed.
            if (ended.status == 0 && this->calls.underWay("session") == 1)
                return;
        }
        throw std::logic_error("the process has not ended as it should");
    }

    const bool look = (main_window::applyLook(*qApp), true);
    main_window::frmMain frame{this->platform, "Rehome test"};
    const main_window::ListState& state = frame.list().state();
    main_window::FlexGrid& grid = control<main_window::FlexGrid>("msfgMain");
};

using Window = WindowOver<Rehearsal>;

/// The same, shown.
struct OpenWindow : Window {
    explicit OpenWindow(const OrganisationText& text = smallOrganisation()) : Window(text) {
        open();
    }
};

} // namespace rehome::test
