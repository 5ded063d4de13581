#include "platform/exchange/destinations.h"

#include "platform/engine/escape.h"
#include "platform/error.h"
#include "platform/exchange/object_reader.h"

namespace rehome::exchange {

namespace {

constexpr int MostUnconfirmed = 3;

Destination readAfresh(engine::Session& session, const QString& name) {
    Destination found;
    found.store = readObject(session, name, mailboxStoreKind(),
                             QStringList{QStringLiteral("distinguishedName")})
                      .distinguishedName;
    // Above a store stand its storage group, the server's information store and the server.
    engine::SearchRequest request;
    request.base = engine::parentName(found.store, 3);
    request.scope = engine::Scope::Subtree;
    request.filter = QStringLiteral("(|(objectClass=msExchExchangeServer)(name=Microsoft MTA))");
    request.attributes =
        QStringList{QStringLiteral("objectClass"), QStringLiteral("legacyExchangeDN")};
    const auto entries = request.base.isEmpty() ? nullptr : session.search(request);
    while (const auto entry = entries ? entries->next() : std::nullopt) {
        if (engine::firstValue(entry->distinguishedName)
                .compare(QLatin1String("Microsoft MTA"), Qt::CaseInsensitive) == 0)
            found.messageTransferAgent = entry->distinguishedName;
        else if (found.legacyExchangeDN.isEmpty())
            found.legacyExchangeDN = entry->text(QStringLiteral("legacyExchangeDN"));
    }
    if (found.legacyExchangeDN.isEmpty())
        throw Error(QStringLiteral("The server of the mailbox store \"%1\" was not found, or it "
                                   "has no attribute \"legacyExchangeDN\".")
                        .arg(found.store));
    return found;
}

} // namespace

Destination Destinations::read(engine::Session& session, const QString& store) {
    m_doubtful = store;
    if (const auto proven = m_proven.find(store); proven != m_proven.end()) {
        m_last = proven->second;
        m_proven.erase(proven); // until it is confirmed again
    } else {
        m_last = readAfresh(session, store);
    }
    return m_last;
}

void Destinations::confirm() {
    m_proven[m_doubtful] = m_last;
    m_doubtful.clear();
    m_unconfirmed = 0;
}

void Destinations::requireUsable(engine::Session& session) {
    if (m_doubtful.isEmpty())
        return;
    try {
        if (m_unconfirmed >= MostUnconfirmed)
            throw Error(QStringLiteral("the last %1 creations failed. Mend the cause, then press "
                                       "Refresh.")
                            .arg(m_unconfirmed));
        readAfresh(session, m_doubtful);
    } catch (const std::exception& error) {
        throw Error(QStringLiteral("Nothing more is dropped while mailboxes cannot be created on "
                                   "the destination: %1")
                        .arg(describe(error)));
    }
}

void Destinations::forget() {
    m_proven.clear();
    m_doubtful.clear();
    m_unconfirmed = 0;
}

} // namespace rehome::exchange
