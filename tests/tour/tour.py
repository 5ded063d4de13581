#!/usr/bin/python3
"""Usage: tour.py PROGRAM PICTURES

The whole job from outside, on the organisation that ships: mailboxes are listed, moved one by one
and in batches, repopulated and summed up. A picture of each step is saved; the first thing that
differs from what it should be ends the tour."""

import json
import os
import re
import sys
import traceback

from desktop import Desktop, Differs, agree
from organisation import Organisation

SHIPPED = os.path.join(os.path.dirname(os.path.abspath(__file__)),
                       "../../src/platform/embedded/organisation.ldif")
TITLE = "Rehome – REHEARSAL, nothing real is touched"
MESSAGE = "Rehome rehearsal"
PROMPT = "--- Click to Select ---"


class MainWindow:
    def __init__(self, desktop, expected, title, message, *command):
        self.desktop, self.expected, self.message = desktop, expected, message
        self.mailbox, self.last = expected.mailboxes[-1], len(expected.mailboxes) - 1
        self.store = expected.destination()
        self.program = desktop.start(*command)
        self.window = self.program.window(title, dialog=False)
        source = self.window.one("panel", "Source of the migration")
        destination = self.window.one("panel", "Destination of the migration")
        self.grid = self.window.one("table", "Mailboxes")
        self.chooser, = (w for w in self.window.children() if w.role == "combo box")
        self.status, self.source = source.all("combo box")
        self.destination, = destination.all("combo box")
        self.all, self.by_status, self.by_store = source.all("radio button")
        self.move = self.window.one("push button", "Move the selected mailboxes")
        self.refresh = self.window.one("push button", "Refresh the list")

    def idle(self, chosen=True):
        """Waits for the end of whatever goes on, then compares all that the window shows."""
        self.desktop.until("Refresh and Move are enabled", lambda: self.move.sensitive
                           and self.refresh.sensitive and self.chooser.showing == chosen)
        agree("the grid", self.grid.cells(), [m.row for m in self.expected.mailboxes])

    def refreshed(self):
        self.idle()
        self.chooser_shown()
        agree("All is chosen", self.all.has("CHECKED"), True)
        agree("the lists of stores", (self.source.name, self.destination.name), (PROMPT, PROMPT))

    def chooser_shown(self):
        """The store chooser covers the last row's store and shows it."""
        def covers():
            cell = self.grid.cell(self.last, 2).area()
            return self.chooser.showing and all(
                abs(a - b) <= 1 for a, b in zip(self.chooser.area(), cell))
        self.desktop.until("the chooser stands over the last row", covers)
        agree("the chooser's text", self.chooser.name, self.mailbox.row[1])

    def box(self, title, text, key=None, button=None, picture=None):
        """Answers a message box, having compared its text."""
        box = self.program.window(title)
        agree(f'the text of "{title}"', box.texts(), [text])
        self.desktop.until("the box has the focus", lambda: box.has("ACTIVE"))
        if picture:
            self.desktop.picture(picture)
        if button:
            box.one("push button", button).click()
        else:
            self.desktop.keys(key)
        self.desktop.until(f'"{title}" goes away', lambda: not self.program.showing(title, True))

    def choose(self, **answer):
        """Picks the destination for the last row, which is in view, and answers the question."""
        self.grid.cell(self.last, 1).click()
        self.chooser_shown()
        self.chooser.pick(self.store)
        self.box(" Move Mailbox ", f"Are you sure you want to move {self.mailbox.name} from \n"
                 f"-> {self.mailbox.row[1]}\n\t\t- TO -\n-> {self.store}", **answer)

    def batch(self):
        self.destination.pick(self.store)
        self.desktop.until("the store is picked", lambda: self.destination.name == self.store)
        self.desktop.keys("alt+m")
        self.box(" Move Mailbox ", "Are you Sure You want to Move selected MailBoxes to -\n\n-> "
                 + self.store, key="Return")

    def moved(self, mailboxes, title, text):
        print(f"moved to {self.store}: {', '.join(m.name for m in mailboxes)}")
        self.expected.move(mailboxes, self.store)
        self.box(title, text, key="Return")
        self.refreshed()

    def progress(self):
        """Repopulated, in all, and seconds elapsed, as the dialog shows them."""
        texts = self.program.window("Mailbox drop & recreation status").texts()
        agree("the dialog's fixed texts", texts[:2] + texts[3:6:2],
              ["Please wait, repopulating mailboxes to Exchange store...", "Repopulated:", "Of",
               "Elapsed time:"])
        return int(texts[2]), int(texts[4]), int(texts[6][-2:])

    def restored(self):
        """The directory holds every moved mailbox at its new home, under its old addresses."""
        kept = self.program.directory()
        for mailbox in self.expected.moved:
            agree(f"{mailbox.name} in the directory", kept[mailbox.guid],
                  (mailbox.home, mailbox.mail, mailbox.proxies))


