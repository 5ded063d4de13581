#pragma once

#include <QString>

namespace rehome::journal {

/// Returns the text as a POSIX shell takes it for one word, quoted only if it must be.
QString shellWord(QString text);

} // namespace rehome::journal
