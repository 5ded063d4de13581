#include "app/composition.h"

#include "app/trace.h"
#include "main_window/main_window.h"
#include "platform/adsi/directory.h"
#include "platform/exchange/exchange_objects.h"

namespace rehome::app {

namespace {

int runWindow(Application& application, const Engines& engines, const QString& caption) {
    platform::Journal& journal = application.journal();
    adsi::Directory directory(engines.directory);
    exchange::ExchangeObjects exchange(directory, engines.probe, engines.opener, journal);
    const platform::Platform platform{directory, exchange, engines.network, application, journal};
    main_window::frmMain window(platform, caption);
    window.Form_Load();
    window.show();
    return QApplication::exec();
}

} // namespace

int runProgram(int argc, char** argv, const QString& title,
               const std::function<int(Application&)>& body) {
    ErrorStreamJournal journal;
    Application application(argc, argv, title, journal);
    try {
        return body(application);
    } catch (const std::exception& error) {
        application.Fail(describe(error));
    }
}

int runTool(Application& application, const Engines& engines, const QString& caption) {
    if (!qEnvironmentVariableIsSet(Trace::Variable))
        return runWindow(application, engines, caption);
    Trace trace(application.journal());
    engine::ObservedEngine observed(engines.directory, engines.probe, engines.opener, trace);
    return runWindow(application, {observed, observed, observed, engines.network}, caption);
}

} // namespace rehome::app
