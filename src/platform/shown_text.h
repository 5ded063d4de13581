#pragma once

#include <QString>

namespace rehome::platform {

/// A name as people are to see it. Whoever may write a name into the directory could else hide
/// parts of it, turn its order round or print lines of their own, so each control character, line
/// or paragraph separator, formatting character and unpaired surrogate shows as U+FFFD. The
/// joiners U+200C and U+200D, which some scripts are spelt with, stay.
QString shownText(const QString& name);

/// The same for a whole message, whose tabs and line feeds stay.
QString shownMessage(const QString& text);

} // namespace rehome::platform
