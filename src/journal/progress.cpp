#include "journal/progress.h"

#include "platform/shown_text.h"

#include <QStringList>

namespace rehome::journal {

using platform::Event;

namespace {

constexpr qint64 Pause = 250; ///< milliseconds between two rewritings

/// " of " and the number; empty if it is not known.
QString of(int expected) {
    return expected > 0 ? QStringLiteral(" of %1").arg(expected) : QString();
}

} // namespace

Progress::Progress(int stream) : m_terminal(stream) {
}

void Progress::expect(platform::Work work, int mailboxes) {
    m_work = work;
    m_expected = mailboxes;
    m_opened = 0;
}

void Progress::count(Event event) {
    switch (event) {
    case Event::Created:
        ++m_moved;
        break;
    case Event::NotCreated:
    case Event::CreationUnanswered:
        ++m_failed;
        break;
    case Event::Opened:
        ++m_opened;
        break;
    case Event::Listed:
        m_listed = m_moved = m_failed = m_expected = 0;
        m_awaited.clear();
        erase();
        return;
    default:
        return;
    }
    update();
}

void Progress::countListed(int number) {
    m_listed = number;
    update();
}

void Progress::waitFor(const QString& what) {
    // Between two rounds the mailbox that was tried last is still waited for.
    if (m_work == platform::Work::Openings && !what.startsWith(QLatin1String("the mailbox ")))
        return;
    m_awaited = what;
    if (!what.isEmpty())
        update();
}

QString Progress::text() const {
    QStringList parts;
    const bool opening = m_work == platform::Work::Openings;
    if (m_moved + m_failed > 0 && !opening)
        parts += QStringLiteral("mailboxes moved: %1, failed: %2").arg(m_moved).arg(m_failed) +
                 of(m_expected);
    if (opening)
        parts += QStringLiteral("mailboxes opened: %1").arg(m_opened) + of(m_expected);
    if (m_listed > 0)
        parts += QStringLiteral("mailboxes listed: %1").arg(m_listed);
    else if (!m_awaited.isEmpty())
        parts += QStringLiteral("waiting for ") + m_awaited;
    return platform::shownText(parts.join(QStringLiteral("; ")));
}

void Progress::update() {
    if (!m_terminal.exists() || (m_sinceDrawn.isValid() && !m_sinceDrawn.hasExpired(Pause)))
        return;
    const QString line = text().left(m_terminal.columns() - 1);
    if (line.isEmpty())
        return;
    m_sinceDrawn.start();
    m_drawn = true;
    m_terminal.write("\r" + line.toUtf8() + "\x1b[K");
}

void Progress::erase() {
    if (m_drawn)
        m_terminal.write("\r\x1b[K");
    m_drawn = false;
}

void Progress::makeRoom() {
    if (m_terminal.isStream())
        erase();
}

} // namespace rehome::journal
