#pragma once

#include "platform/desktop.h"

namespace rehome::ldap {

/// The name of the computer that the program runs on.
class HostNetwork : public platform::Network {
public:
    QString ComputerName() override;
};

} // namespace rehome::ldap
