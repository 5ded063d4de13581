"""What the window has to show of an organisation, told from its LDIF alone."""

import re, uuid

import ldb

STATES = ["Online", "Offline", "Mounting", "Dismounting"]


def records(ldif):
    """The entries as dictionaries of lists, attribute names in small letters."""
    # The parser knows no version, and takes nothing but comments for a broken record.
    known = re.sub(r"^(version:|#).*\n( .*\n)*", "", ldif, flags=re.MULTILINE)
    entries = ldb.Ldb().parse_ldif(known.rstrip() + "\n")
    return [{"dn": [str(entry.dn)]} | {
        name.lower(): [value if name.upper().endswith("GUID") else value.decode()
                       for value in map(bytes, entry[name])] for name in entry if name != "dn"}
            for _, entry in entries]


def full_name(store):
    """As the tool writes it, without any backslash of the names' own."""
    name, group, _, server = (ldb.Dn(ldb.Ldb(), store).get_component_value(i).replace("\\", "")
                              for i in range(4))
    return f"{server}:{group}\\{name}"


class Mailbox:
    def __init__(self, user, state=None):
        self.name, self.dn, self.state = user["displayname"][0], user["dn"][0], state
        self.guid, self.home = uuid.UUID(bytes_le=user["objectguid"][0]), user["homemdb"][0]
        self.mail, self.proxies = user["mail"][0], user.get("proxyaddresses", [])

    row = property(lambda self: (self.name, full_name(self.home), self.state))
    # What the directory holds, and what is written down before the mailbox is dropped.
    entry = property(lambda self: (self.home, self.mail, self.proxies))


class Organisation:
    def __init__(self, ldif):
        found = records(ldif)
        # The stores on servers that are down and in recovery storage groups are not listed.
        without = tuple("," + r["dn"][0] for r in found if r.get("rehomeserverdown") == ["TRUE"]
                        or r.get("msexcheseparambasename", [""])[0].startswith("R"))
        states = {r["dn"][0]: STATES[int(r.get("rehomestorestate", "0")[0])] for r in found
                  if "msExchPrivateMDB" in r.get("objectclass", [])
                  and not r["dn"][0].endswith(without)}
        self.mailboxes = [Mailbox(r, states.get(r["homemdb"][0], "Unreachable")) for r in found
                          if {"mailnickname", "mail", "homemdb"} <= r.keys()
                          and ",CN=Microsoft Exchange System Objects," not in r["dn"][0]]
        # A plainly named local store that is online and does not hold the last mailbox.
        local = found[0]["rehomelocalserver"][0] + ":"
        self.destination = next(
            store for store, state in states.items() if full_name(store).startswith(local)
            and state == "Online" and store != self.mailboxes[-1].home and "\\" not in store)
        self.drops, self.moved = [], []

    def move(self, mailboxes):
        """As the tool has to."""
        self.drops += [(mailbox.dn, f"CN={mailbox.guid.bytes_le.hex()}", mailbox.entry)
                       for mailbox in mailboxes]
        self.moved += mailboxes
        for mailbox in mailboxes:
            mailbox.home, mailbox.state = self.destination, "Online"
