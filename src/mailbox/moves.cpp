#include "mailbox/moves.h"

#include "topology/text_case.h"

#include <algorithm>

namespace rehome::mailbox {

bool MoveMailbox2(const std::shared_ptr<const MailboxUser>& muser, const QString& destination,
                  const topology::StoreCatalogue& StoreList, Mailboxes& MovedMailboxes) {
    const QString wanted = topology::upperCase(destination);
    const auto store = std::find_if(StoreList.begin(), StoreList.end(), [&](const auto& candidate) {
        return topology::upperCase(candidate->FullName()) == wanted;
    });
    if (store == StoreList.end())
        return false;

    const platform::Undivided move = muser->whole();
    muser->DropUserMailbox();
    const bool created = muser->CreateUserMailbox((*store)->DN());
    if (!topology::CollectionContains(muser->GetID(), MovedMailboxes))
        MovedMailboxes.Add(muser, muser->GetID());
    return created;
}

} // namespace rehome::mailbox
