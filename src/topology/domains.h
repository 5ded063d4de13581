#pragma once

#include "platform/engine/engine.h"

#include <vector>

namespace rehome::topology {

/// A domain of the forest.
struct Domain {
    QString context; ///< its naming context, a distinguished name
    QString name;    ///< such as child.example.com
};

/// Returns the domains of the forest except `context`, from the cross-references (class crossRef
/// with a nETBIOSName) below `configuration`. Throws Error.
std::vector<Domain> otherDomains(engine::Session& session, const QString& configuration,
                                 const QString& context);

/// Returns the DNS name of the domain with that naming context; the context itself if it is none.
QString domainName(const QString& context);

} // namespace rehome::topology
