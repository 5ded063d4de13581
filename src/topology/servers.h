#pragma once

#include "platform/adsi/directory_services.h"
#include "topology/keyed_collection.h"

namespace rehome::topology {

/// Finds every Exchange server of the organisation, in the order in which the directory gives them.
/// Both collections are replaced before they are filled: `ServerNames` without keys, `ServerDNs`
/// (distinguished names) keyed by server name. Throws Error, leaving in them what was found so far.
void GetExchServers(adsi::DirectoryServices& directory, KeyedCollection<QString>& ServerNames,
                    KeyedCollection<QString>& ServerDNs);

} // namespace rehome::topology
