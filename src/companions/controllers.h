#pragma once

#include "platform/engine/engine.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

namespace rehome::companions {

/// What is read of a domain controller's root object to say how it is.
QStringList controllerAttributes();

/// How a domain controller is by its root object, in a few words: version, whether it can be
/// written to and is synchronised, and how far its clock is from `now`.
QString controllerState(const engine::Entry& root, const QDateTime& now);

} // namespace rehome::companions
