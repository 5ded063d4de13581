#include "app/application.h"

#include "app/desktop_manners.h"
#include "main_window/look.h"
#include "main_window/message_dialog.h"

#include <QDir>
#include <QIcon>
#include <QPlatformSurfaceEvent>
#include <QSocketNotifier>
#include <QTimer>
#include <QWindow>

#include <cstdio>
#include <cstdlib>

namespace rehome::app {

namespace {

/// Milliseconds of work after which somebody may have turned to another window.
constexpr int LongWork = 10'000;

QIcon icon() {
    QIcon icon;
    const QDir sizes(QStringLiteral(":/rehome/icon"));
    for (const QString& size : sizes.entryList())
        icon.addFile(sizes.filePath(size));
    return icon;
}

} // namespace

QString version() {
    return QStringLiteral(REHOME_VERSION);
}

Application::Application(int& argc, char** argv, const QString& title,
                         journal::KeptJournal& journal, Signals& signalsFromOutside)
    : QApplication(argc, argv), m_title(title), m_journal(journal), m_signals(signalsFromOutside) {
    // The name of the program file, which is also the class of its windows, finds its menu entry.
    // The display name is left unset: Qt would append it to every title.
    setDesktopFileName(applicationName());
    setWindowIcon(icon());
    main_window::applyLook(*this);
    setQuitOnLastWindowClosed(false);
    m_sinceBox.start();
    auto* asked = new QSocketNotifier(m_signals.descriptor(), QSocketNotifier::Read, this);
    connect(asked, &QSocketNotifier::activated, this, [this] { m_signals.checkpoint(); });
}

platform::Answer Application::Show(const platform::MessageBox& box) {
    const Signals::Suspension open(m_signals);
    m_journal.progress().erase();
    QWidget* owner = activeModalWidget();
    for (QWidget* window : topLevelWidgets()) {
        if (!owner && window->isVisible() && !window->parentWidget() && window->isWindow() &&
            window->windowType() == Qt::Window)
            owner = window;
    }
    platform::Answer answer{};
    {
        main_window::MessageDialog dialog(box, m_title, owner);
        if (m_sinceBox.hasExpired(LongWork))
            QTimer::singleShot(0, &dialog, [&dialog] { alert(&dialog); });
        answer = dialog.ask();
    }
    showWhatWasCovered();
    m_sinceBox.start();
    return answer;
}

void Application::End(int status) {
    m_journal.progress().erase();
    std::fflush(nullptr);
    // Unwinding through the event loops under way would let their code run on.
    std::_Exit(status);
}

void Application::Fail(const QString& description) {
    m_journal.Tell(platform::Event::Remark, description, {});
    if (!m_ending) {
        m_ending = true;
        m_journal.tellStates();
        try {
            Show({description, platform::Buttons::Ok, platform::Icon::Critical});
        } catch (const std::exception& second) {
            m_journal.Tell(platform::Event::Remark, describe(second), {});
        }
    }
    End(EXIT_FAILURE);
}

bool Application::notify(QObject* receiver, QEvent* event) {
    try {
        const bool handled = QApplication::notify(receiver, event);
        const auto* window = event->type() == QEvent::PlatformSurface
                                 ? qobject_cast<const QWindow*>(receiver)
                                 : nullptr;
        if (window && static_cast<QPlatformSurfaceEvent*>(event)->surfaceEventType() ==
                          QPlatformSurfaceEvent::SurfaceCreated)
            promiseNoAnswers(*window);
        return handled;
    } catch (const std::exception& error) {
        if (!m_ending)
            Fail(describe(error));
        m_journal.Tell(platform::Event::Remark, describe(error), {});
        return false;
    }
}

} // namespace rehome::app
