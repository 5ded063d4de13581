#pragma once

class QWindow;

namespace rehome::app {

/// Takes the promise to answer pings (_NET_WM_PING) back from a window that is not shown yet: while
/// mailboxes are moved nothing is answered, and window managers then offer to kill the program.
/// Does nothing without an X server.
void promiseNoAnswers(const QWindow& window);

/// Lets windows repaint what a window that was closed has covered, and handles nothing else.
void showWhatWasCovered();

} // namespace rehome::app
