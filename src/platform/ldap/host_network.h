#pragma once

#include "platform/desktop.h"

namespace rehome::ldap {

/// The name of the computer that the program runs on.
class HostNetwork : public platform::Network {
public:
    /// Throws Error if the computer has no host name.
    QString ComputerName() override;
};

} // namespace rehome::ldap
