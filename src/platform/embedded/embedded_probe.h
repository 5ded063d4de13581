#pragma once

#include "platform/embedded/organisation.h"
#include "platform/engine/exchange_probe.h"

#include <QHash>

#include <chrono>

namespace rehome::embedded {

/// Tells from the rehearsal's attributes of an organisation what its Exchange servers would. The
/// organisation must outlive it.
class EmbeddedProbe : public engine::ExchangeProbe {
public:
    explicit EmbeddedProbe(const Organisation& organisation) : m_organisation(organisation) {}

    void checkServer(const QString& serverName) override;
    /// Throws Error also where the store's server is down.
    qint16 storeStatus(const QString& storeName) override;
    void openMailbox(const QString& userName) override;

private:
    struct Attempt {
        int creation = 0; ///< which of the user's mailboxes was tried
        std::chrono::steady_clock::time_point first;
    };

    const Organisation& m_organisation;
    QHash<QString, Attempt> m_attempts; ///< by the user's distinguished name
};

} // namespace rehome::embedded
