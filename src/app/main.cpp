#include "app/composition.h"

#include "platform/http/directory_only_opener.h"
#include "platform/http/http_opener.h"
#include "platform/ldap/host_network.h"
#include "platform/ldap/ldap_engine.h"
#include "platform/ldap/ldap_probe.h"

using namespace rehome;

int main(int argc, char** argv) {
    const QString title = QStringLiteral("Rehome");
    return app::runProgram(
        argc, argv, title, journal::KeptJournal::Of::LiveDirectory,
        [&](app::Application& application) {
            // Whoever names a file here believes that they are rehearsing.
            if (QApplication::arguments().size() > 1)
                throw Error(
                    QStringLiteral("rehome works on the directory itself and takes no "
                                   "arguments. To rehearse on a file, run rehome-rehearsal."));
            ldap::LdapEngine engine;
            ldap::HostNetwork network;
            ldap::LdapProbe probe(engine, network);
            http::DirectoryOnlyOpener directoryOnly(application.journal());
            http::HttpOpener opener(directoryOnly);
            return app::runTool(application, {engine, probe, opener, network}, title);
        });
}
