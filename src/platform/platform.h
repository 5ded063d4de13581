#pragma once

#include "platform/adsi/directory_services.h"
#include "platform/desktop.h"
#include "platform/exchange/exchange_management.h"
#include "platform/journal.h"

namespace rehome::platform {

/// Everything that the tool reaches the outside world through. Must outlive what it is given to,
/// and what it is made of must outlive it.
class Platform {
    exchange::TopologySnapshot m_topology;
    exchange::DirectoryWatch m_watch;
    exchange::Destinations m_destinations;
    exchange::UserChanges m_changes;
    adsi::DirectoryServices m_directory;
    exchange::ExchangeManagement m_exchange;

public:
    Platform(engine::Engine& engine, engine::ExchangeProbe& probe, engine::MailboxOpener& opener,
             platform::Network& network, platform::Desktop& desktop, platform::Journal& journal)
        : m_topology(engine, probe), m_watch(m_topology, journal),
          m_changes(m_watch, journal, m_destinations), m_directory(m_changes),
          m_exchange(m_directory, probe, opener, m_topology, m_watch, m_changes, m_destinations),
          Network(network), Desktop(desktop), Journal(journal) {}
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;

    adsi::DirectoryServices& Directory = m_directory;
    exchange::ExchangeManagement& Exchange = m_exchange;
    exchange::UserChanges& Changes = m_changes;
    platform::Network& Network;
    platform::Desktop& Desktop;
    platform::Journal& Journal;
};

} // namespace rehome::platform
