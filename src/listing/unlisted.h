#pragma once

#include "platform/engine/engine.h"
#include "platform/journal.h"

#include <QString>

namespace rehome::listing {

/// The filter (RFC 4515) of the objects that have a mailbox store or an Exchange server and are not
/// in the list. It matches system objects, too.
QString unlistedFilter();

/// Logs how many mailboxes of the domain are not in the list. A failure costs this line and nothing
/// else.
void logUnlisted(engine::Engine& engine, platform::Journal& journal) noexcept;

} // namespace rehome::listing
