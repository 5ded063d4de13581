#pragma once

#include "platform/desktop.h"
#include "platform/engine/observed_engine.h"

namespace rehome::app {

/// Writes all that goes to and fro into a journal, a line for each with the time of day in
/// milliseconds, for whoever has to find out why the tool fails or is slow.
class Trace final : public engine::Observer {
public:
    /// The environment variable that asks for it, whatever its value.
    static constexpr const char* Variable = "REHOME_TRACE";

    /// The journal must outlive it.
    explicit Trace(platform::Journal& journal) : m_journal(journal) {}

    void asks(int call, const QString& text) override { write(call, text); }
    void finds(int call, const QString& distinguishedName) override;
    void ends(int call, const QString& how) noexcept override;

private:
    void write(int call, QString text);

    platform::Journal& m_journal;
};

} // namespace rehome::app
