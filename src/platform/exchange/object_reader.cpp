#include "platform/exchange/object_reader.h"

#include "platform/error.h"

namespace rehome::exchange {

ObjectKind mailboxStoreKind() {
    return {QStringLiteral("msExchPrivateMDB"), QStringLiteral("a mailbox store")};
}

engine::Entry readObject(engine::Session& session, const QString& name, const ObjectKind& kind,
                         const QStringList& attributes) {
    engine::SearchRequest request;
    request.base = name;
    request.filter = QStringLiteral("(objectClass=%1)").arg(kind.objectClass);
    request.attributes = attributes;
    auto found = session.search(request)->next();
    if (!found)
        throw Error(
            QStringLiteral("\"%1\" is not %2, or it may not be read.").arg(name, kind.words));
    return std::move(*found);
}

} // namespace rehome::exchange
