// The live tool, but that its probe connects to the port in REHOME_BENCH_PORT where there is one:
// only root may listen on the endpoint mapper's own. The system log, which tells of mailboxes that
// somebody has, is left alone.

#include "app/composition.h"
#include "app/unlisted_line.h"

#include "listing/unlisted.h"
#include "platform/http/directory_only_opener.h"
#include "platform/ldap/host_network.h"
#include "platform/ldap/ldap_engine.h"
#include "platform/ldap/ldap_probe.h"
#include "platform/ldap/server_location.h"

using namespace rehome;

int main(int argc, char** argv) {
    ldap::limitNameLookups();
    const QString title = QStringLiteral("Rehome bench");
    return app::runProgram(
        argc, argv, title, journal::KeptJournal::Of::Rehearsal, [&](app::Application& application) {
            bool given = false;
            const int port = qEnvironmentVariableIntValue("REHOME_BENCH_PORT", &given);
            ldap::LdapSettings settings;
            settings.interruption = &application.interruption();
            ldap::LdapEngine engine(settings);
            ldap::HostNetwork network;
            ldap::LdapProbe probe(network, settings.interruption, std::chrono::seconds(3),
                                  given ? quint16(port) : ldap::LdapProbe::EndpointMapper);
            http::DirectoryOnlyOpener opener(application.journal());
            app::logUnlisted(application, [] {
                ldap::LdapEngine own; // the other one is the first thread's alone
                return listing::unlistedSummary(*own.openSession());
            });
            return app::runTool(application, {engine, probe, opener, network}, title);
        });
}
