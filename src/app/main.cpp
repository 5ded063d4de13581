#include "app/command_line.h"
#include "app/composition.h"

#include "platform/http/directory_only_opener.h"
#include "platform/http/http_opener.h"
#include "platform/ldap/host_network.h"
#include "platform/ldap/ldap_engine.h"
#include "platform/ldap/ldap_probe.h"
#include "platform/ldap/server_location.h"
#include "platform/ldap/ticket.h"

#include <pwd.h>
#include <unistd.h>

using namespace rehome;

namespace {

QString whoWorks(const QString& run) {
    const passwd* user = getpwuid(getuid());
    const ldap::Ticket ticket = ldap::currentTicket();
    return QStringLiteral("run %1 started by %2, %3")
        .arg(run, user ? QString::fromLocal8Bit(user->pw_name) : QString::number(getuid()),
             ticket.principal.isEmpty() ? QStringLiteral("without a Kerberos ticket")
                                        : QStringLiteral("authenticating as %1 in the domain %2")
                                              .arg(ticket.principal, ticket.realm));
}

int work(app::Application& application, const QString& title) {
    application.journal().Tell(platform::Event::Remark, whoWorks(application.journal().run()), {});
    ldap::LdapSettings settings;
    settings.interruption = &application.interruption();
    ldap::LdapEngine engine(settings);
    ldap::HostNetwork network;
    ldap::LdapProbe probe(network, settings.interruption);
    http::DirectoryOnlyOpener directoryOnly(application.journal());
    http::HttpOpener opener(directoryOnly, {}, settings.interruption);
    return app::runTool(application, {engine, probe, opener, network}, title);
}

} // namespace

int main(int argc, char** argv) {
    const app::CommandLine commandLine{
        QStringLiteral("rehome"),
        QStringLiteral(
            "Usage: rehome\n"
            "Lists the mailboxes of an Exchange organisation, and brings those of a lost server\n"
            "home to a store of the local one, which bears the name of this computer. If it has\n"
            "another name, such as EX1, start rehome with rehome-as. Keep what it writes to the\n"
            "standard error stream:\n    rehome-as EX1 2> recovery.ldif\nSee rehome(1).\n"),
        // A person who names a file here believes that they are rehearsing.
        QStringLiteral("rehome works on the directory itself and takes no arguments. To rehearse "
                       "on a file, run rehome-rehearsal.")};
    if (const auto status = app::answerCommandLine(argc, argv, commandLine))
        return *status;
    ldap::limitNameLookups();
    const QString title = QStringLiteral("Rehome");
    return app::runProgram(argc, argv, title, journal::KeptJournal::Of::LiveDirectory,
                           [&](app::Application& application) { return work(application, title); });
}
