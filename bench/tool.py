"""The tool's window, driven by rehome-bench-live or rehome-bench-rehearsal."""
import json, os, pathlib, statistics, subprocess, sys, time


def timed(command, **more):
    """Milliseconds, output to /dev/null."""
    start = time.perf_counter()
    done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, **more)
    elapsed = (time.perf_counter() - start) * 1000
    if done.returncode:
        sys.exit(f"{' '.join(map(str, command))} failed:\n{done.stderr.decode()}")
    return elapsed


def alternate(rounds, *measures):
    """The medians of what the measures return, taken in turns."""
    taken = [[measure() for measure in measures] for _ in range(rounds)]
    return [statistics.median(column) for column in zip(*taken)]


class Tool:
    """One running program. Its standard error stream, which carries the records of the moves, is in
    memory, unless `record` names a file. `mailboxes` are what it must list, all of them online or
    `online` of them. `within` begins the command that runs the program. `last` is in the last line
    that the start writes, perhaps after the list is painted: nothing is measured before it."""

    def __init__(self, program, *arguments, mailboxes=None, online=None, record=None, within=(),
                 last="", **environment):
        self.record = os.memfd_create("record") if record is None else os.open(
            record, os.O_RDWR | os.O_CREAT | os.O_APPEND, 0o600)
        start = time.perf_counter()
        self.process = subprocess.Popen(
            [*within, program, *map(str, arguments)], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            stderr=self.record, text=True, env={**os.environ, "QT_QPA_PLATFORM": "offscreen",
                                                **environment})
        self.first = self.answer()
        self.started = (time.perf_counter() - start) * 1000
        while last.encode() not in os.pread(self.record, 1 << 20, 0):
            if time.perf_counter() - start > 60:
                sys.exit(f'The start has not written "{last}".')
            time.sleep(0.01)
        self.rows = self.first["rows"]
        if mailboxes:
            expected = (mailboxes, mailboxes if online is None else online)
            found = (self.rows, self.ask("online")["online"])
            if found != expected:
                sys.exit("%d mailboxes are listed, %d of them online;" % found
                         + " these should be %d and %d." % expected)

    def answer(self):
        line = self.process.stdout.readline()
        if not line:
            os.lseek(self.record, 0, os.SEEK_SET)
            said = os.read(self.record, 1 << 20).decode(errors="replace")[-2000:]
            sys.exit(f"The tool has ended with {self.process.wait()}:\n{said}")
        return json.loads(line)

    def ask(self, *words):
        self.process.stdin.write("\t".join(map(str, words)) + "\n")
        self.process.stdin.flush()
        reply = self.answer()
        if reply["rows"] != self.rows:
            sys.exit(f"{words[0]}: {reply['rows']} mailboxes are listed, not {self.rows}")
        return reply

    def refresh(self):
        return self.ask("refresh")["ms"]

    def move(self, source, destination, count):
        reply = self.ask("move", source, destination)
        if reply["boxes"][1:] != [f"{count} MailBoxes Moved Successfully"]:
            sys.exit(f"The move of {count} mailboxes said: {reply['boxes']}")
        return reply["ms"]

    def heap(self):
        return self.ask("memory")["bytes"]

    def peak_mb(self):
        for line in pathlib.Path(f"/proc/{self.process.pid}/status").read_text().splitlines():
            if line.startswith("VmHWM:"):
                return int(line.split()[1]) / 1024
        sys.exit("The kernel does not tell the tool's memory.")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait()
        os.close(self.record)
