#include "app/progress_observer.h"

#include "platform/engine/escape.h"

namespace rehome::app {

void ProgressObserver::asks(int call, const QString& text) {
    const QString verb = text.section(u' ', 0, 0);
    const QString object = text.section(u' ', 1);
    if (verb == QLatin1String("server"))
        m_progress.waitFor(QStringLiteral("the server ") + engine::firstValue(object));
    else if (verb == QLatin1String("open"))
        m_progress.waitFor(QStringLiteral("the mailbox of ") + engine::firstValue(object));
    else
        m_progress.waitFor(QStringLiteral("the directory"));
    // The one search that names this attribute in its filter.
    if (verb == QLatin1String("find") && object.contains(QLatin1String("(mailnickname=*)"))) {
        m_listing = call;
        m_listed = 0;
    }
}

void ProgressObserver::finds(int call, const QString&) {
    if (call == m_listing)
        m_progress.countListed(++m_listed);
}

void ProgressObserver::ends(int call, const QString&) noexcept {
    m_progress.waitFor({});
    if (call == m_listing) {
        m_listing = 0;
        m_progress.countListed(0);
    }
}

} // namespace rehome::app
