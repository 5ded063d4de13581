#pragma once

#include "platform/engine/engine.h"
#include "platform/ldap/ldap_settings.h"

#include <memory>

namespace rehome::ldap {

class DomainControllers;

/// A live Active Directory. Authenticates as the user, without a prompt. One thread. Every call may
/// block, and may end the process through LdapSettings::interruption.
///
/// 1. All sessions share one connection to each server. A second one is opened only while a paged
///    search is being read on the first.
/// 2. A connection that the server dropped between two requests is opened again.
/// 3. A search that names no server goes to the server in use. If the connection is lost before the
///    first response, the search goes once more to the first server that responds.
/// 4. Any other request goes to the server that it names, or fails.
/// 5. A modification is sent again only if the server has certainly not received it, or has refused
///    it as busy: then up to three times more within 2 s.
/// 6. If the response to a modification is lost, its connection is reset.
class LdapEngine : public engine::Engine {
public:
    /// Connects to nothing yet.
    explicit LdapEngine(LdapSettings settings = {});
    ~LdapEngine() override;
    LdapEngine(const LdapEngine&) = delete;
    LdapEngine& operator=(const LdapEngine&) = delete;

    /// Connects. Throws DirectoryFailed if no server responds, or Error if none is known.
    [[nodiscard]] std::unique_ptr<engine::Session> openSession() override;

private:
    std::unique_ptr<DomainControllers> m_controllers;
};

} // namespace rehome::ldap
