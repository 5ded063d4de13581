#pragma once

#include "platform/engine/engine.h"
#include "platform/exchange/person_interfaces.h"

#include <QString>

namespace rehome::exchange {

/// Throws Error where the arguments are other than those that these objects know.
void requireStatedArguments(const platform::OpenArguments& arguments);

/// Reads one object of a class, or throws Error: `kind` says in words what was looked for.
engine::Entry readObject(engine::Session& session, const QString& name, const QString& objectClass,
                         const QStringList& attributes, const QString& kind);

} // namespace rehome::exchange
