#pragma once

#include "journal/progress.h"
#include "platform/engine/observed_engine.h"

namespace rehome::app {

/// Keeps the line at the terminal in step with what is asked of the directory and of Exchange.
class ProgressObserver final : public engine::Observer {
public:
    /// `progress` must outlive it.
    explicit ProgressObserver(journal::Progress& progress) : m_progress(progress) {}

    void asks(int call, const QString& text) override;
    void finds(int call, const QString& distinguishedName) override;
    void ends(int call, const QString& how) noexcept override;

private:
    journal::Progress& m_progress;
    int m_listing = 0; ///< the call that lists the mailboxes, while it is under way
    int m_listed = 0;
};

} // namespace rehome::app
