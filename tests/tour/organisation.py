"""What the window has to show of an organisation, told from its LDIF alone."""

import base64
import re
import uuid

STATES = {"0": "Online", "1": "Offline", "2": "Mounting", "3": "Dismounting"}


def records(ldif):
    """Each record as a dictionary of lists, attribute names in small letters."""
    for block in re.split(r"\n\s*\n", re.sub(r"\n ", "", ldif)):
        record = {}
        for line in block.splitlines():
            match = re.match(r"([\w-]+)(::?) ?(.*)", line)
            if match and not line.startswith("version:"):
                name, colons, value = match.groups()
                value = base64.b64decode(value) if colons == "::" else value.encode()
                value = value if name.upper().endswith("GUID") else value.decode()
                record.setdefault(name.lower(), []).append(value)
        if record:
            yield record


def components(name):
    return [part.split("=", 1)[1].replace("\\", "")
            for part in re.split(r"(?<!\\),", name)]


def full_name(store):
    name, group, _, server = components(store)[:4]
    return f"{server}:{group}\\{name}"


def guid_text(octets):
    return "{" + str(uuid.UUID(bytes_le=octets)).upper() + "}"


class Mailbox:
    def __init__(self, user, state):
        def first(name):
            return user.get(name, [None])[0]
        self.name, self.dn = first("displayname"), first("dn")
        self.guid = guid_text(first("objectguid"))
        self.mail, self.proxies = first("mail"), user.get("proxyaddresses", [])
        self.home, self.state, self.slow = first("homemdb"), state, "rehomeopensafter" in user
        self.policy = first("rehomepolicyaddress")

    row = property(lambda self: (self.name, full_name(self.home), self.state))
    # What is written down before the mailbox is dropped.
    drop = property(lambda self: {"objectGUID": self.guid, "distinguishedName": self.dn,
                                  "homeMDB": self.home, "mail": self.mail,
                                  "proxyAddresses": self.proxies})


class Organisation:
    def __init__(self, ldif):
        found = list(records(ldif))
        self.local = next(r["rehomelocalserver"][0] for r in found if "rehomelocalserver" in r)
        down = [r["name"][0] for r in found if r.get("rehomeserverdown") == ["TRUE"]]
        recovery = [r["dn"][0] for r in found
                    if r.get("msexcheseparambasename", [""])[0].startswith("R")]
        self.states = {}  # of the stores that can be listed, by distinguished name
        for r in found:
            if "msExchPrivateMDB" in r.get("objectclass", []):
                name = r["dn"][0]
                group = re.split(r"(?<!\\),", name, maxsplit=1)[1]
                if components(name)[3] not in down and group not in recovery:
                    self.states[name] = STATES[r.get("rehomestorestate", ["0"])[0]]
        self.mailboxes = [
            Mailbox(r, self.states.get(r["homemdb"][0], "Unreachable")) for r in found
            if "mailnickname" in r and "mail" in r and "homemdb" in r
            and ",CN=Microsoft Exchange System Objects," not in r["dn"][0]]
        self.drops, self.moved = [], []

    def destination(self):
        """A plainly named local store that is online and does not hold the last mailbox."""
        return next(full_name(s) for s, state in self.states.items() if state == "Online"
                    and components(s)[3] == self.local and s != self.mailboxes[-1].home
                    and "\\" not in s)

    def move(self, mailboxes, destination):
        """As the tool has to."""
        for mailbox in mailboxes:
            self.drops.append(mailbox.drop)
            mailbox.home = next(s for s in self.states if full_name(s) == destination)
            mailbox.state = self.states[mailbox.home]
            self.moved.append(mailbox)
