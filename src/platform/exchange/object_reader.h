#pragma once

#include "platform/engine/engine.h"

namespace rehome::exchange {

/// A kind of objects: the class, and a phrase such as "a mailbox store".
struct ObjectKind {
    QString objectClass;
    QString words;
};

ObjectKind mailboxStoreKind();

/// Reads these attributes of the object with that DN; may block. Throws Error if there is none of
/// that kind.
engine::Entry readObject(engine::Session& session, const QString& name, const ObjectKind& kind,
                         const QStringList& attributes);

} // namespace rehome::exchange
