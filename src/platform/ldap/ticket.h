#pragma once

#include <QString>

namespace rehome::ldap {

/// The Kerberos ticket that the user holds. (GSSAPI would not tell an expired one: it counts the
/// permitted clock skew as life.)
struct Ticket {
    enum class State { None, Expired, Valid };
    State state = State::None;
    QString realm;     ///< empty where there is none
    QString principal; ///< whom it is for, with the realm
};

Ticket currentTicket();

} // namespace rehome::ldap
