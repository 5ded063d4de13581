#pragma once

#include "platform/engine/observed_engine.h"

#include <QLoggingCategory>

namespace rehome::app {

/// "rehome.trace", off unless Qt's logging rules ask for it.
Q_DECLARE_LOGGING_CATEGORY(traceCategory)

/// Returns a call as one line: "session", "read NAME", "find BASE FILTER ATTRIBUTES", "modify NAME
/// ATTRIBUTE=VALUE,VALUE;…" ("+=" if values are added, "-=" if they are deleted), "server NAME",
/// "status NAME" or "open NAME"; then " at SERVER" if a domain controller is named.
QString traceText(const engine::Call& call);

/// Logs all calls, a line for each.
class Trace final : public engine::Observer {
public:
    void onStarted(int number, const engine::Call& call) override;
    void onEntry(int number, const QString& distinguishedName) override;
    void onFinished(int number, const QString& outcome) noexcept override;
};

} // namespace rehome::app
