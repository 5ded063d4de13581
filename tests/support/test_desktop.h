#pragma once

#include "main_window/message_dialog.h"
#include "platform/desktop.h"

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QTimer>

#include <functional>

namespace rehome::test {

/// Shows the real message boxes, keeps what was shown, and presses their buttons.
class TestDesktop final : public platform::Desktop {
public:
    QList<platform::MessageBox> shown;
    /// What the next boxes are answered with; the first button where it is empty.
    QList<platform::Answer> answers;
    /// Runs before a box is answered, with the box on the screen.
    std::function<void(QDialog&)> whileShown;
    /// The box of that text cannot be shown.
    QString failing;

    /// What End throws instead of ending the process. No Qt code may stand in its way, so what ends
    /// is called directly.
    struct Ended {
        int status;
    };

    platform::Answer Show(const platform::MessageBox& box) override {
        shown.append(box);
        if (!failing.isEmpty() && box.Text == failing)
            throw Error(QStringLiteral("no box"));
        main_window::MessageDialog dialog(box, QStringLiteral("Rehome test"),
                                          QApplication::activeWindow());
        QTimer::singleShot(0, &dialog, [&] {
            if (whileShown)
                whileShown(dialog);
            button(dialog, answers.isEmpty() ? -1 : static_cast<int>(answers.takeFirst()))->click();
        });
        return dialog.ask();
    }
    [[noreturn]] void End(int status) override { throw Ended{status}; }
    [[noreturn]] void Fail(const QString& description) override {
        ending = true;
        Show({description, platform::Buttons::Ok, platform::Icon::Critical});
        End(EXIT_FAILURE);
    }
    bool Ending() const override { return ending; }

    QStringList texts() const {
        QStringList all;
        for (const auto& box : shown)
            all += box.Text;
        return all;
    }

    bool ending = false;

private:
    static QPushButton* button(const QDialog& dialog, int answer) {
        static const QStringList names = {QStringLiteral("OK"), QStringLiteral("Cancel"),
                                          QStringLiteral("Yes"), QStringLiteral("No")};
        const auto buttons = dialog.findChildren<QPushButton*>();
        for (QPushButton* candidate : buttons) {
            if (answer >= 0 && candidate->text().remove(u'&') == names.at(answer))
                return candidate;
        }
        if (answer >= 0)
            qFatal("the box has no such button");
        return buttons.constFirst();
    }
};

/// Keeps the lines that would go to the standard error stream.
class TestJournal final : public platform::Journal {
public:
    QStringList lines;
    void Write(const QString& line) override { lines += line; }
};

} // namespace rehome::test
