#pragma once

#include "journal/progress.h"
#include "platform/interruption.h"

#include <functional>

namespace rehome::app {

/// SIGINT, SIGTERM and SIGHUP, which end the process when nothing is in the middle of being done.
/// There is one of these in a process.
class Signals final : public platform::Interruption {
public:
    /// `last` runs before the process is ended by the signal that came. `progress` must outlive it.
    Signals(std::function<void()> last, journal::Progress& progress);
    ~Signals() override;
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    int descriptor() const override;
    void checkpoint() override;
    bool held() const override { return m_holds > 0; }
    void waitFor(const QString& what) override;

    void hold() { ++m_holds; }
    /// Also a checkpoint.
    void release();
    /// What is held back comes through while this lives.
    class Suspension {
    public:
        explicit Suspension(Signals& signals);
        ~Suspension() { m_signals.m_holds = m_holds; }
        Suspension(const Suspension&) = delete;
        Suspension& operator=(const Suspension&) = delete;

    private:
        Signals& m_signals;
        int m_holds;
    };

private:
    std::function<void()> m_last;
    journal::Progress& m_progress;
    QString m_awaited;
    int m_holds = 0;
};

} // namespace rehome::app
