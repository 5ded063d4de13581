#include "companions/opening.h"

#include "platform/error.h"
#include "platform/http/trial.h"

namespace rehome::companions {

using namespace Qt::Literals::StringLiterals;

void checkOpening(Report& report, engine::Session& session, const Exchange& exchange) {
    for (const engine::Entry& server : exchange.servers) {
        if (server.text(u"name"_s) != exchange.local)
            continue;
        try {
            if (const QString known = http::tryServer(session, server.distinguishedName);
                !known.isEmpty())
                report.remark({known});
        } catch (const Error& error) {
            report.finding({u"Mailboxes can be moved to the local server %1, but would then not be "
                            "opened there: %2"_s.arg(exchange.local, error.description())});
            report.blank();
        }
    }
}

} // namespace rehome::companions
