#pragma once

#include "platform/desktop.h"
#include "platform/embedded/organisation.h"

namespace rehome::embedded {

/// The computer that an organisation is rehearsed on: its root object's rehomeLocalServer, else
/// this machine's name.
class EmbeddedNetwork : public platform::Network {
public:
    explicit EmbeddedNetwork(const Organisation& organisation);

    QString ComputerName() override { return m_name; }
    /// Whether an Exchange server of the organisation has exactly that name. Where none has, no
    /// store can receive a mailbox.
    bool namesServer() const { return m_namesServer; }

private:
    QString m_name;
    bool m_namesServer = false;
};

} // namespace rehome::embedded
