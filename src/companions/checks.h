#pragma once

#include "companions/census.h"
#include "companions/report.h"

#include <utility>

namespace rehome::companions {

/// Reports what stops the list, or every move. `localHint` says how another local server is chosen.
void checkServers(Report& report, const Exchange& exchange, const QString& localHint);

/// Reports if Exchange may give a moved user another mailbox store at some domain controllers.
void checkRecipientUpdateService(Report& report, const Exchange& exchange);

/// Reports what stops the list, or the move of a single user.
void checkUsers(Report& report, const Exchange& exchange, const People& people);

/// Another domain of the forest.
struct OtherDomain {
    topology::Domain domain;
    People people;
    QString failure; ///< why it could not be read; empty if it could
};

/// Reports how many mailboxes each server has; those that do not respond come first. A person there
/// who is not in the list is a finding. Returns the number of listed mailboxes there.
qsizetype checkWhereabouts(Report& report, const Exchange& exchange, const People& people,
                           const std::vector<OtherDomain>& others);

} // namespace rehome::companions
