#pragma once

#include "platform/journal.h"

#include <QElapsedTimer>
#include <QString>

namespace rehome::journal {

/// One line at a terminal that says what is being done and how far it is, for whoever waits before
/// a window that cannot paint. Rewritten at most four times a second, and gone when it is over.
/// Nothing at all where the stream is no terminal.
class Progress {
public:
    explicit Progress(int stream);
    ~Progress() { erase(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    bool shown() const { return m_terminal; }
    void count(platform::Event event);
    /// Mailboxes listed so far.
    void countListed(int number);
    /// What an answer is awaited from; empty: nothing any more.
    void waitFor(const QString& what);
    /// Brings the line up to date where that is due.
    void update();
    void erase();

private:
    QString text() const;

    int m_stream;
    bool m_terminal;
    bool m_drawn = false;
    QElapsedTimer m_sinceDrawn;
    QString m_awaited;
    int m_listed = 0;
    int m_moved = 0;
    int m_failed = 0;
    int m_opened = 0;
};

} // namespace rehome::journal
