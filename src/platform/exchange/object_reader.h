#pragma once

#include "platform/engine/engine.h"

#include <map>
#include <optional>

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

/// What a listing has read of the objects it names, so that opening one after the other is no round
/// trip each: half the cost of a short refresh. Each is handed out once; who opens an object again
/// reads it afresh.
class ListedObjects {
public:
    void add(const QString& objectClass, const engine::Entry& object);
    /// None where no listing has brought it.
    std::optional<engine::Entry> take(const QString& objectClass, const QString& name);
    void forget() { m_objects.clear(); }

private:
    std::map<std::pair<QString, QString>, engine::Entry> m_objects; ///< by class and name
};

} // namespace rehome::exchange
