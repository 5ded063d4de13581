#pragma once

#include "platform/engine/engine.h"
#include "platform/ldap/ldap_settings.h"

#include <memory>

namespace rehome::ldap {

class DomainControllers;

/// A live Active Directory. Authenticates as the user, without a prompt; the sessions share one
/// connection to each server, opened again unseen if the server dropped it between two operations,
/// and more only if several searches are read in pages at once. A search that
/// names no server goes to the one in use, and once more to whichever responds if that is lost
/// before anything has come; every other request goes to the server that it names, or fails. A
/// modification whose answer is lost is never sent again, and its connection is reset; one that a
/// busy server refuses is sent up to three times more within 2 s.
class LdapEngine : public engine::Engine {
public:
    explicit LdapEngine(LdapSettings settings = {});
    ~LdapEngine() override;
    LdapEngine(const LdapEngine&) = delete;
    LdapEngine& operator=(const LdapEngine&) = delete;

    [[nodiscard]] std::unique_ptr<engine::Session> openSession() override;

private:
    std::unique_ptr<DomainControllers> m_controllers;
};

} // namespace rehome::ldap
