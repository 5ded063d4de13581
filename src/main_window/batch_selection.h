#pragma once

#include "main_window/controls.h"

namespace rehome::main_window {

/// Where a batch move takes its mailboxes from.
enum class Source : qint16 {
    All = 1,      ///< every listed mailbox
    Criteria = 2, ///< those whose store is in a given state
    FromStore = 3 ///< those of a given store
};

/// What a batch move is to do.
struct BatchOrder {
    Source SourceMode = Source::All;
    QString storeState;      ///< for Source::Criteria
    QString SourceStoreName; ///< the store picked last, for Source::FromStore; empty: none
    QString DestStoreName;   ///< the destination picked last; empty: none
};

/// The choices in the frame "Migration Options".
class BatchSelection {
public:
    /// `controls` must outlive it.
    explicit BatchSelection(Controls& controls) : m_controls(controls) {}

    /// The order as it is selected now.
    BatchOrder order() const;
    /// Disables the lists of sources, then makes the checked source count. The option buttons stay
    /// as they are.
    void resetSource();
    /// Afterwards no store is picked, whatever the lists show.
    void clearStores();

    void rdoALL_Click() { setSource(Source::All); }
    void rdoCriteria_Click() { setSource(Source::Criteria); }
    void rdoFromStore_Click() { setSource(Source::FromStore); }
    void comboSourceMBx_Click();
    void comboDestMBx_Click();
    void comboSourceMBx_TextDiscarded();
    void comboDestMBx_TextDiscarded();

private:
    void setSource(Source source);

    Controls& m_controls;
    BatchOrder m_order; ///< its storeState is in comboStatus
};

} // namespace rehome::main_window
