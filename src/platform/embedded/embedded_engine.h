#pragma once

#include "platform/embedded/organisation.h"
#include "platform/engine/engine.h"

namespace rehome::embedded {

/// Sessions with an organisation in process. The organisation must outlive the engine. What a
/// search found is fixed when it is made; asking for more once its session is closed throws Error.
class EmbeddedEngine : public engine::Engine {
public:
    explicit EmbeddedEngine(Organisation& organisation) : m_organisation(organisation) {}
    [[nodiscard]] std::unique_ptr<engine::Session> openSession() override;

private:
    Organisation& m_organisation;
};

} // namespace rehome::embedded
