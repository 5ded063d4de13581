#pragma once

#include "platform/http/directory_only_opener.h"
#include "platform/http/http_opener.h"
#include "platform/ldap/host_network.h"
#include "platform/ldap/ldap_engine.h"
#include "platform/ldap/ldap_probe.h"
#include "support/window_driver.h"

namespace rehome::test {

/// All that goes over the wire is recorded.
struct LivePlatform {
    explicit LivePlatform(platform::Journal* kept) : used(kept ? *kept : journal) {}

    ldap::LdapEngine engine;
    ldap::HostNetwork network;
    ldap::LdapProbe probe{network};
    RecordedCalls calls;
    TestJournal journal;
    platform::Journal& used;
    http::DirectoryOnlyOpener directoryOnly{used};
    http::HttpOpener opener{directoryOnly};
    engine::ObservedEngine observed{engine, probe, opener, calls};
    TestDesktop desktop;
    exchange::ExchangeManagement exchange{observed, probe, observed, used};
    platform::Platform platform{exchange, network, desktop, used};
};

/// The main window, loaded.
struct Live : WindowOver<LivePlatform> {
    explicit Live(platform::Journal* kept = nullptr) : WindowOver(kept) { frame.Form_Load(); }
    QModelIndex find(const QString& name) const {
        const auto* rows = grid.model();
        return rows->match(rows->index(0, 1), Qt::DisplayRole, name, 1, Qt::MatchExactly).value(0);
    }
    /// Moves a mailbox and returns the last message.
    QString move(const QString& mailbox, const QString& store) {
        grid.setRow(find(mailbox).row() + 1);
        choose("comboStoreName", store);
        return desktop.texts().value(desktop.texts().size() - 1);
    }
};

} // namespace rehome::test
