"""A desktop of its own with programs on it: read through the accessibility bus, driven by real
clicks and keys."""

import contextlib, os, re, statistics, tempfile, time
from pathlib import Path
from subprocess import DEVNULL, PIPE, Popen, run

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib


def agree(what, seen, expected):
    if seen != expected:
        raise AssertionError(f"{what}: expected\n    {expected!r}\nbut saw\n    {seen!r}")


def until(what, condition):
    """The first true result of the condition."""
    end = time.monotonic() + 60
    while time.monotonic() < end:
        # What is being read may just go away.
        with contextlib.suppress(GLib.Error):
            if result := condition():
                return result
        time.sleep(0.02)
    raise TimeoutError("waited 60 seconds in vain: " + what)


def start(*command, out=DEVNULL, err=DEVNULL):
    # Ends with the tour, also if that is killed.
    return Popen(("setpriv", "--pdeathsig", "TERM") + command, stdout=out, stderr=err, text=True)


def address(server):
    """A server that has been started, and where it can be reached, which it tells by itself."""
    process = start(*server.split(), out=PIPE)
    return process, process.stdout.readline().strip()


def xdotool(*command):
    run(["xdotool", *command], check=True)


class Desktop:
    WIDTH, HEIGHT = 1600, 1300
    SCALE = int(os.environ.get("REHOME_TOUR_SCALE", "1"))

    def __init__(self, directory, pictures):
        self.directory, self.pictures = directory, pictures
        # Nothing of the caller's session may decide what the tour sees.
        os.environ.update(HOME=directory, XDG_RUNTIME_DIR=directory, LC_ALL="C.UTF-8",
                          QT_QPA_PLATFORM="xcb", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1",
                          QT_SCALE_FACTOR=str(self.SCALE), AT_SPI_BUS_ADDRESS="")
        # The desktop is dark, and so is all that the window takes from it.
        os.environ.update(XDG_CURRENT_DESKTOP="KDE", KDE_SESSION_VERSION="5")
        theme = Path(directory, ".config/kdeglobals")
        theme.parent.mkdir()
        theme.write_text("".join(
            f"[Colors:{part}]\nBackgroundNormal=20,20,20\nForegroundNormal=235,235,235\n"
            for part in ("Button", "Selection", "Tooltip", "View", "Window")), encoding="utf-8")
        self.screen, number = address(
            f"Xvfb -displayfd 1 -screen 0 {self.WIDTH}x{self.HEIGHT}x24")
        os.environ["DISPLAY"] = ":" + number
        _, bus = address("dbus-daemon --session --print-address")
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = bus
        start("openbox", "--sm-disable")
        until("windows are managed", lambda: not run(
            ["xdotool", "get_num_desktops"], stdout=DEVNULL, stderr=DEVNULL).returncode)
        # What the windows show is read afresh each time.
        Atspi.get_desktop(0).set_cache_mask(Atspi.Cache.NONE)

    def picture(self, name):
        file = f"{self.pictures}/{len(os.listdir(self.pictures)) + 1:02}-{name}.png"
        # Without the empty desktop around the windows.
        run(["import", "-silent", "-window", "root", "-trim", "+repage", file], check=True)

    def legible(self, *widgets):
        """Compares what is behind the texts with what stands out most, as WCAG 2.1 has it."""
        seen = run(["import", "-silent", "-window", "root", "-colorspace", "Gray", "-depth", "8",
                    "gray:-"], check=True, stdout=PIPE).stdout
        for widget in widgets:
            x, y, width, height = widget.area()
            left = x + (20 * self.SCALE if widget.role == "radio button" else 3)
            octets = b"".join(seen[line * self.WIDTH + left:line * self.WIDTH + x + width - 3]
                              for line in range(y + 3, y + height - 3))
            ground, darkest, lightest = ((octet / 255) ** 2.2 + 0.05 for octet in (
                statistics.mode(octets), min(octets), max(octets)))
            contrast = max(ground / darkest, lightest / ground)
            if contrast < 4.5 or ground < 0.5:
                raise AssertionError(f'"{widget.name}": contrast {contrast:.1f} : 1 on {ground:.2f}')


