#pragma once

#include "platform/value.h"

#include <QByteArray>
#include <QString>
#include <QUuid>

namespace rehome::topology {

/// The 1-based position of the first comma that no backslash stands right before, 0 if there is
/// none. Throws Error for a text of more than 32,767 units, beyond which positions do not reach.
qint16 FindUnescapedComma(const QString& text);

QString RemoveBackslashes(const QString& text);

/// The names that a mailbox store's distinguished name holds: the store is its first component, the
/// storage group the second, the server the fourth, behind the information store. Each throws Error
/// where the name has too few components.
QString GetStoreFromDN(const QString& dn);
QString GetGroupFromDN(const QString& dn);
QString GetServerFromDN(const QString& dn);

/// "server:group\store", the text by which grid and lists name a mailbox store.
QString MakeStoreFullName(const QString& server, const QString& group, const QString& store);

/// The same of the store with that distinguished name. Throws Error where it has too few
/// components.
QString StoreFullNameFromDN(const QString& dn);

/// The same to show to a person; the name itself if it has too few components.
QString shownStoreName(const QString& dn);

/// True for the base name of a recovery storage group: `msExchESEParamBaseName`, the prefix of its
/// transaction logs, begins with a capital R.
bool isRecoveryBaseName(const QString& baseName);

/// The registry form of a GUID: 38 characters, braced, in capitals.
QString GuidToString(const QUuid& guid);

/// The GUID of an `objectGUID` value. Throws Error where it is not 16 bytes or more.
QUuid OctetsToGuid(const platform::Value& value);

/// Its registry form. Throws Error likewise.
QString OctetGuidToString(const platform::Value& value);

} // namespace rehome::topology
