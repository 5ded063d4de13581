#pragma once

#include "mailbox/mailbox_user.h"
#include "topology/keyed_collection.h"
#include "topology/store_config.h"

#include <memory>

namespace rehome::mailbox {

/// Mailbox records in order, each optionally under a key.
using Mailboxes = topology::KeyedCollection<std::shared_ptr<const MailboxUser>>;

/// Those of the list, keyed by row: "1", "2" and so on.
using ListedMailboxes = topology::NumberedCollection<std::shared_ptr<const MailboxUser>>;

/// Returns true if `destination` is the store that held the mailbox when the record was made.
/// Compares distinguished names: the full name in a record can differ from the store's own if the
/// name needs escapes or contains a backslash.
bool isOn(const MailboxUser& muser, const QString& destination,
          const topology::StoreCatalogue& StoreList);

/// Moves a mailbox onto the first store of `StoreList` whose full name is `destination`, letter
/// case ignored: drops it, creates it there, and adds it to `MovedMailboxes` under its ID once,
/// even if one of them failed. Returns false if there is no such store (nothing has been done) or
/// the creation failed (a message box has said so).
bool MoveMailbox2(const std::shared_ptr<const MailboxUser>& muser, const QString& destination,
                  const topology::StoreCatalogue& StoreList, Mailboxes& MovedMailboxes);

} // namespace rehome::mailbox