class Program:
    """With what it writes to the standard error stream: a file, or a terminal."""

    def __init__(self, *command, terminal=False):
        self.errors, self.reader = tempfile.TemporaryFile(), None
        self.started = time.monotonic()
        if terminal:
            reading, writing = os.openpty()
            self.process = start(*command, err=writing)
            os.close(writing)
            self.reader = Popen(["cat"], stdin=reading, stdout=self.errors, stderr=DEVNULL)
        else:
            self.process = start(*command, err=self.errors)

    def age(self):
        return time.monotonic() - self.started

    def told(self):
        return os.pread(self.errors.fileno(), 1 << 24, 0).decode()

    def windows(self, title, role):
        return [window for program in Widget(Atspi.get_desktop(0)).children()
                if program.accessible.get_process_id() == self.process.pid
                for window in program.children()
                if (window.name, window.role) == (title, role) and window.has("SHOWING")]

    def window(self, title, role="dialog"):
        found = until(f'a window titled "{title}"', lambda: self.windows(title, role))[0]
        # A window that has promised to answer pings is killed while it works. Its class finds its icon.
        name = os.path.basename(os.readlink(f"/proc/{self.process.pid}/exe"))
        shown = run(["xdotool", "search", "--onlyvisible", "--pid", str(self.process.pid)],
                    check=True, stdout=PIPE, text=True).stdout.split()
        for window in shown:
            told = run(["xprop", "-id", window, "WM_PROTOCOLS", "WM_CLASS"], stdout=PIPE, text=True).stdout
            agree("the promises to the window manager, and the class: " + told,
                  ("WM_DELETE_WINDOW" in told, "PING" in told, f', "{name}"' in told),
                  (bool(told), False, bool(told)))
        agree("a window is shown", shown != [], True)
        return found

    def answer(self, title, text, key="Return", meanwhile=lambda: None):
        """Answers a message box, having compared its text."""
        box = self.window(title)
        agree(f'the text of "{title}"', box.texts(), [text])
        until("the box has the focus", lambda: box.has("ACTIVE"))
        meanwhile()
        xdotool("key", key)
        until(f'"{title}" goes away', lambda: not self.windows(title, "dialog"))

    def ended(self, status):
        """What remains on the standard error stream when it ends with the status."""
        agree("the exit status", self.process.wait(timeout=60), status)
        if not self.reader:
            return self.told()
        self.reader.wait(timeout=60)
        # A line is gone where the next one is written over it.
        told, lines = re.subn(r"\r[^\r\n\x1b]+\x1b\[K(?=\r)", "", self.told().replace("\r\n", "\n"))
        agree(f"{lines} rewritings are some, but no more than four a second",
              0 < lines <= 4 * self.age() + 1, True)
        return told.replace("\r\x1b[K", "")


class Widget:
    """One element of a window. Its name is what a screen reader says, mostly its text."""

    def __init__(self, accessible):
        self.accessible = accessible

    name = property(lambda self: self.accessible.get_name())
    # Newer toolkits call a push button a button.
    role = property(lambda self: self.accessible.get_role_name().removeprefix("push "))

    def has(self, state):
        return self.accessible.get_state_set().contains(getattr(Atspi.StateType, state))

    def area(self):
        box = self.accessible.get_extents(Atspi.CoordType.SCREEN)
        return tuple(Desktop.SCALE * side for side in (box.x, box.y, box.width, box.height))

    def children(self):
        return [Widget(child) for i in range(self.accessible.get_child_count())
                if (child := self.accessible.get_child_at_index(i))]

    def all(self, role):
        """Those of a role at any depth, in order; not inside tables and lists."""
        for child in self.children():
            if child.role == role:
                yield child
            if child.role not in ("table", "list"):
                yield from child.all(role)

    def texts(self):
        return [label.name for label in self.all("label")]

    def cell(self, row, column):
        return Widget(self.accessible.get_accessible_at(row, column))

    def cells(self):
        """A table's texts, row by row, without the narrow first column."""
        return [tuple(self.cell(row, column).name for column in (1, 2, 3))
                for row in range(self.accessible.get_n_rows())]

    def click(self, at=0.5):  # between its left edge, 0, and its right edge, 1
        x, y, width, height = self.area()
        xdotool("mousemove", str(x + int(at * width)), str(y + height // 2), "click", "1")

    def tab_to(self):
        for _ in range(15):
            if self.has("FOCUSED"):
                return
            xdotool("key", "Tab")
            time.sleep(0.05)
        raise AssertionError(f'"{self.name}" cannot be reached with the Tab key')

    def opened(self):
        items, = self.all("list")
        until(f'the list of "{self.name}" is open', lambda: items.has("SHOWING"))
        return items.children()

    def pick(self, text):
        """Opens a combo box and picks an item."""
        self.click(at=0.97)
        item, = (item for item in self.opened() if item.name == text)
        item.click()

    def pick_by_keys(self, text, meanwhile=lambda items: None):
        self.tab_to()
        xdotool("key", "alt+Down")
        items = self.opened()
        meanwhile(items)
        at = [item.name for item in items].index(text)
        xdotool("key", "Home", *["Down"] * at, "Return")
