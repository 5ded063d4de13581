"""A desktop of its own with programs on it: read through the accessibility bus, driven by real
clicks and keys."""

import os
import re
import shutil
import subprocess
import tempfile
import time

from organisation import guid_text


class Differs(Exception):
    """What the window shows, or what the program does, is not what it should be."""


def agree(what, seen, expected):
    if seen != expected:
        raise Differs(f"{what}: expected\n    {expected!r}\nbut saw\n    {seen!r}")


class Desktop:
    """Stops its processes and removes its directories on leaving, whatever happened."""

    def __init__(self, pictures):
        self.pictures, self.taken, self.processes = pictures, 0, []

    def __enter__(self):
        self.directory = tempfile.mkdtemp(prefix="rehome-tour-")
        # Nothing of the caller's session may decide what the tour sees.
        os.environ.update(HOME=self.directory, XDG_RUNTIME_DIR=self.directory, LC_ALL="C.UTF-8",
                          QT_QPA_PLATFORM="xcb", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        for name in ("WAYLAND_DISPLAY", "XAUTHORITY", "QT_SCALE_FACTOR", "AT_SPI_BUS_ADDRESS"):
            os.environ.pop(name, None)
        shutil.rmtree(self.pictures, ignore_errors=True)
        os.makedirs(self.pictures)
        read, write = os.pipe()
        self._start("Xvfb", "-displayfd", str(write), "-screen", "0", "1024x768x24", "-nolisten",
                    "tcp", pass_fds=[write])
        os.close(write)
        with open(read) as numbers:
            os.environ["DISPLAY"] = ":" + numbers.readline().strip()
        bus = self._start("dbus-daemon", "--session", "--nofork", "--print-address",
                          stdout=subprocess.PIPE, text=True)
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().strip()
        self._start("openbox", "--sm-disable")
        # Only now, for these connect to the display and the bus of their environment.
        import gi
        gi.require_version("Atspi", "2.0")
        global Atspi, GLib
        from gi.repository import Atspi, GLib
        return self

    def __exit__(self, *_):
        for process in reversed(self.processes):
            process.terminate()
            try:
                process.wait(5)
            except subprocess.TimeoutExpired:
                process.kill()
        shutil.rmtree(self.directory, ignore_errors=True)

    def _start(self, *command, **options):
        silent = dict.fromkeys(("stdin", "stdout", "stderr"), subprocess.DEVNULL)
        # A tour that is killed takes what it started along.
        process = subprocess.Popen(["setpriv", "--pdeathsig", "TERM", *command],
                                   **(silent | options))
        self.processes.append(process)
        return process

    def start(self, *command):
        log = os.path.join(self.directory, f"{len(self.processes)}.log")
        with open(log, "w") as stderr:
            return Program(self, self._start(*command, stderr=stderr), log)

    def until(self, what, condition, seconds=15):
        """The first true result of the condition."""
        end = time.monotonic() + seconds
        while True:
            while GLib.MainContext.default().iteration(False):
                pass
            try:
                result = condition()
                if result:
                    return result
            except GLib.Error:
                pass  # what was being read has just gone away
            if time.monotonic() > end:
                raise Differs(f"waited {seconds} seconds in vain: {what}")
            time.sleep(0.02)

    def picture(self, name):
        self.taken += 1
        file = f"{self.pictures}/{self.taken:02}-{name}.png"
        subprocess.run(["import", "-silent", "-window", "root", file], check=True, timeout=20)

    def keys(self, *names):
        subprocess.run(["xdotool", "key", "--delay", "30", *names], check=True)

    def click(self, x, y):
        subprocess.run(["xdotool", "mousemove", str(x), str(y), "click", "1"], check=True)


class Program:
    def __init__(self, desktop, process, log):
        self.desktop, self.process, self.log = desktop, process, log

    def windows(self):
        root = Atspi.get_desktop(0)
        for i in range(root.get_child_count()):
            application = root.get_child_at_index(i)
            if application and application.get_process_id() == self.process.pid:
                # What it shows is read afresh each time.
                application.set_cache_mask(Atspi.Cache.NONE)
                return Widget(self.desktop, application).children()
        return []

    def showing(self, title, dialog):
        return [w for w in self.windows()
                if w.name == title and w.showing and (w.role == "dialog") == dialog]

    def window(self, title, seconds=15, dialog=True):
        return self.desktop.until(f'a window titled "{title}"',
                                  lambda: self.showing(title, dialog), seconds)[0]

    def ended(self):
        """The exit status, once the process has ended."""
        self.desktop.until("the process ends", lambda: self.process.poll() is not None)
        return self.process.returncode

    def directory(self):
        """Home, address and proxy addresses of each user by GUID. The rehearsal keeps its
        organisation in a file without a name; a copy of that is read."""
        import ldb
        files = (f"/proc/{self.process.pid}/fd/{n}"
                 for n in os.listdir(f"/proc/{self.process.pid}/fd"))
        file, = (f for f in files if re.search(r"/rehome-\w+ \(deleted\)$", os.readlink(f)))
        copy = os.path.join(self.desktop.directory, "directory.ldb")
        shutil.copyfile(file, copy)

        def texts(user, name):
            return [value.decode() for value in user.get(name, [])]
        return {guid_text(user["objectGUID"][0]):
                (*texts(user, "homeMDB"), *texts(user, "mail"), texts(user, "proxyAddresses"))
                for user in ldb.Ldb("tdb://" + copy).search(expression="(mailNickname=*)")}

    def errors(self):
        with open(self.log, encoding="utf-8") as stream:
            return [line.removeprefix("rehome: ").rstrip("\n") for line in stream
                    if line.startswith("rehome: ")]


class Widget:
    """One element of a window. Its name is what a screen reader says, mostly its text."""

    def __init__(self, desktop, accessible):
        self.desktop, self.accessible = desktop, accessible

    name = property(lambda self: self.accessible.get_name())
    role = property(lambda self: self.accessible.get_role_name())
    showing = property(lambda self: self.has("SHOWING"))
    sensitive = property(lambda self: self.has("SENSITIVE"))

    def has(self, state):
        return self.accessible.get_state_set().contains(getattr(Atspi.StateType, state))

    def area(self):
        box = self.accessible.get_extents(Atspi.CoordType.SCREEN)
        return box.x, box.y, box.width, box.height

    def children(self):
        found = (self.accessible.get_child_at_index(i)
                 for i in range(self.accessible.get_child_count()))
        return [Widget(self.desktop, child) for child in found if child]

    def all(self, role):
        """Those of a role at any depth, in order; not inside tables and lists."""
        for child in self.children():
            if child.role == role:
                yield child
            if child.role not in ("table", "list"):
                yield from child.all(role)

    def one(self, role, name):
        found = [widget for widget in self.all(role) if widget.name == name]
        agree(f'number of elements "{name}" ({role})', len(found), 1)
        return found[0]

    def texts(self):
        return [label.name for label in self.all("label")]

    def cells(self):
        """A table's texts, row by row, without the narrow first column."""
        rows, columns = self.accessible.get_n_rows(), self.accessible.get_n_columns()
        return [tuple(self.cell(row, column).name for column in range(1, columns))
                for row in range(rows)]

    def cell(self, row, column):
        return Widget(self.desktop, self.accessible.get_accessible_at(row, column))

    def click(self):
        x, y, width, height = self.area()
        self.desktop.click(x + width // 2, y + height // 2)

    def pick(self, text):
        """Opens a combo box and picks an item."""
        x, y, width, height = self.area()
        self.desktop.click(x + width - 10, y + height // 2)
        items = self.children()[0]
        self.desktop.until(f'the list of "{self.name}" is open', lambda: items.showing)
        item, = (item for item in items.children() if item.name == text)
        item.click()
