#pragma once

#include "companions/census.h"
#include "companions/report.h"

namespace rehome::companions {

/// Asks the local server for a mailbox that nobody has. What keeps mailboxes from being opened
/// there is a finding: it is known before the first one is dropped.
void checkOpening(Report& report, engine::Session& session, const Exchange& exchange);

} // namespace rehome::companions
