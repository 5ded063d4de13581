#pragma once

#include "main_window/look.h"
#include "main_window/main_window.h"
#include "support/rehearsal.h"

#include <QAbstractItemView>
#include <QLineEdit>
#include <QTest>

#include <functional>
#include <sys/wait.h>
#include <unistd.h>

namespace rehome::test {

/// The main window over a rehearsal, loaded and shown, driven as a person would.
struct Window {
    explicit Window(const OrganisationText& text = smallOrganisation()) : rehearsal(text) {
        main_window::applyLook(*qApp);
    }

    void open() {
        frame.Form_Load();
        frame.show();
        frame.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&frame));
    }

    template <class Control>
    Control& control(const char* name) {
        auto* found = frame.findChild<Control*>(QLatin1String(name));
        if (!found)
            qFatal("there is no control %s", name);
        return *found;
    }
    main_window::FlexGrid& grid() { return control<main_window::FlexGrid>("msfgMain"); }
    main_window::ListCombo& combo(const char* name) {
        return control<main_window::ListCombo>(name);
    }
    main_window::ListCombo& chooser() { return combo("comboStoreName"); }
    QPushButton& button(const char* name) { return control<QPushButton>(name); }
    void press(const char* button) {
        QTest::mouseClick(&control<QAbstractButton>(button), Qt::LeftButton);
    }

    QPoint cell(int row, int column) {
        return grid().visualRect(grid().model()->index(row - 1, column)).center();
    }
    void clickCell(int row, int column) {
        QTest::mouseClick(grid().viewport(), Qt::LeftButton, {}, cell(row, column));
        QCoreApplication::processEvents();
    }
    QString text(int row, int column) {
        return grid().model()->index(row - 1, column).data().toString();
    }

    /// Opens a list with its arrow and clicks an item.
    static void pick(main_window::ListCombo& combo, const QString& text) {
        QTest::mouseClick(&combo, Qt::LeftButton, {}, {combo.width() - 8, combo.height() / 2});
        const int row = combo.findText(text);
        QVERIFY2(row >= 0 && combo.view()->isVisible(), qPrintable(text));
        QTest::mouseClick(combo.view()->viewport(), Qt::LeftButton, {},
                          combo.view()->visualRect(combo.model()->index(row, 0)).center());
    }
    static QStringList items(const main_window::ListCombo& combo) {
        QStringList all;
        for (int i = 0; i < combo.count(); ++i)
            all += combo.itemText(i);
        return all;
    }
    /// Moves a row's mailbox with the chooser.
    void moveRow(int row, const QString& store) {
        clickCell(row, 1);
        pick(chooser(), store);
    }

    Rehearsal rehearsal;
    main_window::frmMain frame{rehearsal.platform, QStringLiteral("Rehome test")};
};

struct Ended {
    int status;     ///< of the process
    QString report; ///< what `end` returned
};

/// Runs `action`, which is to end the process, on a window of its own in a child of its own, and
/// `report` there at the end. The test itself must not show a window: Qt's painting threads would
/// be missing in the child.
inline Ended inChild(const OrganisationText& text, const std::function<void(Window&)>& action,
                     const std::function<QString(Window&)>& report) {
    int ends[2];
    if (::pipe(ends) != 0)
        qFatal("no pipe");
    const pid_t child = ::fork();
    if (child == 0) {
        Window w(text);
        w.rehearsal.desktop.onEnd = [&](int status) {
            const QByteArray told = report(w).toUtf8();
            const auto written = ::write(ends[1], told.constData(), told.size());
            ::_exit(written == told.size() ? status : 99);
        };
        w.open();
        action(w);
        ::_exit(98); // the process was not ended
    }
    ::close(ends[1]);
    QByteArray told;
    char part[4096];
    for (ssize_t got = 0; (got = ::read(ends[0], part, sizeof part)) > 0;)
        told.append(part, got);
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, QString::fromUtf8(told)};
}

} // namespace rehome::test
