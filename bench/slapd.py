"""A private slapd on a socket of its own."""
import pathlib, shutil, signal, subprocess, sys, time, urllib.parse

import organisation

PROGRAM = "/usr/sbin/slapd"
MODULES = "/usr/lib/ldap"

TEXT = ("EQUALITY caseIgnoreMatch SUBSTR caseIgnoreSubstringsMatch "
        "SYNTAX 1.3.6.1.4.1.1466.115.121.1.15")
NAME = "EQUALITY distinguishedNameMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.12"
BYTES = "EQUALITY octetStringMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.40"
SWITCH = "EQUALITY booleanMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.7"
KINDS = {
    TEXT: "dc ou displayName legacyExchangeDN lDAPDisplayName mail mailNickname "
          "msExchESEParamBaseName msExchHomeServerName networkAddress objectCategory "
          "proxyAddresses sAMAccountName",
    NAME: "configurationNamingContext defaultNamingContext homeMDB homeMTA schemaNamingContext",
    BYTES: "msExchMailboxGuid objectGUID",
    SWITCH: "mDBUseDefaults msExchEDBOffline msExchHideFromAddressLists",
}
CLASSES = ("domain", "container", "organizationalUnit", "attributeSchema", "msExchExchangeServer",
           "mTA", "msExchStorageGroup", "msExchPrivateMDB", "person")
# What Active Directory has an index of, as far as the tool and its queries ask for it.
INDEXES = """index objectClass,objectCategory,lDAPDisplayName eq
index cn,name eq
index mailNickname,homeMDB,msExchHomeServerName,mail,proxyAddresses pres,eq
"""


def schema():
    # Numbers from OpenLDAP's arc for experiments: nothing but this server ever sees them.
    arc, lines = "1.3.6.1.4.1.4203.666.11.77", []
    names = [(name, kind) for kind, all_names in KINDS.items() for name in all_names.split()]
    for number, (name, kind) in enumerate(names):
        lines.append(f"attributetype ( {arc}.1.{number} NAME '{name}' {kind} )")
    may = " $ ".join([name for name, _ in names] + ["name", "distinguishedName"])
    for number, name in enumerate(CLASSES):
        lines.append(f"objectclass ( {arc}.2.{number} NAME '{name}' SUP top STRUCTURAL "
                     f"MAY ( cn $ {may} ) )")
    lines.append(f"objectclass ( {arc}.2.{len(CLASSES)} NAME 'user' SUP person STRUCTURAL )")
    return "\n".join(lines) + "\n"


class Directory:
    """A database with so many users, and an organisation as organisation.configuration() describes.
    Several servers may serve it, one after the other."""

    def __init__(self, place, count, movable, servers=organisation.SERVER_COUNT, **more):
        self.place, self.count, self.servers = pathlib.Path(place), count, servers
        (self.place / "db").mkdir(parents=True)
        # Debian confines the program where it is installed to directories of the distribution's.
        self.program = self.place.parent / "slapd"
        if not self.program.exists():
            shutil.copy(PROGRAM, self.program)
        (self.place / "root.ldif").write_text(organisation.root_object())
        with open(self.place / "all.ldif", "w") as ldif:
            ldif.writelines(organisation.configuration(servers, **more))
            ldif.writelines(organisation.users(count, movable, "person", servers))
        self.run("-Tadd", "-q", "-f", self.configure("load"), "-l", self.place / "all.ldif")
        (self.place / "all.ldif").unlink()

    def run(self, *arguments):
        done = subprocess.run([self.program, *arguments], capture_output=True, text=True)
        if done.returncode:
            sys.exit(f"slapd {arguments[0]} failed:\n{done.stderr}")

    def configure(self, name, paged=True, synced=True):
        path = self.place / (name + ".conf")
        # The tool reads a list in pages where the root object offers it.
        hidden = "" if paged else ('access to dn.base="" attrs=supportedControl by * none\n'
                                   'access to dn.base="" by * read\n')
        path.write_text(
            f"{schema()}modulepath {MODULES}\nmoduleload back_mdb\nmoduleload back_monitor\n"
            f"pidfile {self.place}/{name}.pid\nrootDSE {self.place}/root.ldif\n"
            f"loglevel 0\nsizelimit unlimited\n{hidden}"
            f'database mdb\nsuffix "{organisation.BASE}"\ndirectory {self.place}/db\n'
            f"maxsize {1 << 30}\nlimits * size.prtotal=unlimited size.pr=unlimited\n"
            f"access to * by * write\n{INDEXES}{'' if synced else 'dbnosync'}\n"
            "database monitor\naccess to * by * read\n")
        return path

    def serve(self, **how):
        return Server(self, "-".join(key for key, on in how.items() if not on) or "plain", how)


class Server:
    def __init__(self, directory, name, how):
        self.directory, self.count = directory, directory.count
        self.socket = directory.place / (name + ".socket")
        self.uri = "ldapi://" + urllib.parse.quote(str(self.socket), safe="")
        configuration = directory.configure(name, **how)
        self.log = open(directory.place / (name + ".log"), "w+")
        # -d keeps it in the foreground. By default it tells the system's log of each operation,
        # which costs time and may block.
        self.process = subprocess.Popen(
            [directory.program, "-d", "none", "-s", "0", "-f", configuration, "-h", self.uri],
            stderr=self.log, preexec_fn=end_with_parent)
        for _ in range(200):
            if self.process.poll() is not None:
                break
            if self.socket.exists() and not subprocess.run(
                    ["ldapwhoami", "-Q", "-Y", "EXTERNAL", "-H", self.uri], capture_output=True
                    ).returncode:
                return
            time.sleep(0.05)
        self.log.seek(0)
        sys.exit("slapd does not start:\n" + self.log.read())

    def operations(self):
        """How many of each kind the server was asked, by its own count, the count of this answer
        left out."""
        done = subprocess.run(
            ["ldapsearch", "-Q", "-Y", "EXTERNAL", "-H", self.uri, "-LLL", "-b",
             "cn=Operations,cn=Monitor", "-s", "one", "cn", "monitorOpInitiated"],
            capture_output=True, text=True, check=True)
        counts = {}
        for entry in done.stdout.split("\n\n"):
            values = dict(line.split(": ", 1) for line in entry.splitlines() if ": " in line)
            if values:
                counts[values["cn"]] = int(values["monitorOpInitiated"])
        return counts

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        try:
            self.process.wait(30)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        self.log.close()


def end_with_parent():
    """No server outlives the bench, however that ends."""
    import ctypes
    ctypes.CDLL(None).prctl(1, signal.SIGTERM)  # PR_SET_PDEATHSIG
