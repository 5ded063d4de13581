#pragma once

#include "platform/journal.h"

#include <QByteArray>

namespace rehome::journal {

/// How a record names its object.
enum class Naming {
    ByGuid, ///< "<GUID=…>": an object that was renamed meanwhile is found all the same
    ByName  ///< the distinguished name
};

/// An LDIF change record (RFC 2849) that gives the object back every attribute of the record, for
/// ldapmodify. Ends with a line feed.
QByteArray toLdif(const platform::RecoveryRecord& record, Naming naming);

} // namespace rehome::journal
