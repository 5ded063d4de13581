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

/// True where the store that MoveMailbox2 would find is the one that held the mailbox when the
/// record was made, told by distinguished name: a name that needs escapes, or holds a backslash of
/// its own, reads otherwise in the record than in the store's full name.
bool isOn(const MailboxUser& muser, const QString& destination,
          const topology::StoreCatalogue& StoreList);

/// Moves a mailbox onto the first store of `StoreList` whose full name is `destination`, letter
/// case ignored: drops it, creates it there, and records it in `MovedMailboxes` under its ID once,
/// whatever came of either. False where there is no such store (nothing is done then) or the
/// creation failed (it has been shown then).
bool MoveMailbox2(const std::shared_ptr<const MailboxUser>& muser, const QString& destination,
                  const topology::StoreCatalogue& StoreList, Mailboxes& MovedMailboxes);

} // namespace rehome::mailbox
