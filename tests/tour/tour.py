#!/usr/bin/python3
"""Usage: tour.py PROGRAM PICTURES [whole]

The main job from outside, on the organisation that ships, with a picture of each step, and a page of
them, index.html; "whole": what else happens to the windows, too. The first thing that differs from
what it should be ends the tour."""

import base64, os, re, shutil, socket, subprocess, sys, tempfile, time
from pathlib import Path

from desktop import Desktop, Program, Widget, agree, start, until, xdotool
from organisation import Mailbox, Organisation, full_name, records

SHIPPED = Path(__file__).parent / "../../src/platform/embedded/organisation.ldif"
TITLE = "Rehome – REHEARSAL, nothing real is touched"
MESSAGE = "Rehome rehearsal"
PROGRESS = "Mailbox drop & recreation status"


class MainWindow(Program):
    def __init__(self, desktop, expected, title, message, *command, **how):
        self.desktop, self.expected, self.message = desktop, expected, message
        self.mailbox, self.store = expected.mailboxes[-1], full_name(expected.destination)
        super().__init__(*command, **how)
        window = self.window(title, role="frame")
        agree("the names of the parts", [
            w.name for role in ("panel", "table", "button") for w in window.all(role)], [
                "Migration Options", "Source of the migration", "Destination of the migration",
                "Mailboxes", "Move the selected mailboxes", "Refresh the list", "Exit"])
        self.grid, = window.all("table")
        self.status, self.source, self.destination, self.chooser = window.all("combo box")
        self.options = list(window.all("radio button"))
        self.chosen = "All mailboxes"
        self.buttons = list(window.all("button"))
        self.labels = list(window.all("label"))

    def refreshed(self):
        """Waits for the end of whatever goes on, then compares all that the window shows."""
        until("the buttons are enabled", lambda: all(b.has("SENSITIVE") for b in self.buttons))
        agree("the grid", self.grid.cells(), [m.row for m in self.expected.mailboxes])
        store = self.grid.cell(len(self.expected.mailboxes) - 1, 2)
        until("the chooser shows the last row's store and covers it", lambda: (
            self.chooser.has("SHOWING"), self.chooser.name, self.chooser.area()) == (
            True, self.mailbox.row[1], store.area()))
        agree("what is chosen", [o.name for o in self.options if o.has("CHECKED")]
              + [c.name for c in (self.status, self.source, self.destination)],
              [self.chosen, "Offline", "--- Click to Select ---", "--- Click to Select ---"])
        agree("the lists to choose in", [c.has("SENSITIVE") for c in (self.status, self.source)],
              [self.chosen != "All mailboxes", False])

    def choose(self, pick=Widget.pick, **answer):
        """Picks the destination for the last row, which is in view, and answers the question."""
        pick(self.chooser, self.store)
        self.answer(" Move Mailbox ", f"Are you sure you want to move {self.mailbox.name} from \n"
                    f"-> {self.mailbox.row[1]}\n\t\t- TO -\n-> {self.store}", **answer)

    def moved(self, mailboxes, title, text, picture):
        self.expected.move(mailboxes)
        print(f"moved to {self.store}: {', '.join(m.name for m in mailboxes)}")
        self.answer(title, text, meanwhile=lambda: self.desktop.picture(picture))
        self.refreshed()

    def progress(self):
        return self.window(PROGRESS).texts()


def moves_one(main):
    """Once refused, with the mouse; then with the keyboard."""
    main.refreshed()
    main.desktop.picture("main-window")
    last = len(main.expected.mailboxes) - 1
    table = main.grid.accessible
    agree("the headings of the last row's cells", [table.get_row_header(last).get_name()] + [
        table.get_column_header(column).get_name() for column in (1, 2, 3)],
        [main.mailbox.name, "Mailbox Display Name", "Target Mail Store", "Store Status"])
    lists = (main.status, main.source, main.destination, main.chooser)
    agree("what the lists are for", [w.accessible.get_description() for w in lists],
          ["Store status", "Source mailstore", "Destination mailstore",
           "Target mail store of " + main.mailbox.name])
    main.desktop.legible(*main.options, *main.buttons, *main.labels,
                         *(text for w in lists for text in w.all("text")),
                         *(main.grid.cell(row, 1) for row in (last - 1, last)))
    main.choose(key="alt+n", meanwhile=lambda: main.desktop.picture("confirm"))
    until("the chooser is hidden", lambda: not main.chooser.has("SHOWING"))
    main.desktop.picture("answered-no")
    main.grid.tab_to()
    xdotool("key", "Up", "Down")
    main.refreshed()

    def look(items):
        main.desktop.picture("chooser")
        main.desktop.legible(*items)
    main.choose(lambda chooser, store: chooser.pick_by_keys(store, look))
    main.moved([main.mailbox], "Mailbox move", "MailBox moved successfully", "moved")


