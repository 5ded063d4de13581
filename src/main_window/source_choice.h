#pragma once

#include "main_window/controls.h"
#include "main_window/state.h"

namespace rehome::main_window {

/// The source whose option button is checked.
Source checkedSource(const Controls& controls);

/// Makes a source count: the mode first, then which of the two lists can be used.
void setSource(Source source, State& state, Controls& controls);

} // namespace rehome::main_window
