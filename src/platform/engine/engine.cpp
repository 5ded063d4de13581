#include "platform/engine/engine.h"

namespace rehome::engine {

QList<QByteArray> Entry::values(const QString& name) const {
    const auto found = attributes.find(name);
    return found == attributes.end() ? QList<QByteArray>() : found->second;
}

QString Entry::text(const QString& name) const {
    const auto all = values(name);
    return all.isEmpty() ? QString() : QString::fromUtf8(all.constFirst());
}

} // namespace rehome::engine
