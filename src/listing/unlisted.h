#pragma once

#include "platform/engine/engine.h"

#include <QString>

namespace rehome::listing {

/// The filter (RFC 4515) of the objects that have a mailbox store or an Exchange server and are not
/// in the list. It matches system objects, too.
QString unlistedFilter();

/// How many mailboxes of the session's domain are not in the list, as a log line. Throws Error.
QString unlistedSummary(engine::Session& session);

} // namespace rehome::listing
