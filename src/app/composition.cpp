#include "app/composition.h"

#include "app/progress_observer.h"
#include "app/trace.h"
#include "listing/unlisted.h"
#include "main_window/main_window.h"
#include "main_window/screen_frame.h"

#include <QThread>
#include <QTime>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace rehome::app {

namespace {

// Qt's message handler, atexit and set_terminate take functions without a context.
journal::KeptJournal* theJournal = nullptr;

/// Whether a window system is named at all. Qt would abort.
bool hasDisplay() {
    return !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") ||
           !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

/// Ends a process that can open no window.
[[noreturn]] void endWithoutDisplay() {
    std::fputs("No window can be opened here: start the program in a desktop session, or over "
               "ssh -X.\n",
               stderr);
    std::_Exit(EXIT_FAILURE);
}

void writeMessage(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    if (type == QtFatalMsg && QGuiApplication::platformName().isEmpty())
        endWithoutDisplay();
    const QString time = QTime::currentTime().toString(QStringLiteral("HH:mm:ss.zzz"));
    QStringList lines;
    for (const QString& line : text.split(u'\n', Qt::SkipEmptyParts))
        lines += QStringLiteral("%1 %2 %3").arg(time, QLatin1String(context.category), line);
    const auto write = [lines] {
        for (const QString& line : lines)
            theJournal->trace(line);
    };
    // The journal is the first thread's alone; Qt and its plug-ins have threads of their own.
    if (!qApp || QThread::currentThread() == qApp->thread() || type == QtFatalMsg)
        write();
    else
        QMetaObject::invokeMethod(qApp, write, Qt::QueuedConnection);
}

/// The tool itself never calls exit; Qt does where the display goes away.
void endedByExit() {
    theJournal->tellStates();
}

/// Can run on any thread. The journal is the first thread's alone, but the process ends here.
[[noreturn]] void endedByTerminate() {
    std::set_terminate(std::abort); // a failure in here must not come back
    QString reason = QStringLiteral("std::terminate was called");
    try {
        if (const std::exception_ptr failure = std::current_exception())
            std::rethrow_exception(failure);
    } catch (const std::exception& failure) {
        reason = describe(failure);
    } catch (...) {
        reason = QStringLiteral("an exception of an unknown type was not handled");
    }
    theJournal->Tell(platform::Event::Remark,
                     QStringLiteral("Internal error, please report it: %1").arg(reason), {});
    theJournal->tellStates();
    std::abort();
}

int runWindow(Application& application, const Engines& engines, const QString& caption) {
    journal::KeptJournal& journal = application.journal();
    exchange::ExchangeManagement exchange(engines.directory, engines.probe, engines.opener,
                                          journal);
    const platform::Platform platform{exchange, engines.network, application, journal};
    main_window::frmMain window(platform, caption);
    main_window::ScreenFrame frame(window);
    window.Form_Load();
    frame.show();
    QTimer::singleShot(0, &application, [&] {
        if (!application.Ending()) // otherwise the window could not be loaded
            platform::runHandler(application, [&] {
                listing::logUnlisted(engines.directory, application.journal());
            });
    });
    return QApplication::exec();
}

int runReporting(Application& application, const Engines& engines, const QString& caption) {
    journal::Progress& progress = application.journal().progress();
    if (!progress.shown())
        return runWindow(application, engines, caption);
    ProgressObserver observer(progress);
    engine::ObservedEngine observed(engines.directory, engines.probe, engines.opener, observer);
    return runWindow(application, {observed, observed, observed, engines.network}, caption);
}

} // namespace

int runProgram(int argc, char** argv, const QString& title, journal::KeptJournal::Of of,
               const std::function<int(Application&)>& body) {
    journal::fillStandardDescriptors();
    if (!hasDisplay())
        endWithoutDisplay();
    journal::KeptJournal journal(of);
    theJournal = &journal;
    qInstallMessageHandler(writeMessage);
    std::atexit(endedByExit);
    std::set_terminate(endedByTerminate);
    Signals fromOutside([&] { journal.tellStates(); }, journal.progress());
    Application application(argc, argv, title, journal, fromOutside);
    try {
        const int status = body(application);
        application.End(status);
    } catch (const std::exception& error) {
        application.Fail(describe(error));
    }
}

int runTool(Application& application, const Engines& engines, const QString& caption) {
    if (traceCategory().isDebugEnabled()) {
        Trace trace;
        engine::ObservedEngine traced(engines.directory, engines.probe, engines.opener, trace);
        return runReporting(application, {traced, traced, traced, engines.network}, caption);
    }
    return runReporting(application, engines, caption);
}

} // namespace rehome::app
