#pragma once

#include "journal/recovery_file.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace rehome::companions {

/// The record that restores one user.
struct Choice {
    platform::RecoveryRecord record;
    QString user;      ///< as messages name the user: the address, and the GUID in braces
    QStringList notes; ///< what else the administrator should know, each a sentence
};

/// The first record of the user whom `wanted` names: an address in any letter case, or an
/// `objectGUID` with hyphens or as 32 hexadecimal digits, with or without braces. Throws Error if
/// there is no such user, or more than one, or the record must not be applied.
Choice chooseRecord(const QList<journal::FiledRecord>& filed, const QString& wanted);

} // namespace rehome::companions
