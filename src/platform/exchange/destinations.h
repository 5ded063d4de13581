#pragma once

#include "platform/engine/engine.h"

#include <QString>

#include <map>

namespace rehome::exchange {

/// What a mailbox needs to know of the store that it is created on.
struct Destination {
    QString store;                ///< DN
    QString legacyExchangeDN;     ///< of the store's server
    QString messageTransferAgent; ///< DN, of the store's server; empty if it has none
};

/// The stores that mailboxes are created on.
///
/// 1. A store on which a creation has succeeded is not read again until the next enumeration.
/// 2. After a failed creation, the store must be readable before anything more is dropped, so that
///    one fault costs one mailbox.
/// 3. One rejected creation may concern only that user. After three failures in a row, nothing more
///    is dropped.
class Destinations {
public:
    /// Reads the store with that DN, and its server; may block. Throws Error if they cannot be
    /// read.
    Destination read(engine::Session& session, const QString& store);
    /// To be called before a creation is written.
    void expect() { ++m_unconfirmed; }
    /// To be called when the creation on the store that was read last has succeeded.
    void confirm();
    /// Reads the store of the last creation again, unless that has succeeded; may block. Throws
    /// Error if it cannot be read, or three creations in a row have failed.
    void requireUsable(engine::Session& session);
    /// Begins again, for a new enumeration.
    void forget();

private:
    std::map<QString, Destination> m_proven; ///< by the name that was asked for
    QString m_doubtful;                      ///< the store of the last creation, until it succeeds
    Destination m_last;                      ///< what was read of it
    int m_unconfirmed = 0;                   ///< creations in a row
};

} // namespace rehome::exchange
