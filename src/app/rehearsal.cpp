#include "app/composition.h"

#include "platform/embedded/embedded_engine.h"
#include "platform/embedded/embedded_network.h"
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
    if (arguments.size() > 1)
        throw Error(QStringLiteral("Too many arguments. Usage: rehome-rehearsal "
                                   "[organisation.ldif]"));
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
    const QString title = QStringLiteral("Rehome rehearsal");
    return app::runProgram(
        argc, argv, title, journal::KeptJournal::Of::Rehearsal, [](app::Application& application) {
            const QStringList arguments = QApplication::arguments().mid(1);
            embedded::Organisation organisation = openOrganisation(arguments);
            embedded::EmbeddedEngine engine(organisation);
            embedded::EmbeddedProbe probe(organisation);
            embedded::EmbeddedNetwork network(organisation);
            warnWithoutLocalServer(application.journal(), network);
            return app::runTool(application, {engine, probe, network}, caption(arguments));
        });
}
