#pragma once

#include "platform/engine/engine.h"

#include <map>

namespace rehome::embedded {

/// All values of some attributes, as they are to be.
using Changes = std::map<QString, QList<QByteArray>, engine::AttributeNameLess>;

/// What Exchange's recipient update service makes of a user whose mailbox is created: a user with
/// the rehearsal's attribute rehomePolicyAddress gets that address as `mail` and as the primary
/// among the proxy addresses. Adds to `changes` where these set `homeMDB`.
void applyRecipientPolicy(const engine::Entry& user, Changes& changes);

} // namespace rehome::embedded
