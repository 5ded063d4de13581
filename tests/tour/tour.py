#!/usr/bin/python3
"""Usage: tour.py PROGRAM PICTURES

The whole job from outside, on the organisation that ships: mailboxes are listed, moved one by one
and in batches, repopulated and summed up. A picture of each step is saved; the first thing that
differs from what it should be ends the tour."""

import json
import os
import re
import shutil
import sys
import tempfile

from desktop import Desktop, Program, agree, until, xdotool
from organisation import Organisation, full_name, guid_text

SHIPPED = os.path.join(os.path.dirname(os.path.abspath(__file__)),
                       "../../src/platform/embedded/organisation.ldif")
TITLE = "Rehome – REHEARSAL, nothing real is touched"
MESSAGE = "Rehome rehearsal"
PROMPT = "--- Click to Select ---"


class MainWindow:
    def __init__(self, desktop, expected, title, message, *command):
        self.desktop, self.expected, self.message = desktop, expected, message
        self.mailbox, self.store = expected.mailboxes[-1], full_name(expected.destination)
        self.program = Program(*command)
        window = self.program.window(title, role="filler")
        agree("the frames", [panel.name for panel in window.all("panel")],
              ["Migration Options", "Source of the migration", "Destination of the migration"])
        self.grid = window.one("table", "Mailboxes")
        self.status, self.source, self.destination, self.chooser = window.all("combo box")
        self.all, self.by_status, _ = window.all("radio button")
        self.move = window.one("push button", "Move the selected mailboxes")
        self.refresh = window.one("push button", "Refresh the list")

    def refreshed(self):
        """Waits for the end of whatever goes on, then compares all that the window shows."""
        until("Refresh and Move are enabled",
              lambda: self.move.has("SENSITIVE") and self.refresh.has("SENSITIVE"))
        agree("the grid", self.grid.cells(), [m.row for m in self.expected.mailboxes])
        self.chooser_shown()
        agree("All is chosen", self.all.has("CHECKED"), True)
        agree("the lists of stores", (self.source.name, self.destination.name), (PROMPT, PROMPT))

    def chooser_shown(self):
        """The store chooser covers the last row's store and shows it."""
        cell = self.grid.cell(len(self.expected.mailboxes) - 1, 2)
        until("the chooser stands over the last row", lambda: self.chooser.has("SHOWING") and all(
            abs(a - b) <= 1 for a, b in zip(self.chooser.area(), cell.area())))
        agree("the chooser's text", self.chooser.name, self.mailbox.row[1])

    def box(self, title, text, button=None, picture=None):
        """Answers a message box, having compared its text."""
        box = self.program.window(title)
        agree(f'the text of "{title}"', box.texts(), [text])
        until("the box has the focus", lambda: box.has("ACTIVE"))
        if picture:
            self.desktop.picture(picture)
        if button:
            box.one("push button", button).click()
        else:
            xdotool("key", "Return")
        until(f'"{title}" goes away', lambda: not self.program.windows(title, "dialog"))

    def choose(self, **answer):
        """Picks the destination for the last row, which is in view, and answers the question."""
        self.chooser_shown()
        self.chooser.pick(self.store)
        self.box(" Move Mailbox ", f"Are you sure you want to move {self.mailbox.name} from \n"
                 f"-> {self.mailbox.row[1]}\n\t\t- TO -\n-> {self.store}", **answer)

    def moved(self, mailboxes, title, text, picture):
        self.expected.move(mailboxes)
        self.box(title, text)
        self.refreshed()
        self.desktop.picture(picture)

    def progress(self):
        """Repopulated, in all, and seconds elapsed, as the dialog shows them."""
        texts = self.program.window("Mailbox drop & recreation status").texts()
        agree("the dialog's fixed texts", texts[:2] + texts[3:6:2],
              ["Please wait, repopulating mailboxes to Exchange store...", "Repopulated:", "Of",
               "Elapsed time:"])
        return int(texts[2]), int(texts[4]), int(texts[6][-2:])

    def restored(self):
        """The directory holds every moved mailbox at its new home, under its old addresses."""
        kept = {guid_text(r["objectguid"][0]): r for r in self.program.directory()
                if "mailnickname" in r}
        for mailbox in self.expected.moved:
            user = kept[mailbox.guid]
            agree(f"{mailbox.name} in the directory",
                  (user["homemdb"], user["mail"], user.get("proxyaddresses", [])),
                  ([mailbox.home], [mailbox.mail], mailbox.proxies))


