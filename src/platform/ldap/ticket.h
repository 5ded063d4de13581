#pragma once

#include <QString>

namespace rehome::ldap {

/// The user's Kerberos ticket. (GSSAPI cannot be asked for it: GSSAPI adds the permitted clock skew
/// to the lifetime, and so takes an expired ticket for a valid one.)
struct Ticket {
    enum class State { None, Expired, Valid };
    State state = State::None;
    QString realm;     ///< empty if there is no ticket cache
    QString principal; ///< the user's, with the realm; empty if there is no ticket cache
};

/// Reads the ticket cache. Never throws; it may block while the Kerberos library looks names up.
Ticket currentTicket();

} // namespace rehome::ldap
