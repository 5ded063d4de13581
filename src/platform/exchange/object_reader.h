#pragma once

#include "platform/engine/engine.h"

namespace rehome::exchange {

/// Which objects are meant: a class, and in words what one of them is.
struct ObjectKind {
    QString objectClass;
    QString words;
};

ObjectKind mailboxStoreKind();

/// Reads one object, or throws Error.
engine::Entry readObject(engine::Session& session, const QString& name, const ObjectKind& kind,
                         const QStringList& attributes);

} // namespace rehome::exchange
