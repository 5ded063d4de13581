#include "journal/progress.h"

#include "platform/shown_text.h"

#include <QStringList>

#include <sys/ioctl.h>
#include <unistd.h>

namespace rehome::journal {

using platform::Event;

namespace {

constexpr qint64 Pause = 250; ///< milliseconds between two rewritings

int columnsOf(int terminal) {
    winsize size{};
    return ioctl(terminal, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

void put(int terminal, const QString& text) {
    const QByteArray bytes = text.toUtf8();
    static_cast<void>(!write(terminal, bytes.constData(), size_t(bytes.size())));
}

} // namespace

Progress::Progress(int stream) : m_stream(stream), m_terminal(isatty(stream) == 1) {
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
        m_listed = m_moved = m_failed = 0;
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
    m_awaited = what;
    if (!what.isEmpty())
        update();
}

QString Progress::text() const {
    QStringList parts;
    if (m_moved + m_failed > 0)
        parts += QStringLiteral("mailboxes moved: %1, failed: %2").arg(m_moved).arg(m_failed);
    if (m_opened > 0)
        parts += QStringLiteral("mailboxes opened: %1").arg(m_opened);
    if (m_listed > 0)
        parts += QStringLiteral("mailboxes listed: %1").arg(m_listed);
    else if (!m_awaited.isEmpty())
        parts += QStringLiteral("waiting for ") + m_awaited;
    return platform::shownText(parts.join(QStringLiteral("; ")));
}

void Progress::update() {
    if (!m_terminal || (m_sinceDrawn.isValid() && !m_sinceDrawn.hasExpired(Pause)))
        return;
    const QString line = text().left(columnsOf(m_stream) - 1);
    if (line.isEmpty())
        return;
    m_sinceDrawn.start();
    m_drawn = true;
    put(m_stream, QStringLiteral("\r") + line + QStringLiteral("\x1b[K"));
}

void Progress::erase() {
    if (m_drawn)
        put(m_stream, QStringLiteral("\r\x1b[K"));
    m_drawn = false;
}

} // namespace rehome::journal
