#include "app/unlisted_line.h"

#include "platform/blocking_call.h"

#include <QSocketNotifier>
#include <QTimer>

namespace rehome::app {

namespace {

void tell(Application& application, const QString& text) {
    application.journal().Tell(platform::Event::Remark, text, {});
}

/// A failure costs the line and nothing else.
template <class Step>
void attempt(Application& application, Step step) {
    try {
        step();
    } catch (const std::exception& error) {
        tell(application, QStringLiteral("not listed: could not be counted: ") + describe(error));
    }
}

void begin(Application& application, const std::function<QString()>& summary) {
    const auto call = std::make_shared<platform::BlockingCall<QString>>(summary);
    auto* ended = new QSocketNotifier(call->descriptor(), QSocketNotifier::Read, &application);
    QObject::connect(ended, &QSocketNotifier::activated, &application, [&application, call, ended] {
        ended->setEnabled(false); // the descriptor stays readable
        ended->deleteLater();
        attempt(application, [&] {
            tell(application, call->await(QDeadlineTimer(0), nullptr).value_or(QString()));
        });
    });
}

} // namespace

void logUnlisted(Application& application, std::function<QString()> summary) {
    QTimer::singleShot(0, &application, [&application, summary = std::move(summary)] {
        if (!application.Ending()) // otherwise the window could not be loaded
            attempt(application, [&] { begin(application, summary); });
    });
}

} // namespace rehome::app
