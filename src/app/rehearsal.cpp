#include "app/command_line.h"
#include "app/composition.h"

#include "platform/embedded/embedded_engine.h"
#include "platform/embedded/embedded_network.h"
#include "platform/embedded/embedded_opener.h"
#include "platform/embedded/embedded_probe.h"
#include "platform/embedded/organisation_file.h"
#include "platform/embedded/shipped_organisation.h"

#include <QFileInfo>

using namespace rehome;

namespace {

embedded::Organisation openOrganisation(const QStringList& arguments) {
    if (arguments.isEmpty())
        return embedded::readOrganisation(embedded::shippedOrganisation(),
                                          QStringLiteral("the organisation that ships"));
    return embedded::readOrganisationFile(arguments.constFirst());
}

QString caption(const QStringList& arguments) {
    const QString safety = QStringLiteral("Rehome \u2013 REHEARSAL, nothing real is touched");
    return arguments.isEmpty()
               ? safety
               : safety + QStringLiteral(" (%1)").arg(QFileInfo(arguments.constFirst()).fileName());
}

void warnWithoutLocalServer(platform::Journal& journal, embedded::EmbeddedNetwork& network) {
    if (!network.namesServer())
        journal.Tell(platform::Event::Remark,
                     QStringLiteral("no Exchange server of this organisation is called \"%1\", so "
                                    "no store is local and none can be a destination; name the "
                                    "local one in the attribute rehomeLocalServer of the root "
                                    "object")
                         .arg(network.ComputerName()));
}

} // namespace

int main(int argc, char** argv) {
    const app::CommandLine commandLine{
        QStringLiteral("rehome-rehearsal"),
        QStringLiteral(
            "Usage: rehome-rehearsal [ORGANISATION.LDIF]\n"
            "Rehearses a mailbox recovery on the organisation that ships, or on a snapshot of a\n"
            "directory, which rehome-snapshot takes. Nothing real is touched, and the file is not\n"
            "written. See rehome-rehearsal(1).\n"),
        QStringLiteral("It takes one LDIF file, or none: see rehome-rehearsal --help."), true};
    if (const auto status = app::answerCommandLine(argc, argv, commandLine))
        return *status;
    const QString title = QStringLiteral("Rehome rehearsal");
    return app::runProgram(
        argc, argv, title, journal::KeptJournal::Of::Rehearsal, [](app::Application& application) {
            const QStringList arguments = QApplication::arguments().mid(1);
            embedded::Organisation organisation = openOrganisation(arguments);
            embedded::EmbeddedEngine engine(organisation);
            embedded::EmbeddedProbe probe(organisation);
            embedded::EmbeddedOpener opener(organisation);
            embedded::EmbeddedNetwork network(organisation);
            warnWithoutLocalServer(application.journal(), network);
            return app::runTool(application, {engine, probe, opener, network}, caption(arguments));
        });
}
