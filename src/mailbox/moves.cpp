#include "mailbox/moves.h"

#include "platform/text_case.h"

#include <algorithm>

namespace rehome::mailbox {

namespace {

/// Returns null if there is no such store.
std::shared_ptr<const topology::StoreConfig> findStore(const QString& destination,
                                                       const topology::StoreCatalogue& StoreList) {
    const auto store = std::find_if(StoreList.begin(), StoreList.end(), [&](const auto& candidate) {
        return platform::areSameInCapitals(candidate->FullName(), destination);
    });
    return store == StoreList.end() ? nullptr : *store;
}

} // namespace

bool isOn(const MailboxUser& muser, const QString& destination,
          const topology::StoreCatalogue& StoreList) {
    const auto store = findStore(destination, StoreList);
    return store && platform::areSameInCapitals(store->DN(), muser.GetSourceStoreDN());
}

bool MoveMailbox2(const std::shared_ptr<const MailboxUser>& muser, const QString& destination,
                  const topology::StoreCatalogue& StoreList, Mailboxes& MovedMailboxes) {
    const auto store = findStore(destination, StoreList);
    if (!store)
        return false;

    const platform::Undivided move = muser->whole();
    muser->DropUserMailbox();
    const bool created = muser->CreateUserMailbox(store->DN());
    if (!topology::CollectionContains(muser->GetID(), MovedMailboxes))
        MovedMailboxes.Add(muser, muser->GetID());
    return created;
}

} // namespace rehome::mailbox
