#pragma once

#include "app/signals.h"
#include "journal/kept_journal.h"
#include "platform/desktop.h"

#include <QApplication>
#include <QElapsedTimer>

namespace rehome::app {

/// The version of both programs, such as 1.2.3.
QString version();

/// The application object: message boxes, the end of the process, and the one place where failures
/// that nothing handled arrive.
class Application final : public QApplication, public platform::Desktop {
    Q_OBJECT

public:
    /// `title` is that of message boxes without one of their own. The other two must outlive it.
    Application(int& argc, char** argv, const QString& title, journal::KeptJournal& journal,
                Signals& signalsFromOutside);

    journal::KeptJournal& journal() { return m_journal; }
    platform::Interruption& interruption() { return m_signals; }

    platform::Answer Show(const platform::MessageBox& box) override;
    [[noreturn]] void End(int status) override;
    [[noreturn]] void Fail(const QString& description) override;
    bool Ending() const override { return m_ending; }
    void HoldEnding() override { m_signals.hold(); }
    void ReleaseEnding() override { m_signals.release(); }

    /// Handlers do not let exceptions out; this is for what fails inside Qt itself.
    bool notify(QObject* receiver, QEvent* event) override;

private:
    QString m_title;
    journal::KeptJournal& m_journal;
    Signals& m_signals;
    bool m_ending = false;
    QElapsedTimer m_sinceBox; ///< since the last box was answered
};

} // namespace rehome::app
