#pragma once

#include <QString>

namespace rehome::ldap {

/// The Kerberos ticket that the user holds.
struct Ticket {
    enum class State { None, Expired, Valid };
    State state = State::None;
    QString realm; ///< known of a valid ticket only
};

Ticket currentTicket();

} // namespace rehome::ldap
