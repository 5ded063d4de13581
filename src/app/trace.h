#pragma once

#include "platform/engine/observed_engine.h"

#include <QLoggingCategory>

namespace rehome::app {

/// "rehome.trace", off unless Qt's logging rules ask for it.
Q_DECLARE_LOGGING_CATEGORY(traceCategory)

/// Logs all that goes to and fro, a line for each, for whoever has to find out why the tool fails
/// or is slow.
class Trace final : public engine::Observer {
public:
    void asks(int call, const QString& text) override;
    void finds(int call, const QString& distinguishedName) override;
    void ends(int call, const QString& how) noexcept override;
};

} // namespace rehome::app
