#include "app/trace.h"

namespace rehome::app {

Q_LOGGING_CATEGORY(traceCategory, "rehome.trace", QtWarningMsg)

namespace {

void write(int call, const QString& text) {
    qCDebug(traceCategory).noquote().nospace() << '#' << call << ' ' << text;
}

} // namespace

void Trace::asks(int call, const QString& text) {
    write(call, text);
}

void Trace::finds(int call, const QString& distinguishedName) {
    write(call, QStringLiteral("found ") + distinguishedName);
}

void Trace::ends(int call, const QString& how) noexcept {
    write(call, how);
}

} // namespace rehome::app
