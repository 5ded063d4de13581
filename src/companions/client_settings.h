#pragma once

#include <QStringList>

namespace rehome::companions {

/// Returns what krb5.conf and ldap.conf leave less safe than it can be, as remarks with remedies.
/// The libraries read the files, with all their rules about where these are.
QStringList clientSettingRemarks();

} // namespace rehome::companions
