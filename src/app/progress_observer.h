#pragma once

#include "journal/progress.h"
#include "platform/engine/observed_engine.h"

namespace rehome::app {

/// Shows the current call in the progress line at the terminal.
class ProgressObserver final : public engine::Observer {
public:
    /// `progress` must outlive it.
    explicit ProgressObserver(journal::Progress& progress) : m_progress(progress) {}

    void onStarted(int number, const engine::Call& call) override;
    void onEntry(int number, const QString& distinguishedName) override;
    void onFinished(int number, const QString& outcome) noexcept override;

private:
    journal::Progress& m_progress;
    int m_listing = 0; ///< the number of the search that lists the mailboxes; 0: none is under way
    int m_listed = 0;
};

} // namespace rehome::app
