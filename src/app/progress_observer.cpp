#include "app/progress_observer.h"

#include "listing/mailbox_reader.h"
#include "platform/engine/escape.h"

namespace rehome::app {

void ProgressObserver::onStarted(int number, const engine::Call& call) {
    using Verb = engine::Call::Verb;
    if (call.verb == Verb::CheckServer)
        m_progress.waitFor(QStringLiteral("the server ") + engine::firstValue(call.object));
    else if (call.verb == Verb::OpenMailbox)
        m_progress.waitFor(QStringLiteral("the mailbox of ") + engine::firstValue(call.object));
    else
        m_progress.waitFor(QStringLiteral("the directory"));
    if (call.verb == Verb::Search && call.request.filter == listing::mailboxFilter()) {
        m_listing = number;
        m_listed = 0;
    }
}

void ProgressObserver::onEntry(int number, const QString&) {
    if (number == m_listing)
        m_progress.countListed(++m_listed);
}

void ProgressObserver::onFinished(int number, const QString&) noexcept {
    m_progress.waitFor({});
    if (number == m_listing) {
        m_listing = 0;
        m_progress.countListed(0);
    }
}

} // namespace rehome::app
