#pragma once

#include "platform/engine/engine.h"

#include <QString>

#include <map>

namespace rehome::exchange {

/// What a mailbox store's distinguished name and its server give to a mailbox created there.
struct Destination {
    QString store;
    QString legacyExchangeDN;     ///< of the server that owns the store
    QString messageTransferAgent; ///< of that server; empty where it has none
};

/// The stores that mailboxes are created on. A store on which a creation has succeeded is not read
/// again until the stores are enumerated anew; one on which it has not must be readable before
/// anything more is dropped, so that one fault costs one mailbox. A creation that is refused all
/// the same may be that user's matter alone; three of them in a row are not.
class Destinations {
public:
    /// Throws Error where the store or its server cannot be read.
    Destination read(engine::Session& session, const QString& store);
    /// A creation is about to be written.
    void expect() { ++m_unconfirmed; }
    /// The creation on the store that was read last has succeeded.
    void confirm();
    /// Reads the store of the last creation again where that has not succeeded. Throws Error where
    /// it cannot be read, or three creations in a row have failed.
    void requireUsable(engine::Session& session);
    void forget();

private:
    std::map<QString, Destination> m_proven; ///< by the name that was asked for
    QString m_doubtful;                      ///< the store of the last creation, until it succeeds
    Destination m_last;                      ///< what was read of it
    int m_unconfirmed = 0;                   ///< creations in a row
};

} // namespace rehome::exchange