def moves_one(main):
    main.refreshed()
    main.desktop.picture("main-window")
    main.choose(button="No", picture="confirm")
    until("the chooser is hidden", lambda: not main.chooser.has("SHOWING"))
    main.desktop.picture("answered-no")
    main.grid.cell(len(main.expected.mailboxes) - 1, 1).click()
    main.choose()
    main.moved([main.mailbox], "Mailbox move", "MailBox moved successfully", "moved-one")


def moves_batch(main, state):
    xdotool("key", "alt+m")
    main.box(main.message, "Please Select the Destination MailStore")
    main.by_status.click()
    until("the list of states is enabled", lambda: main.status.has("SENSITIVE"))
    main.status.pick(state)
    main.destination.pick(main.store)
    until("the store is picked", lambda: main.destination.name == main.store)
    xdotool("key", "alt+m")
    main.box(" Move Mailbox ",
             f"Are you Sure You want to Move selected MailBoxes to -\n\n-> {main.store}")
    qualified = [m for m in main.expected.mailboxes if m.state == state]
    main.moved(qualified, main.message, f"{len(qualified)} MailBoxes Moved Successfully",
               f"moved-{state.lower()}")


def exits(main):
    moved = main.expected.moved
    xdotool("key", "alt+x")
    if slow := sum(m.slow for m in moved):
        until("all but the slow mailboxes are repopulated",
              lambda: main.progress()[:2] == (len(moved) - slow, len(moved)))
        main.desktop.picture("repopulation")
    box = main.program.window("Moved Mailboxes", seconds=60)
    agree("the summary", box.texts(), ["The following mailboxes were moved :\t\n"
                                       + "".join(f"\n\t{m.mail}" for m in moved)])
    main.desktop.picture("summary")
    if any(m.policy for m in moved):
        main.restored()
    box.one("push button", "OK").click()
    # What was written down before each drop, and nothing else.
    drops = [json.loads(line.removeprefix("drop ")) for line in main.program.ended(0)]
    agree("the drops", [{name: drop[name] for name in main.mailbox.drop} for drop in drops],
          main.expected.drops)


def closes_by_title_bar(desktop, program, ldif):
    """The repopulation goes on whoever has the focus, and is not left by Escape."""
    file = os.path.join(desktop.directory, "practice.ldif")
    with open(file, "w", encoding="utf-8") as stream:
        stream.write(re.sub(r"(rehomeOpensAfter): \d+", r"\1: never", ldif))
    main = MainWindow(desktop, Organisation(ldif), TITLE + " (practice.ldif)", MESSAGE, program,
                      file)
    moves_batch(main, "Unreachable")

    def elapses():
        before = main.progress()[2]
        until("time elapses", lambda: main.progress()[2] > before)
    xdotool("key", "alt+F4")
    elapses()
    xdotool("key", "Escape")
    refuses(desktop, MESSAGE, "Too many arguments", program, file, file, meanwhile=elapses)
    xdotool("key", "alt+F4")
    main.program.window("Moved Mailboxes")
    desktop.picture("closed-by-title-bar")
    xdotool("key", "Return")
    main.program.ended(0)


def refuses(_, title, reason, *command, meanwhile=lambda: None):
    refused = Program(*command)
    box = refused.window(title)
    until("the box has the focus", lambda: box.has("ACTIVE"))
    text, = box.texts()
    agree(f'"{reason}" is in the message "{text}"', reason in text, True)
    meanwhile()
    xdotool("key", "Return")
    agree("the standard error stream", refused.ended(1), [text])


def tour(desktop, program):
    with open(SHIPPED, encoding="utf-8") as stream:
        ldif = stream.read()
    main = MainWindow(desktop, Organisation(ldif), TITLE, MESSAGE, program)
    moves_one(main)
    moves_batch(main, "Offline")
    moves_batch(main, "Unreachable")
    moved = main.expected.moved
    agree("addresses change and mailboxes are slow",
          (any(m.policy for m in moved), any(m.slow for m in moved)), (True, True))
    exits(main)
    closes_by_title_bar(desktop, program, ldif)


def run(steps, pictures, *arguments):
    shutil.rmtree(pictures, ignore_errors=True)
    os.makedirs(pictures)
    with tempfile.TemporaryDirectory(prefix="rehome-tour-") as directory:
        desktop = Desktop(directory, pictures)
        try:
            steps(desktop, *arguments)
        except Exception:
            desktop.picture("failed")
            print(f"THE TOUR FAILED; the last picture in {pictures} shows the screen.")
            raise
    print(f"The tour is over; its pictures are in {pictures}")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    run(tour, os.path.abspath(sys.argv[2]), os.path.abspath(sys.argv[1]))
