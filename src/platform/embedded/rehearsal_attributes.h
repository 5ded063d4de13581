#pragma once

#include "platform/engine/engine.h"

#include <chrono>

namespace rehome::embedded {

/// What an object's rehearsal attributes say (see Organisation).
struct RehearsalAttributes {
    qint16 storeState = 0;
    bool serverDown = false;
    /// Since the first attempt; none for a mailbox that never opens.
    std::optional<std::chrono::seconds> opensAfter = std::chrono::seconds(0);
};

/// Throws Error naming the object and the attribute whose value is not one of those allowed.
RehearsalAttributes rehearsalAttributes(const engine::Entry& object);

/// Throws as rehearsalAttributes, and where an attribute of the rehearsal's is unknown.
void checkRehearsalAttributes(const engine::Entry& object);

bool isRehearsalAttribute(const QString& name);

} // namespace rehome::embedded
