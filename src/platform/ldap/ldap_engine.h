#pragma once

#include "platform/engine/engine.h"
#include "platform/ldap/ldap_settings.h"

#include <memory>

namespace rehome::ldap {

class DomainControllers;

/// A live Active Directory. Signs on as the user, without a prompt; each session has one connection
/// of its own, opened again unseen where the server dropped it between two operations. A
/// modification whose answer is lost is never sent again, one that a busy server refuses up to
/// three times within 2 s; it holds no attributes that the schema lacks.
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
