#pragma once

#include "platform/error.h"

#include <QString>

#include <exception>

namespace rehome::platform {

enum class Buttons { Ok, OkCancel, YesNo };
enum class Icon { None, Exclamation, Critical };
enum class Answer { Ok, Cancel, Yes, No };

/// A modal message box. Lines are parted by carriage return and line feed; nothing in the text is
/// interpreted. A null title stands for the application's.
struct MessageBox {
    QString Text;
    platform::Buttons Buttons = Buttons::Ok;
    platform::Icon Icon = Icon::None;
    QString Title = {};
};

/// What the tool asks of the desktop and of the process.
class Desktop {
public:
    virtual ~Desktop() = default;

    virtual Answer Show(const MessageBox& box) = 0;
    /// Ends the process at once; no further handler runs.
    [[noreturn]] virtual void End(int status) = 0;
    /// Shows the description of a failure that nothing handled and ends the process with a
    /// non-zero status.
    [[noreturn]] virtual void Fail(const QString& description) = 0;
    /// True once the process is ending; handlers must not start any more.
    virtual bool Ending() const = 0;
    /// Between the two, requests from outside to end the process wait, but not while a message box
    /// is shown.
    virtual void HoldEnding() = 0;
    /// Ends the process where it was asked for meanwhile.
    virtual void ReleaseEnding() = 0;
};

/// What is done while this lives is done whole, whoever asks the process to end.
class Undivided {
public:
    explicit Undivided(Desktop& desktop) : m_desktop(desktop) { m_desktop.HoldEnding(); }
    ~Undivided() { m_desktop.ReleaseEnding(); }
    Undivided(const Undivided&) = delete;
    Undivided& operator=(const Undivided&) = delete;

private:
    Desktop& m_desktop;
};

/// The local computer's name.
class Network {
public:
    virtual ~Network() = default;
    /// The NetBIOS name of the computer that the tool runs on. Throws Error where it has none.
    virtual QString ComputerName() = 0;
};

/// Runs an event handler. Exceptions must not cross Qt's event delivery, so everything that Qt
/// calls goes through here.
template <class Handler>
void runHandler(Desktop& desktop, Handler&& handler) {
    if (desktop.Ending())
        return;
    try {
        handler();
    } catch (const std::exception& error) {
        desktop.Fail(describe(error));
    }
}

} // namespace rehome::platform
