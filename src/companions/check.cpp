// rehome-check: reports what would stop the list of mailboxes or a move, and where mailboxes are.
#include "companions/checks.h"
#include "companions/client_settings.h"
#include "companions/console.h"
#include "companions/controllers.h"
#include "companions/opening.h"
#include "platform/blocking_call.h"
#include "platform/embedded/embedded_engine.h"
#include "platform/embedded/embedded_network.h"
#include "platform/embedded/embedded_probe.h"
#include "platform/embedded/organisation_file.h"
#include "platform/error.h"
#include "platform/ldap/host_network.h"
#include "platform/ldap/ldap_engine.h"
#include "platform/ldap/ldap_probe.h"
#include "platform/ldap/server_location.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

using namespace rehome;
using namespace rehome::companions;
using namespace Qt::Literals::StringLiterals;

namespace {

const QString Usage =
    u"Usage: rehome-check [SNAPSHOT...]\n"
    "       rehome-check --controller\n"
    "Reports what would stop Rehome's list of mailboxes or a move, each with LDIF that fixes it, "
    "and "
    "how many mailboxes each server has. ldapmodify refuses a line that you have to complete, such "
    "as \"displayName ???\". Changes nothing.\n"
    "Without SNAPSHOT, the program reads the directory from the domain controller that rehome "
    "would "
    "use. SNAPSHOT is a file of rehome-snapshot; name those of other domains of the forest after "
    "it.\n"
    "  --controller  print the domain controller that rehome would use, as an LDAP URI\n"
    "  --help        show this help\n"
    "  --version     show the version\n"
    "Exit status: 0 nothing was found; 1 something was found; 2 the data could not be read.\n"_s;

/// Calls `read` with a session of another domain. Throws Error if there is none.
using AskDomain = std::function<void(const topology::Domain& domain,
                                     const std::function<void(engine::Session&)>& read)>;

struct Source {
    engine::Session& session;
    engine::ExchangeProbe& probe;
    platform::Network& network;
    AskDomain askDomain;
    QString localHint; ///< "%1": the servers' names
    QString next;      ///< the next command if nothing is to be fixed
    bool isLive;       ///< the local server can be asked, too
};

int check(const Source& source) {
    const Exchange exchange =
        readExchange(source.session, source.probe, source.network.ComputerName());
    const People people = readPeople(source.session, exchange.domain);
    std::vector<OtherDomain> others;
    for (const topology::Domain& domain :
         topology::otherDomains(source.session, exchange.configuration, exchange.domain)) {
        others.push_back({domain, {}, {}});
        try {
            source.askDomain(domain, [&](engine::Session& session) {
                others.back().people = readPeople(session, domain.context);
            });
        } catch (const Error& error) {
            others.back().failure = error.description();
        }
    }

    Report report;
    checkServers(report, exchange, source.localHint);
    checkRecipientUpdateService(report, exchange);
    if (source.isLive)
        checkOpening(report, source.session, exchange);
    checkUsers(report, exchange, people);
    const qsizetype onLost = checkWhereabouts(report, exchange, people, others);
    report.remark(
        {u"%1 mailboxes are listed, %2 of them on servers that did not respond or were removed; findings: %3"_s
             .arg(QString::number(people.listed.size()), QString::number(onLost),
                  QString::number(report.findings()))});
    if (report.hasRemedies())
        report.remark(
            {u"Next: complete the LDIF above in a file. Run ldapmodify -QY GSSAPI -f FILE, then "
             "rehome-check again."_s});
    else if (std::none_of(
                 exchange.servers.begin(), exchange.servers.end(),
                 [&](const auto& server) { return server.text(u"name"_s) == exchange.local; }))
        report.remark({u"Next: choose a local server, as said above. Run rehome-check again."_s});
    else
        report.remark({u"Next: "_s + source.next});
    return report.findings() > 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}

QString stateOf(const QString& controller) {
    ldap::LdapSettings settings;
    settings.servers = {{controller}};
    settings.connectTimeout = std::chrono::seconds(3);
    try {
        ldap::LdapEngine engine(settings);
        engine::SearchRequest request;
        request.attributes = controllerAttributes();
        const auto root = engine.openSession()->search(request)->next();
        return controllerState(root.value_or(engine::Entry()), QDateTime::currentDateTime());
    } catch (const Error& error) {
        return error.description();
    }
}

/// Connects to all at the same time, so that those that do not respond cost one time-out together.
void reportControllers() {
    std::vector<std::pair<QString, platform::BlockingCall<QString>>> asked;
    for (const QString& controller : ldap::allServers())
        asked.emplace_back(controller, [controller] { return stateOf(controller); });
    for (auto& [controller, state] : asked)
        Report().remark({u"Domain controller %1: %2"_s.arg(
            controller,
            state.await(QDeadlineTimer(QDeadlineTimer::Forever), nullptr).value_or(QString()))});
}

int checkDirectory(bool controllerOnly) {
    if (!controllerOnly)
        for (const QString& remark : clientSettingRemarks())
            Report().remark({remark});
    ldap::LdapEngine engine;
    const auto session = engine.openSession();
    engine::SearchRequest request;
    request.attributes = QStringList{u"dnsHostName"_s};
    const auto root = session->search(request)->next();
    if (controllerOnly) {
        print(stdout, root.value_or(engine::Entry()).server + u'\n');
        return EXIT_SUCCESS;
    }
    reportControllers();
    ldap::HostNetwork network;
    ldap::LdapProbe probe(network);
    const auto askDomain = [](const topology::Domain& domain, const auto& read) {
        ldap::LdapSettings settings;
        settings.servers = ldap::locateServersOf(domain.name);
        ldap::LdapEngine other(settings);
        read(*other.openSession());
    };
    return check({*session, probe, network, askDomain,
                  u"Run the programs under the name of one of these servers (rehome-as NAME): %1"_s,
                  u"umask 077; rehome-as %1 2> recovery-$(date +%F-%H%M%S).ldif"_s.arg(
                      network.ComputerName()),
                  true});
}

int checkSnapshots(const QStringList& paths) {
    std::vector<std::unique_ptr<embedded::Organisation>> organisations;
    for (const QString& path : paths)
        organisations.emplace_back(
            new embedded::Organisation(embedded::readOrganisationFile(path)));
    embedded::Organisation& own = *organisations.front();
    embedded::EmbeddedEngine engine(own);
    embedded::EmbeddedProbe probe(own);
    embedded::EmbeddedNetwork network(own);
    const auto askDomain = [&](const topology::Domain& domain, const auto& read) {
        for (const auto& organisation : organisations) {
            const QString context = organisation->rootObject().text(u"defaultNamingContext"_s);
            if (nameKey(context) == nameKey(domain.context))
                return read(*embedded::EmbeddedEngine(*organisation).openSession());
        }
        throw Error(u"no snapshot of it was given"_s);
    };
    return check({*engine.openSession(), probe, network, askDomain,
                  u"Name one of these servers in the attribute rehomeLocalServer of the snapshot's "
                  "root object: %1"_s,
                  u"rehome-rehearsal "_s + paths.constFirst(), false});
}

int run(const CommandLine& line) {
    if (line.has("--controller"_L1) && !line.operands.isEmpty())
        throw Error(u"--controller goes with the directory, not with a snapshot."_s);
    return line.operands.isEmpty() ? checkDirectory(line.has("--controller"_L1))
                                   : checkSnapshots(line.operands);
}

} // namespace

int main(int argc, char** argv) {
    ldap::limitNameLookups();
    runConsole(argc, argv,
               {u"rehome-check"_s,
                Usage,
                {u"--controller"_s},
                0,
                std::numeric_limits<qsizetype>::max(),
                run});
}
