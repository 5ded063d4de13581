#include "main_window/batch_selection.h"

namespace rehome::main_window {

namespace {

/// What a store list shows.
QString picked(const QString& store) {
    return store.isEmpty() ? clickToSelect() : store;
}

} // namespace

BatchOrder BatchSelection::order() const {
    BatchOrder order = m_order;
    order.storeState = m_controls.comboStatus->Text();
    return order;
}

void BatchSelection::resetSource() {
    m_controls.comboSourceMBx->setEnabled(false);
    m_controls.comboStatus->setEnabled(false);
    m_order.SourceMode = Source::All;
    if (m_controls.rdoCriteria->isChecked())
        rdoCriteria_Click();
    else if (m_controls.rdoFromStore->isChecked())
        rdoFromStore_Click();
}

void BatchSelection::clearStores() {
    m_order.SourceStoreName.clear();
    m_order.DestStoreName.clear();
}

void BatchSelection::setSource(Source source) {
    m_order.SourceMode = source;
    m_controls.comboSourceMBx->setEnabled(source == Source::FromStore);
    m_controls.comboStatus->setEnabled(source == Source::Criteria);
}

void BatchSelection::comboSourceMBx_Click() {
    m_order.SourceStoreName = m_controls.comboSourceMBx->Text();
}

void BatchSelection::comboDestMBx_Click() {
    m_order.DestStoreName = m_controls.comboDestMBx->Text();
}

void BatchSelection::comboSourceMBx_TextDiscarded() {
    m_controls.comboSourceMBx->setText(picked(m_order.SourceStoreName));
}

void BatchSelection::comboDestMBx_TextDiscarded() {
    m_controls.comboDestMBx->setText(picked(m_order.DestStoreName));
}

} // namespace rehome::main_window
