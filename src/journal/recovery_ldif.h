#pragma once

#include "platform/journal.h"

#include <QByteArray>

namespace rehome::journal {

/// How a record names its object.
enum class Naming {
    /// "<GUID=" and the bytes in 32 hexadecimal digits and ">", which finds a renamed object too
    ByGuid,
    ByName ///< the distinguished name
};

/// The line above a record that is a comment, because the file holds an earlier one of the object.
inline constexpr char LaterRecord[] = "# as it was before a later change:";

/// An LDIF change record (RFC 2849) that gives the object back every attribute of the record, for
/// ldapmodify. A `homeMTA` that names a deleted object is a comment above it, since the directory
/// takes it no more: the attribute is cleared then. Ends with a line feed.
QByteArray toLdif(const platform::RecoveryRecord& record, Naming naming);

} // namespace rehome::journal
