#!/usr/bin/python3
"""Usage: bench.py [--short] PROGRAMS [PICTURE.svg]

Measures the tool against the directory's own commands and prints one line for each figure: name,
value, unit. PROGRAMS is the folder of rehome-bench-live and rehome-bench-rehearsal. --short: 500
users and no Samba, to see that everything still runs. README.md tells what the figures mean.
Fails if the domain controller was asked more often than the limits below allow."""
import os, pathlib, shutil, signal, statistics, subprocess, sys, tempfile, time

import faults, organisation, picture, slapd
from tool import Tool, alternate, timed

MISSING = 77  # the exit status by which a test says that it was skipped
SIZES = (1000, 4000, 16000, 32767)
SHORT_SIZES = (100, 500)
SERVER_COUNTS = (5, 20, 50, 100, 200)
SHORT_SERVER_COUNTS = (20, 200)
SERVER_USERS = 2000  # while servers are counted
PAGE = 1000
ROUND_TRIPS_MS = (0, 80)
# What must not be exceeded, on any machine.
REFRESH_REQUESTS = 10  # and its pages, however many servers there are
START_BINDS, REFRESH_BINDS = 1, 0
MOVE_ROUND_TRIPS, BATCH_ROUND_TRIPS = 4, 3  # of each move; of the first batch besides
SAMBA_USERS = 300
PAGES = ["-E", f"pr={PAGE}/noprompt"]
HERE = pathlib.Path(__file__).resolve().parent
SAMBA = HERE.parent / "tests/support/samba_directory.py"
FIRST, SECOND = organisation.Store(0, 0), organisation.Store(0, 1)


def figure(name, value, unit=""):
    print(f"{name} {value:.{2 if value < 100 else 0}f} {unit}".rstrip(), flush=True)


def bounded(name, value, most):
    """A count. Ends the bench if it is above: lost servers would then cost minutes."""
    figure(name, value)
    if value > most:
        sys.exit(f"{name} is {value:g}; it must not be above {most}.")


def ratio(name, own, command):
    """With the milliseconds that it comes from."""
    figure(name, own / command, f"({own:.0f} to {command:.0f} ms)")


