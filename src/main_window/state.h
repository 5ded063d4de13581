#pragma once

#include "mailbox/moves.h"
#include "platform/platform.h"
#include "topology/keyed_collection.h"
#include "topology/store_config.h"

#include <QString>

#include <memory>

namespace rehome::main_window {

/// Where a batch move takes its mailboxes from.
enum class Source : qint16 {
    All = 1,      ///< every listed mailbox
    Criteria = 2, ///< those whose store is in a given state
    FromStore = 3 ///< those of a given store
};

/// What outlives a single operation of the main window.
struct State {
    QString DefaultNamingContext; ///< the root object's "defaultNamingContext"
    QString ConfigNamingContext;  ///< the root object's "configurationNamingContext"
    std::unique_ptr<adsi::Connection> DirConnection;
    topology::KeyedCollection<QString> ServerNames;
    topology::KeyedCollection<QString> ServerDNs; ///< keyed by server name
    topology::StoreCatalogue StoreList;
    mailbox::ListedMailboxes GridMailboxes;
    mailbox::Mailboxes MovedMailboxes; ///< of the whole run, keyed by ID
    qint16 MailboxRowCount = 0;
    Source SourceMode = Source::All;
    QString SourceStoreName;
    QString DestStoreName;
    float LastCellWidth = 0; ///< twips
};

} // namespace rehome::main_window
