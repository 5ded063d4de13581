#pragma once

#include "journal/terminal.h"
#include "platform/journal.h"

#include <QElapsedTimer>
#include <QString>

namespace rehome::journal {

/// One line at a terminal that shows progress while the window cannot paint. It is rewritten at
/// most four times a second, and erased at the end. Without a terminal there is no line. A stopped
/// terminal does not block.
class Progress {
public:
    explicit Progress(int stream);
    ~Progress() { erase(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    bool shown() const { return m_terminal.exists(); }
    void expect(platform::Work work, int mailboxes);
    void count(platform::Event event);
    /// Mailboxes listed so far.
    void countListed(int number);
    /// Shows what Rehome waits for; empty: nothing.
    void waitFor(const QString& what);
    /// Brings the line up to date if that is due.
    void update();
    void erase();
    /// To be called before anything else is written to the stream.
    void makeRoom();

private:
    QString text() const;

    Terminal m_terminal;
    bool m_drawn = false;
    QElapsedTimer m_sinceDrawn;
    QString m_awaited;
    platform::Work m_work = platform::Work::Moves;
    int m_expected = 0; ///< moves or openings, with those done; 0: not known
    int m_listed = 0;
    int m_moved = 0;
    int m_failed = 0;
    int m_opened = 0;
};

} // namespace rehome::journal
