#include "app/composition.h"

#include "main_window/main_window.h"
#include "platform/adsi/directory.h"
#include "platform/exchange/exchange_objects.h"

namespace rehome::app {

int runTool(Application& application, platform::Journal& journal, const Engines& engines,
            const QString& caption) {
    adsi::Directory directory(engines.directory);
    exchange::ExchangeObjects exchange(directory, engines.probe, journal);
    const platform::Platform platform{directory, exchange, engines.network, application, journal};
    main_window::frmMain window(platform, caption);
    window.Form_Load();
    window.show();
    return QApplication::exec();
}

} // namespace rehome::app
