#pragma once

#include "platform/desktop.h"

#include <QApplication>

namespace rehome::app {

/// The version of both programs, such as 1.2.3.
QString version();

/// Writes lines to the standard error stream, each under the program's name.
class ErrorStreamJournal final : public platform::Journal {
public:
    void Write(const QString& line) override;
};

/// The application object: message boxes, the end of the process, and the one place where failures
/// that nothing handled arrive.
class Application final : public QApplication, public platform::Desktop {
    Q_OBJECT

public:
    /// `title` is that of message boxes without one of their own.
    Application(int& argc, char** argv, const QString& title, platform::Journal& journal);

    platform::Journal& journal() { return m_journal; }

    platform::Answer Show(const platform::MessageBox& box) override;
    [[noreturn]] void End(int status) override;
    [[noreturn]] void Fail(const QString& description) override;
    bool Ending() const override { return m_ending; }

    /// Handlers do not let exceptions out; this is for what fails inside Qt itself.
    bool notify(QObject* receiver, QEvent* event) override;

private:
    QString m_title;
    platform::Journal& m_journal;
    bool m_ending = false;
};

} // namespace rehome::app
