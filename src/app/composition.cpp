#include "app/composition.h"

#include "app/progress_observer.h"
#include "app/trace.h"
#include "main_window/main_window.h"
#include "platform/adsi/directory.h"
#include "platform/exchange/exchange_objects.h"

#include <QTime>

#include <cstdlib>

namespace rehome::app {

namespace {

// Qt's message handler and atexit take functions without a context.
journal::KeptJournal* theJournal = nullptr;

void writeMessage(QtMsgType, const QMessageLogContext& context, const QString& text) {
    const QString time = QTime::currentTime().toString(QStringLiteral("HH:mm:ss.zzz"));
    for (const QString& line : text.split(u'\n', Qt::SkipEmptyParts))
        theJournal->trace(
            QStringLiteral("%1 %2 %3").arg(time, QLatin1String(context.category), line));
}

/// The tool itself never calls exit; Qt does where the display goes away.
void endedByExit() {
    theJournal->tellStates();
}

int runWindow(Application& application, const Engines& engines, const QString& caption) {
    platform::Journal& journal = application.journal();
    adsi::Directory directory(engines.directory, journal);
    exchange::ExchangeObjects exchange(directory, engines.probe, engines.opener);
    const platform::Platform platform{directory, exchange, engines.network, application, journal};
    main_window::frmMain window(platform, caption);
    window.Form_Load();
    window.show();
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
    journal::KeptJournal journal(of);
    theJournal = &journal;
    qInstallMessageHandler(writeMessage);
    std::atexit(endedByExit);
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