def moves_one(main):
    main.refreshed()
    main.desktop.picture("main-window")
    main.choose(button="No", picture="confirm")
    main.idle(chosen=False)
    main.desktop.picture("answered-no")
    main.choose(key="Return")
    main.moved([main.mailbox], "Mailbox move", "MailBox moved successfully")
    main.desktop.picture("moved-one")


def moves_batch(main, state):
    main.desktop.keys("alt+m")
    main.box(main.message, "Please Select the Destination MailStore", key="Return")
    main.by_status.click()
    main.desktop.until("the list of states is enabled", lambda: main.status.sensitive)
    main.status.pick(state)
    main.batch()
    qualified = [m for m in main.expected.mailboxes if m.state == state]
    main.moved(qualified, main.message, f"{len(qualified)} MailBoxes Moved Successfully")
    main.desktop.picture(f"moved-{state.lower()}")


def exits(main):
    slow = sum(m.slow for m in main.expected.moved)
    main.desktop.keys("alt+x")
    if slow:
        count = len(main.expected.moved)
        main.desktop.until("all but the slow mailboxes are repopulated",
                           lambda: main.progress()[:2] == (count - slow, count))
        main.desktop.picture("repopulation")
    box = main.program.window("Moved Mailboxes", seconds=60)
    agree("the summary", box.texts(), ["The following mailboxes were moved :\t\n"
          + "".join(f"\n\t{m.mail}" for m in main.expected.moved)])
    main.desktop.picture("summary")
    if any(m.policy for m in main.expected.moved):
        main.restored()
    box.one("push button", "OK").click()
    agree("the exit status", main.program.ended(), 0)
    drops = [line for line in main.program.errors() if line.startswith("drop ")]
    agree("all that was written to the standard error stream", main.program.errors(), drops)
    kept = [{name: value for name, value in json.loads(line[5:]).items()
             if name in main.expected.drops[0]} for line in drops]
    agree("what was written down before each drop", kept, main.expected.drops)


def closes_by_title_bar(desktop, program, ldif):
    """The repopulation goes on whoever has the focus, and is not left by Escape."""
    file = os.path.join(desktop.directory, "practice.ldif")
    with open(file, "w", encoding="utf-8") as stream:
        stream.write(re.sub(r"(rehomeOpensAfter): \d+", r"\1: never", ldif))
    main = MainWindow(desktop, Organisation(ldif), TITLE + " (practice.ldif)", MESSAGE, program,
                      file)
    moves_batch(main, "Unreachable")
    desktop.keys("alt+F4")
    desktop.until("time elapses", lambda: main.progress()[2] > 0)
    desktop.keys("Escape")

    def elapses():
        before = main.progress()[2]
        desktop.until("time elapses", lambda: main.progress()[2] > before + 1)
    refuses(desktop, MESSAGE, "Too many arguments", program, file, file, meanwhile=elapses)
    elapses()
    desktop.keys("alt+F4")
    main.program.window("Moved Mailboxes")
    desktop.picture("closed-by-title-bar")
    desktop.keys("Return")
    agree("the exit status", main.program.ended(), 0)


def refuses(desktop, title, reason, *command, meanwhile=lambda: None):
    refused = desktop.start(*command)
    box = refused.window(title)
    desktop.until("the box has the focus", lambda: box.has("ACTIVE"))
    text, = box.texts()
    if reason not in text:
        raise Differs(f'"{reason}" is not in the message "{text}"')
    meanwhile()
    desktop.keys("Return")
    agree("the exit status", refused.ended(), 1)
    agree("the standard error stream", refused.errors(), [text])


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
    with Desktop(pictures) as desktop:
        try:
            steps(desktop, *arguments)
        except Exception as error:
            desktop.picture("failed")
            if not isinstance(error, Differs):
                traceback.print_exc()
            sys.exit(f"THE TOUR FAILED: {error}\nThe last picture in {pictures} shows the screen.")
    print(f"The tour is over; its pictures are in {pictures}")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    if not os.access(sys.argv[1], os.X_OK):
        sys.exit(f"There is no program {sys.argv[1]}; build the preset release.")
    run(tour, os.path.abspath(sys.argv[2]), os.path.abspath(sys.argv[1]))
