#pragma once

#include "platform/embedded/organisation.h"
#include "platform/engine/exchange_probe.h"

namespace rehome::embedded {

/// Tells from the rehearsal's attributes of an organisation what its Exchange servers would. The
/// organisation must outlive it.
class EmbeddedProbe : public engine::ExchangeProbe {
public:
    explicit EmbeddedProbe(const Organisation& organisation) : m_organisation(organisation) {}

    void checkServer(const engine::Entry& server) override;
    /// Throws Error also where the store's server is down.
    qint16 storeStatus(const engine::Entry& store) override;

private:
    /// With the rehearsal's attributes, which no search yields.
    engine::Entry whole(const engine::Entry& read) const;

    const Organisation& m_organisation;
};

} // namespace rehome::embedded