def moves_batch(main, state):
    """With the keyboard alone."""
    xdotool("key", "alt+m")
    main.answer(main.message, "Please Select the Destination MailStore")
    next(option for option in main.options if option.has("CHECKED")).tab_to()
    if not main.options[1].has("CHECKED"):
        xdotool("key", "Down")
    main.chosen = "Mailboxes having store status"
    main.status.pick_by_keys(state)
    main.destination.pick_by_keys(main.store)
    main.buttons[0].tab_to()
    xdotool("key", "Return")
    main.answer(" Move Mailbox ",
                f"Are you Sure You want to Move selected MailBoxes to -\n\n-> {main.store}")
    qualified = [m for m in main.expected.mailboxes if m.state == state]
    main.moved(qualified, main.message, f"{len(qualified)} MailBoxes Moved Successfully",
               "batch-result")


def by_guid(name):
    """A record's "<GUID=…>" as a distinguished name, which ldb can read."""
    return "dn: CN=" + base64.b64decode(name[1]).decode()[6:-1]


def exits(main, key="alt+x", picture="summary", slow=0, traced=False, meanwhile=lambda: None):
    moved = main.expected.moved
    xdotool("key", key)
    meanwhile()
    if slow:
        until("all but the slow mailboxes are repopulated", lambda: main.progress()[:-1] == [
            "Please wait, repopulating mailboxes to Exchange store...", "Repopulated:",
            str(len(moved) - slow), "Of", str(len(moved)), "Elapsed time:"])
        # Screen readers say a change of the window's description, but none of a label.
        agree("what is announced", main.window(PROGRESS).accessible.get_description(),
              f"Repopulated: {len(moved) - slow} Of {len(moved)}")
        main.desktop.picture("repopulation")
        main.desktop.legible(*main.window(PROGRESS).all("label"))
    main.answer("Moved Mailboxes", "The following mailboxes were moved :\t\n"
                + "".join(f"\n\t{m.mail}" for m in moved),
                meanwhile=lambda: main.desktop.picture(picture))
    told = main.ended(0)
    agree("creations in the trace", len(re.findall(r"^#.* rehome.trace .*homeMDB\+=CN=", told, re.M)),
          len(moved) if traced else 0)
    dropped = {r["dn"][0]: Mailbox(r | {"displayname": [""], "objectguid": [bytes(16)]}).entry
               for r in records(re.sub("^dn:: (PEdVSUQ9.*)", by_guid, told, flags=re.M))}
    named_by_guid = "dn:: PEdVSUQ9" in told
    agree("what was written down before each drop, and nothing else", dropped,
          {(guid if named_by_guid else dn): entry for dn, guid, entry in main.expected.drops})


def closes_by_title_bar(desktop, program, ldif):
    """The repopulation goes on whoever has the focus, and is not left by Escape."""
    file = Path(desktop.directory, "own.ldif")
    file.write_text(re.sub(r"(rehomeOpensAfter): \d+", r"\1: never", ldif), encoding="utf-8")
    main = MainWindow(desktop, Organisation(ldif), TITLE + " (own.ldif)", MESSAGE,
                      "env", "QT_LOGGING_RULES=rehome.trace=true", program, file, terminal=True)
    moves_batch(main, "Unreachable")

    def elapses():
        before = main.progress()
        until("time elapses", lambda: main.progress()[-1] > before[-1])
    xdotool("key", "alt+F4")
    elapses()
    xdotool("key", "Escape")
    refuses(desktop, MESSAGE, "gone.ldif", program, "gone.ldif", meanwhile=elapses)
    exits(main, "alt+F4", "closed-by-title-bar", traced=True)


