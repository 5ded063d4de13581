#include "main_window/source_choice.h"

namespace rehome::main_window {

Source checkedSource(const Controls& controls) {
    if (controls.rdoCriteria->isChecked())
        return Source::Criteria;
    return controls.rdoFromStore->isChecked() ? Source::FromStore : Source::All;
}

void setSource(Source source, State& state, Controls& controls) {
    state.SourceMode = source;
    controls.comboSourceMBx->setEnabled(source == Source::FromStore);
    controls.comboStatus->setEnabled(source == Source::Criteria);
}

} // namespace rehome::main_window
