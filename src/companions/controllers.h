#pragma once

#include "platform/engine/engine.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

namespace rehome::companions {

/// The attributes of a rootDSE that controllerState() uses.
QStringList controllerAttributes();

/// Describes a domain controller from its rootDSE, in a few words: functional level, whether it is
/// writable and synchronised, and how far its clock is from `now`.
QString controllerState(const engine::Entry& root, const QDateTime& now);

} // namespace rehome::companions
