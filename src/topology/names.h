#pragma once

#include "platform/value.h"

#include <QByteArray>
#include <QString>
#include <QUuid>

namespace rehome::topology {

/// Returns the 1-based position of the first comma without a backslash right before it, 0 if there
/// is none. Throws Error for a text of more than 32,767 UTF-16 code units: a position has 16 bits.
qint16 FindUnescapedComma(const QString& text);

QString RemoveBackslashes(const QString& text);

/// Return parts of a mailbox store's distinguished name: the store is the first component, the
/// storage group the second, the server the fourth, after the information store. Each throws Error
/// if the name has too few components.
QString GetStoreFromDN(const QString& dn);
QString GetGroupFromDN(const QString& dn);
QString GetServerFromDN(const QString& dn);

/// Returns "server:group\store", the full name that grid and lists show for a mailbox store.
QString MakeStoreFullName(const QString& server, const QString& group, const QString& store);

/// Returns the full name of the store with that distinguished name. Throws Error if it has too few
/// components.
QString StoreFullNameFromDN(const QString& dn);

/// The same for messages: returns the distinguished name itself if it has too few components.
QString shownStoreName(const QString& dn);

/// Returns true for the base name of a recovery storage group: `msExchESEParamBaseName`, the prefix
/// of its transaction logs, begins with a capital R.
bool isRecoveryBaseName(const QString& baseName);

/// Returns the registry form of a GUID: 38 characters, braced, in upper case.
QString GuidToString(const QUuid& guid);

/// Returns the GUID of an `objectGUID` value. Throws Error if it has fewer than 16 bytes.
QUuid OctetsToGuid(const platform::Value& value);

/// Returns its registry form. Throws Error for the same reason.
QString OctetGuidToString(const platform::Value& value);

} // namespace rehome::topology
