#!/usr/bin/python3
"""Usage: tour.py PROGRAM PICTURES

The whole job from outside, on the organisation that ships: mailboxes are listed, moved one by one
and in batches, repopulated and summed up. A picture of each step is saved; the first thing that
differs from what it should be ends the tour."""

import json
import os
import signal
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
        self.stores = self.expected.local_stores()
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
        agree("the grid", self.grid.cells(), self.expected.rows())

    def refreshed(self):
        self.idle()
        self.chooser_over(len(self.expected.mailboxes) - 1)
        agree("All is chosen", self.all.has("CHECKED"), True)
        agree("the lists of stores", (self.source.name, self.destination.name), (PROMPT, PROMPT))
        agree("the source lists are enabled", (self.source.sensitive, self.status.sensitive),
              (False, False))

    def last(self, fits=lambda mailbox: True):
        """The last row that fits: after a refresh the last rows are in view."""
        return max(row for row, m in enumerate(self.expected.mailboxes) if fits(m))

    def chooser_over(self, row):
        """The store chooser covers the row's store and shows it."""
        def covers():
            cell = self.grid.cell(row, 2).area()
            return self.chooser.showing and all(
                abs(a - b) <= 1 for a, b in zip(self.chooser.area(), cell))
        self.desktop.until(f"the chooser stands over row {row}", covers)
        agree("the chooser's text", self.chooser.name, self.expected.mailboxes[row].row[1])

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

    def moved_one(self, mailbox, store):
        print(f"moved: {mailbox.name} from {mailbox.row[1]} to {store}")
        self.expected.move([mailbox], store)
        self.box("Mailbox move", "MailBox moved successfully", key="Return")
        self.refreshed()

    def choose(self, row, store, **answer):
        """Picks a store for a row with the mouse and answers the question that follows."""
        self.grid.cell(row, 1).click()
        self.chooser_over(row)
        self.chooser.pick(store)
        mailbox = self.expected.mailboxes[row]
        self.box(" Move Mailbox ", f"Are you sure you want to move {mailbox.name} from \n"
                 f"-> {mailbox.row[1]}\n\t\t- TO -\n-> {store}", **answer)

    def enable(self, source, option):
        option.click()
        self.desktop.until("the option's list is enabled", lambda: source.sensitive)

    def batch(self, store, **answer):
        self.destination.pick(store)
        self.desktop.until("the store is picked", lambda: self.destination.name == store)
        self.desktop.keys("alt+m")
        self.box(" Move Mailbox ", "Are you Sure You want to Move selected MailBoxes to -\n\n-> "
                 + store, **answer)

    def moved_many(self, mailboxes, store, picture):
        print(f"moved to {store}: {', '.join(m.name for m in mailboxes)}")
        count = self.expected.move(mailboxes, store)
        self.box(self.message, f"{count} MailBoxes Moved Successfully", key="Return", picture=picture)
        self.refreshed()

    def repopulated(self):
        """How many are, and how many there are in all, as the dialog shows them."""
        texts = self.program.window("Mailbox drop & recreation status").texts()
        agree("the dialog's fixed texts", texts[:2] + texts[3:6:2],
              ["Please wait, repopulating mailboxes to Exchange store...", "Repopulated:", "Of",
               "Elapsed time:"])
        return int(texts[2]), int(texts[4])

    def summary(self):
        box = self.program.window("Moved Mailboxes", seconds=60)
        agree("the summary", box.texts(), ["The following mailboxes were moved :\t\n"
              + "".join(f"\n\t{mail}" for mail in self.expected.moved.values())])
        return box

    def finished(self):
        agree("the exit status", self.program.ended(), 0)
        drops = [line for line in self.program.errors() if line.startswith("drop ")]
        agree("all that was written to the standard error stream", self.program.errors(), drops)
        kept = [{name: value for name, value in json.loads(line[5:]).items()
                 if name in self.expected.drops[0]} for line in drops]
        agree("what was written down before each drop", kept, self.expected.drops)


def comes_up(main):
    main.refreshed()
    main.desktop.picture("main-window")


def moves_one(main):
    row, store = main.last(), main.stores[2]
    main.choose(row, store, button="No", picture="confirm")
    main.idle(chosen=False)
    main.choose(row, store, key="Return")
    main.moved_one(main.expected.mailboxes[row], store)


def moves_offline_batch(main):
    main.desktop.keys("alt+m")
    main.box(main.message, "Please Select the Destination MailStore", key="Return")
    main.enable(main.status, main.by_status)
    main.status.pick("Offline")
    main.batch(main.stores[0], key="Escape")
    main.idle()
    main.batch(main.stores[0], key="Return", picture="batch")
    offline = [m for m in main.expected.mailboxes if m.state == "Offline"]
    main.moved_many(offline, main.stores[0], "batch-moved")


def brings_the_lost_home(main):
    main.enable(main.status, main.by_status)
    main.status.pick("Unreachable")
    main.batch(main.stores[2], key="Return", picture="unreachable")
    lost = [m for m in main.expected.mailboxes if m.state == "Unreachable"]
    main.moved_many(lost, main.stores[2], "lost-server-home")


def exits(main):
    moved = [m for m in main.expected.mailboxes if m.guid in main.expected.moved]
    slow = sum(m.slow for m in moved)
    agree("addresses change and mailboxes are slow", (any(m.policy for m in moved), slow > 0),
          (True, True))
    main.desktop.keys("alt+x")
    main.desktop.until("all but the slow mailboxes are repopulated",
                       lambda: main.repopulated() == (len(moved) - slow, len(moved)))
    main.desktop.picture("repopulation")
    box = main.summary()
    main.desktop.picture("summary")
    box.one("push button", "OK").click()
    main.finished()


def refuses(desktop, title, reason, *command):
    refused = desktop.start(*command)
    box = refused.window(title)
    desktop.until("the box has the focus", lambda: box.has("ACTIVE"))
    text, = box.texts()
    if reason not in text:
        raise Differs(f'"{reason}" is not in the message "{text}"')
    desktop.keys("Return")
    agree("the exit status", refused.ended(), 1)
    agree("the standard error stream", refused.errors(), [text])


def tour(desktop, program):
    with open(SHIPPED, encoding="utf-8") as stream:
        main = MainWindow(desktop, Organisation(stream.read()), TITLE, MESSAGE, program)
    for step in (comes_up, moves_one, moves_offline_batch, brings_the_lost_home, exits):
        print(f"- {step.__name__.replace('_', ' ')}", flush=True)
        step(main)
    refuses(desktop, MESSAGE, "Too many arguments", program, SHIPPED, SHIPPED)


def run(steps, pictures, *arguments):
    def stop(*_):
        raise Differs("the tour was stopped, or takes too long")
    for reason in (signal.SIGALRM, signal.SIGTERM):
        signal.signal(reason, stop)
    signal.alarm(240)
    with Desktop(pictures) as desktop:
        try:
            steps(desktop, *arguments)
        except Exception as error:
            desktop.picture("failed")
            if not isinstance(error, Differs):
                traceback.print_exc()
            sys.exit(f"THE TOUR FAILED: {error}\nWhat is on the screen: {pictures}/failed.png")
    print(f"The tour is over; its pictures are in {pictures}")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    if not os.access(sys.argv[1], os.X_OK):
        sys.exit(f"There is no program {sys.argv[1]}; build the preset release.")
    run(tour, os.path.abspath(sys.argv[2]), os.path.abspath(sys.argv[1]))
