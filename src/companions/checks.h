#pragma once

#include "companions/census.h"
#include "companions/report.h"

#include <utility>

namespace rehome::companions {

/// What stops the list, or every move. `localHint` says how another local server is chosen.
void checkServers(Report& report, const Exchange& exchange, const QString& localHint);

/// What stops the list, or the move of a single user.
void checkUsers(Report& report, const Exchange& exchange, const People& people);

/// Another domain of the forest, and what it holds or why it could not be asked.
struct OtherDomain {
    topology::Domain domain;
    People people;
    QString failure; ///< empty if it could be asked
};

/// Who is where, the lost servers first; a person on one of these who is not in the list is a
/// finding. Returns the number of listed mailboxes on lost servers.
qsizetype checkWhereabouts(Report& report, const Exchange& exchange, const People& people,
                           const std::vector<OtherDomain>& others);

} // namespace rehome::companions
