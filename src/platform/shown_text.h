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

/// What another computer said, for a description: at most 2,000 characters, and "…" at the end of
/// what was longer. To be called where such a text enters the description, so that our own words
/// after it, such as the remedy, stay whole.
QString remoteText(const QString& said);

} // namespace rehome::platform
