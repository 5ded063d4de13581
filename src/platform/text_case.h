#pragma once

#include <QString>

namespace rehome::platform {

/// The text in capitals, each 16-bit unit mapped to one without regard to locale: "Straße" stays
/// apart from "STRASSE".
QString upperCase(const QString& text);

/// Whether they are the same in capitals.
bool areSameInCapitals(const QString& a, const QString& b);

} // namespace rehome::platform