class Bench:
    def __init__(self, programs, place, short):
        self.programs, self.place, self.short = programs, place, short
        self.sizes = SHORT_SIZES if short else SIZES
        self.largest = self.sizes[-1]
        self.moved = 20 if short else 1000
        self.movable = {size: min(self.moved, size) for size in self.sizes}
        self.rounds = 1 if short else 5
        self.server_counts = SHORT_SERVER_COUNTS if short else SERVER_COUNTS
        self.server_users = self.largest if short else SERVER_USERS
        self.mappers = faults.EndpointMappers()

    def live(self, server, mappers=None, uri=None, **more):
        return Tool(self.programs / "rehome-bench-live", mailboxes=server.count,
                    LDAPURI=uri or server.uri, LDAPSASL_MECH="EXTERNAL",
                    REHOME_BENCH_PORT=str((mappers or self.mappers).port),
                    REHOME_BENCH_USERS=organisation.USERS, last=" not listed", **more)


    def directory(self, size):
        return slapd.Directory(self.place / str(size), size, self.movable[size])

    # The list

    def refreshes(self, directory, paged, curves):
        with directory.serve(paged=paged) as server, self.live(server) as tool:
            search = ldapsearch(server.uri, paged)
            tool.refresh()
            rounds = self.rounds * (3 if directory.count < 10000 else 1)
            own, command = alternate(rounds, tool.refresh, lambda: timed(search))
            how = "paged" if paged else "unpaged"
            ratio(f"refresh_vs_ldapsearch_{how}_{directory.count}", own, command)
            for name, cost in ((f"Rehome, {how}", own), (f"ldapsearch, {how}", command)):
                curves.setdefault(name, {})[directory.count] = cost
            return tool.heap() if paged else None

    def start(self, name, server, **how):
        def start():
            with self.live(server, **how) as tool:
                return tool.started
        search = ldapsearch(how.get("uri", server.uri), True)
        ratio(name, *alternate(self.rounds, start, lambda: timed(search)))

    def longer(self, server):
        """What is only measured with all users: requests, growth, scrolling."""
        with self.live(server) as tool:
            asked = count_operations(server, tool.refresh)
            figure("abandons_per_refresh", asked["Abandon"])
            tool.refresh()
            two = tool.heap()
            for _ in range(8):
                tool.refresh()
            figure("growth_over_ten_refreshes", tool.heap() / two)
            frames = tool.ask("scroll", 20 if self.short else 400)["each"]
            figure("scroll_frame_ms", statistics.median(frames), "ms")

    # The moves

    def moves(self, server, rounds, *tools):
        """The milliseconds of each tool's batch, and of ldapmodify, which takes everybody back."""
        names = [organisation.user_name(number) for number in range(self.moved)]
        back = self.place / "back.ldif"
        back.write_text(organisation.moves(names, FIRST))
        modify = ["ldapmodify", "-Q", "-Y", "EXTERNAL", "-H", server.uri, "-f", back]

        def own(tool):
            tool.refresh()
            elapsed = tool.move(FIRST.shown, SECOND.shown, self.moved)
            check_homes(server.uri, SECOND, self.moved)
            return elapsed

        def command():
            elapsed = timed(modify)
            check_homes(server.uri, FIRST, self.moved)
            return elapsed

        measures = [measure for tool in tools for measure in (lambda tool=tool: own(tool), command)]
        medians = alternate(rounds, *measures)
        return [*medians[::2], medians[1]]

    def round_trips(self, server):
        with self.live(server) as tool:
            refresh = count_operations(server, tool.refresh)
            both = count_operations(
                server, lambda: tool.move(FIRST.shown, SECOND.shown, self.moved))
            # The tool refreshes its list after a batch.
            trips = requests_in(both) - requests_in(refresh)
            figure("round_trips_per_move", trips / self.moved)
            bounded("round_trips_per_batch", trips - MOVE_ROUND_TRIPS * self.moved,
                    BATCH_ROUND_TRIPS)
            figure("abandons_per_move", (both["Abandon"] - refresh["Abandon"]) / self.moved)
            # And back, for who comes next.
            tool.move(SECOND.shown, FIRST.shown, self.moved)

    def all_moves(self, directory):
        with directory.serve(synced=False) as server:
            self.round_trips(server)
            with self.live(server) as tool, self.live(
                    server, record=self.place / "record") as recorder:
                own, recorded, command = self.moves(server, self.rounds, tool, recorder)
            ratio("move_vs_ldapmodify_nosync", own, command)
            figure("move_record_cost", (recorded - own) / self.moved, "ms")
        rounds = 1 if self.short else 3
        with directory.serve() as server, self.live(server) as tool:
            ratio("move_vs_ldapmodify_fsync", *self.moves(server, rounds, tool))

    # The servers

    def servers(self):
        curves, silent = {}, faults.EndpointMappers(half_silent=True)
        for count in self.server_counts:
            directory = slapd.Directory(
                self.place / f"servers-{count}", self.server_users, 0, count,
                host=lambda server: (faults.FIRST_HALF, faults.SECOND_HALF)[server % 2])
            with directory.serve() as server:
                own, command = self.refresh(f"refresh_vs_ldapsearch_{count}_servers", server)
                for name, cost in (("Rehome", own), ("ldapsearch", command)):
                    curves.setdefault(name, {})[count] = cost
                if count in SHORT_SERVER_COUNTS:
                    self.requests(server)
                    self.faulty(f"{count // 2}_of_{count}_silent", server, homes_online(
                        directory, lambda home: home.server % 2 == 0), mappers=silent)
                    self.distant(server)
        return curves

    def refresh(self, name, server, **how):
        search = ldapsearch(how.get("uri", server.uri), True)
        with self.live(server, **how) as tool:
            tool.refresh()
            own, command = alternate(self.rounds, tool.refresh, lambda: timed(search))
        ratio(name, own, command)
        return own, command

    def requests(self, server):
        """Counted by the server: the same on any machine."""
        def start():
            with self.live(server):
                pass
        first = count_operations(server, start)
        with self.live(server) as tool:
            again = count_operations(server, tool.refresh)
        count = server.directory.servers
        objects = count * (2 + organisation.STORES)  # server, group, stores
        pages = -(-server.count // PAGE) + -(-objects // PAGE)
        figure(f"requests_start_{count}_servers", requests_in(first))
        bounded(f"requests_refresh_{count}_servers", requests_in(again), REFRESH_REQUESTS + pages)
        bounded(f"binds_start_{count}_servers", first["Bind"], START_BINDS)
        bounded(f"binds_refresh_{count}_servers", again["Bind"], REFRESH_BINDS)

    def faulty(self, name, server, online, within=(), **how):
        """Seconds that are mostly waiting; `ldapsearch` in the same circumstances once."""
        command = timed([*within, *ldapsearch(server.uri, True)]) / 1000
        starts, refreshes = [], []
        for _ in range(min(3, self.rounds)):
            with self.live(server, online=online, within=within, **how) as tool:
                starts.append(tool.started)
                refreshes.append(tool.refresh())
        for kind, taken in (("start", starts), ("refresh", refreshes)):
            figure(f"{kind}_{name}", statistics.median(taken) / 1000,
                   f"s (ldapsearch: {command:.2f} s)")

    def distant(self, server):
        for round_trip in ROUND_TRIPS_MS:
            name = f"{server.directory.servers}_servers_at_{round_trip}_ms"
            with faults.Relay(self.place, server.socket, round_trip) as relay:
                self.start("start_vs_ldapsearch_" + name, server, uri=relay.uri)
                self.refresh("refresh_vs_ldapsearch_" + name, server, uri=relay.uri)

    def dead_name_server(self):
        directory = slapd.Directory(self.place / "names", self.server_users, 0,
                                    host=lambda server: f"exchange{server + 1:02}.bench.test")
        online = homes_online(directory, lambda home: home.server == 0)  # the local server's
        with directory.serve() as server:
            for own_name_known, name in ((True, ""), (False, "_own_name_unknown")):
                names = faults.DeadNameServer(self.place, own_name_known)
                if names.missing:
                    print(f"No figures with a dead name server: {names.missing} is missing.",
                          flush=True)
                    return
                self.faulty("dead_name_server" + name, server, online, names.within)

    # The rehearsal

    def rehearsal(self):
        category = "cn=Person," + organisation.SCHEMA
        contexts = "".join(f"namingContexts: {name}\n" for name in
                           (organisation.BASE, organisation.CONFIGURATION))
        objects = "".join([*organisation.configuration(), *organisation.users(
            self.largest, self.moved, category)])
        ldif, plain, db = (self.place / name for name in ("rehearsal.ldif", "plain.ldif", "x.ldb"))
        ldif.write_text(f"{organisation.root_object()}{contexts}rehomeLocalServer: "
                        f"{organisation.LOCAL}\n\n{objects}")
        plain.write_text(objects)
        search = ["ldbsearch", "-H", db, "-b", organisation.BASE, "-s", "sub",
                  organisation.FILTER.format(category), *organisation.ATTRIBUTES]

        def rehearse():
            return Tool(self.programs / "rehome-bench-rehearsal", ldif, mailboxes=self.largest)

        def read():
            with rehearse() as tool:
                return tool.first["begun"]

        def add():
            db.unlink(missing_ok=True)
            return timed(["ldbadd", "--nosync", "-H", db, plain])

        own, command = alternate(1 if self.short else 3, read, add)
        ratio("rehearsal_read_vs_ldbadd", own, command)
        with rehearse() as tool:
            own, command = alternate(1 if self.short else 3, tool.refresh, lambda: timed(search))
            ratio("rehearsal_refresh_vs_ldbsearch", own, command)
            figure("rehearsal_memory_mb", tool.peak_mb(), "MB")
            batch = tool.move(FIRST.shown, SECOND.shown, self.moved) / 1000
            figure("rehearsal_batch_1000_s", batch * 1000 / self.moved, "s")

    def run(self, drawing):
        curves, heaps = {}, {}
        for size in self.sizes:
            directory = self.directory(size)
            heaps[size] = self.refreshes(directory, True, curves)
            self.refreshes(directory, False, curves)
        least, most = self.sizes[0], self.sizes[-1]
        figure("refresh_bytes_per_mailbox", (heaps[most] - heaps[least]) / (most - least), "bytes")
        with directory.serve() as server:
            self.start("start_to_window_vs_ldapsearch", server)
            self.longer(server)
        self.all_moves(directory)
        by_servers = self.servers()
        self.dead_name_server()
        self.rehearsal()
        picture.draw(drawing, {"mailboxes": curves, "servers": by_servers})


def ldapsearch(uri, paged):
    return ["ldapsearch", "-Q", "-Y", "EXTERNAL", "-H", uri, "-LLL", *(PAGES if paged else []),
            "-b", organisation.BASE, organisation.FILTER.format("person"), *organisation.ATTRIBUTES]


def check_homes(uri, store, count):
    """Neither side's moves count unless they have happened."""
    found = subprocess.run(
        ["ldapsearch", "-Q", "-Y", "EXTERNAL", "-H", uri, "-LLL", "-b", organisation.BASE,
         f"(&(homeMDB={store.name})(msExchHomeServerName={store.legacy_server})"
         f"(homeMTA={store.agent})(msExchMailboxGuid=*))", "1.1"],
        capture_output=True, text=True, check=True).stdout.count("dn: ")
    if found != count:
        sys.exit(f"{found} mailboxes are on {store.name}, not {count}")


def count_operations(server, action):
    """What the server was asked meanwhile."""
    before = server.operations()
    between = server.operations()
    action()
    after = server.operations()
    return {kind: after[kind] - between[kind] - (between[kind] - before[kind]) for kind in after}


def homes_online(directory, is_online):
    """How many users' homes are."""
    homes = (organisation.home(user, 0, directory.servers) for user in range(directory.count))
    return sum(map(is_online, homes))


def requests_in(counts):
    """Those that the tool waits for."""
    return sum(count for kind, count in counts.items() if kind not in ("Abandon", "Unbind"))


# Over Samba

def samba_missing():
    if os.geteuid():
        return "root, for its ports"
    return next((name for name in ("samba", "samba-tool", "kinit") if not shutil.which(name)), None)


def samba_stage(programs):
    """Run by samba_directory.py, as whose client."""
    server = os.environ["REHOME_TEST_SERVER"]
    base = server[server.index("DC="):]
    group = "CN=Second Storage Group,CN=InformationStore," + server

    class Home:
        legacy_server = ("/o=Test Organisation/ou=First Administrative Group/cn=Configuration/"
                         "cn=Servers/cn=" + organisation.LOCAL)
        agent = "CN=Microsoft MTA," + server

        def __init__(self, name):
            self.name = f"CN={name},{group}"
            self.shown = f"{organisation.LOCAL}:Second Storage Group\\" + name.replace("\\", "")

    first, second = Home("Mailbox Store"), Home("Accounts\\, Sales")
    names = [f"CN=bench{number},OU=Staff,{base}" for number in range(SAMBA_USERS)]
    with tempfile.TemporaryDirectory() as place:
        people, back = pathlib.Path(place, "people.ldif"), pathlib.Path(place, "back.ldif")
        people.write_text("".join(
            organisation.record(
                name, ["user"], named=False, sAMAccountName=f"bench{number}",
                mailNickname=f"bench{number}", displayName=f"Bench {number}",
                mail=f"bench{number}@rehome.test",
                proxyAddresses=f"SMTP:bench{number}@rehome.test", mDBUseDefaults="TRUE",
                homeMDB=first.name, homeMTA=first.agent, msExchHomeServerName=first.legacy_server)
            for number, name in enumerate(names)))
        back.write_text(organisation.moves(names, first))
        command = ["-Q", "-N", "-Y", "GSSAPI", "-f"]
        timed(["ldapadd", *command, people])
        with Tool(programs / "rehome-bench-live") as tool:
            def own():
                tool.refresh()
                return tool.move(first.shown, second.shown, SAMBA_USERS)
            own_ms, command_ms = alternate(3, own, lambda: timed(["ldapmodify", *command, back]))
            ratio("move_vs_ldapmodify_samba", own_ms, command_ms)


def samba(programs):
    if absent := samba_missing():
        print(f"No figures over Samba: {absent} is missing.", flush=True)
        return
    done = subprocess.run(["setpriv", "--pdeathsig", "TERM", sys.executable, SAMBA, sys.executable,
                           __file__, "--over-samba", programs], capture_output=True, text=True)
    if done.returncode:
        sys.exit("The measurement over Samba failed:\n" + done.stdout + done.stderr)
    # kinit talks, too.
    print(*(line for line in done.stdout.splitlines() if line.startswith("move_")), sep="\n")


def main(arguments):
    short = "--short" in arguments
    over_samba = "--over-samba" in arguments
    arguments = [argument for argument in arguments if not argument.startswith("--")]
    if not arguments:
        sys.exit(__doc__)
    programs = pathlib.Path(arguments[0]).resolve()
    if over_samba:
        return samba_stage(programs)
    absent = [name for name in ("ldapsearch", "ldbadd", "ldbsearch") if not shutil.which(name)]
    absent += [] if os.access(slapd.PROGRAM, os.X_OK) else ["slapd"]
    if absent:
        print(f"Nothing is measured: {', '.join(absent)} is missing.")
        sys.exit(MISSING)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("The bench was ended."))
    start = time.monotonic()
    # On a disk: what a synced change costs is part of what is measured.
    folder = os.environ.get("TMPDIR", "/var/tmp")
    with tempfile.TemporaryDirectory(prefix="rehome-bench-", dir=folder) as place:
        place = pathlib.Path(place)
        drawing = pathlib.Path(arguments[1]) if len(arguments) > 1 else place / "cost.svg"
        Bench(programs, place, short).run(drawing)
    if not short:
        samba(programs)
    print(f"Taken in {time.monotonic() - start:.0f} seconds.")


if __name__ == "__main__":
    main(sys.argv[1:])
