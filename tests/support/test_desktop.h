#pragma once

#include "main_window/message_dialog.h"
#include "platform/desktop.h"
#include "platform/journal.h"

#include <QApplication>
#include <QPushButton>
#include <QTimer>

#include <functional>

namespace rehome::test {

/// Shows the real message boxes, keeps what was shown, and presses their buttons.
class TestDesktop final : public platform::Desktop {
public:
    QList<platform::MessageBox> shown;
    /// How many of the next Yes/No boxes are answered No; every other box by its first button.
    int refusals = 0;
    /// Boxes are answered at once instead, and Fail is such a box, then an end.
    bool unseen = false;
    /// Runs before a box is answered, with the box on the screen.
    std::function<void()> whileShown = [] {};

    /// What End throws instead of ending the process. No Qt code may stand in its way, so what ends
    /// is called directly.
    struct Ended {
        int status;
    };

    platform::Answer Show(const platform::MessageBox& box) override {
        shown.append(box);
        if (unseen) {
            whileShown();
            return box.Buttons == platform::Buttons::YesNo ? platform::Answer::Yes
                                                           : platform::Answer::Ok;
        }
        main_window::MessageDialog dialog(box, "Rehome test", QApplication::activeWindow());
        QTimer::singleShot(0, &dialog, [&] {
            whileShown();
            const auto buttons = dialog.findChildren<QPushButton*>();
            const bool no = buttons.size() == 2 && refusals > 0 && refusals--;
            buttons.at(no ? 1 : 0)->click();
        });
        return dialog.ask();
    }
    [[noreturn]] void End(int status) override { throw Ended{status}; }
    [[noreturn]] void Fail(const QString& description) override {
        if (!unseen)
            qFatal("%s", qPrintable(description));
        shown.append({description.isEmpty() ? "no reason" : "fatal"});
        throw Ended{1};
    }
    bool Ending() const override { return false; }
    void HoldEnding() override {}
    void ReleaseEnding() override {}

    QStringList texts() const {
        QStringList all;
        for (const auto& box : shown)
            all += box.Text;
        return all;
    }
};

/// Keeps what would go to the standard error stream.
class TestJournal final : public platform::Journal {
public:
    QList<platform::RecoveryRecord> records;
    QStringList lines;
    void Keep(const platform::RecoveryRecord& record) override { records += record; }
    bool Holds(const QByteArray& guid) const override {
        return std::any_of(records.begin(), records.end(),
                           [&](const auto& record) { return record.Guid == guid; });
    }
    QStringList RestoreSteps(const QByteArray&, const QString&) const override {
        return {"restore"};
    }
    void Tell(platform::Event, const QString& text, const QString& mailbox) noexcept override {
        lines += mailbox.isEmpty() ? text : mailbox.section(' ', 0, 0) + ": " + text;
    }
};

} // namespace rehome::test