def waits(desktop, program):
    """At a terminal one sees within a second what is waited for."""
    with socket.create_server(("127.0.0.1", 0)) as server:  # which never answers
        silent = "LDAPURI=ldaps://127.0.0.1:{1}".format(*server.getsockname())
        waiting = Program("env", silent, program, terminal=True)
        until("the directory is waited for",
              lambda: "\rwaiting for the directory\x1b[K" in waiting.told())
        agree(f"{waiting.age()} seconds are less than one", waiting.age() < 1, True)
        waiting.process.kill()
        terminal = start("env", silent, "PS1=$ ", f"PATH={Path(program).parent}:{os.environ['PATH']}",
                         "xterm", "-geometry", "72x3", "-fa", "Liberation Mono", "-fs",
                         str(10 * desktop.SCALE), "-T", "Terminal", "-e", "bash", "--norc")
        # A window that is just being framed may go away under the search.
        until("the terminal is there", lambda: not subprocess.run(
            ["xdotool", "search", "--onlyvisible", "--name", "^Terminal$", "windowactivate",
             "--sync"], stderr=subprocess.DEVNULL).returncode)
        xdotool("sleep", "1", "type", "rehome\n")
        time.sleep(1)
        desktop.picture("terminal")
        terminal.kill()


def loses_its_display(desktop, program, ldif):
    """What has become of the moved mailbox is told all the same."""
    main = MainWindow(desktop, Organisation(ldif), TITLE, MESSAGE, program)
    main.choose()
    main.window("Mailbox move")
    desktop.screen.kill()
    told = main.ended(1)
    agree("the moved mailboxes in " + told,
          re.findall(r"^# \S+ summary: (\S+) .*: moved; not opened; address", told, re.M),
          [main.mailbox.mail])


def refuses(_, title, reason, *command, meanwhile=lambda: None):
    refused = Program(*command)
    text, = refused.window(title).texts()
    agree(f'"{reason}" is in the message "{text}"', reason in text, True)
    refused.answer(title, text, meanwhile=meanwhile)
    agree("the standard error stream", refused.ended(1).splitlines()[-1][28:], text)


def main_job(desktop, program):
    ldif = SHIPPED.read_text(encoding="utf-8")
    main = MainWindow(desktop, Organisation(ldif), TITLE, MESSAGE, program)
    moves_one(main)
    moves_batch(main, "Offline")
    moves_batch(main, "Unreachable")
    exits(main, slow=1)


def whole(desktop, program):
    main_job(desktop, program)
    ldif = SHIPPED.read_text(encoding="utf-8")
    closes_by_title_bar(desktop, program, ldif)
    waits(desktop, program.removesuffix("-rehearsal"))
    loses_its_display(desktop, program, ldif)


def run(steps, pictures, *arguments):
    shutil.rmtree(pictures, ignore_errors=True)
    Path(pictures).mkdir(parents=True)
    with tempfile.TemporaryDirectory(prefix="rehome-tour-") as directory:
        desktop = Desktop(directory, pictures)
        try:
            steps(desktop, *arguments)
        except Exception:
            desktop.picture("failed")
            print(f"THE TOUR FAILED; the last picture in {pictures} shows the screen.")
            raise
    figures = (f'<figure><img src="{file.name}" alt=""><figcaption>{file.stem[3:].replace("-", " ")}'
               "</figcaption></figure>" for file in sorted(Path(pictures).glob("*.png")))
    Path(pictures, "index.html").write_text(
        '<!DOCTYPE html><html lang="en"><meta charset="utf-8"><title>A rehearsed recovery</title>'
        f"<h1>A rehearsed recovery</h1>{''.join(figures)}</html>\n", encoding="utf-8")


if __name__ == "__main__":
    if sys.argv[3:] not in ([], ["whole"]) or len(sys.argv) < 3 or not Path(sys.argv[1]).exists():
        sys.exit(__doc__)
    run(whole if sys.argv[3:] else main_job, sys.argv[2], sys.argv[1])
