#!/usr/bin/python3
"""Usage: live_tour.py PROGRAM PICTURES DIRECTORY SNAPSHOT

The tour's twin over the Active Directory that samba_directory.py runs in DIRECTORY. What the window
has to show, and what the directory must hold in the end, is told from snapshots of it."""

import os
import subprocess
import sys

from desktop import agree
from organisation import Organisation, guid_text, records
from tour import MESSAGE, TITLE, MainWindow, exits, moves_batch, moves_one, refuses, run


def changed_by_policy(user):
    """As the recipient policy of a real organisation may do to whoever gets a new mailbox."""
    subprocess.run(["ldapmodify", "-QNY", "GSSAPI"], check=True, stdout=subprocess.DEVNULL,
                   text=True, input=f"dn: {user.dn}\nchangetype: modify\nreplace: mail\n"
                   "mail: new@rehome.test\n-\nreplace: proxyAddresses\n"
                   "proxyAddresses: SMTP:new@rehome.test\n")


def tour(desktop, program, at, snapshot):
    def look():
        return subprocess.run([snapshot], check=True, stdout=subprocess.PIPE, text=True).stdout
    noted = look().replace("dn:\n", f"dn:\nrehomeLocalServer: {at['LOCAL']}\n", 1).replace(
        "\nname: EXDOWN\n", "\nname: EXDOWN\nrehomeServerDown: TRUE\n")
    file = desktop.directory + "/noted.ldif"
    with open(file, "w", encoding="utf-8") as stream:
        stream.write(noted)
    MainWindow(desktop, Organisation(noted), TITLE + " (noted.ldif)", MESSAGE,
               program + "-rehearsal", file).refreshed()
    main = MainWindow(desktop, Organisation(noted), "Rehome", "Rehome", program)
    moves_one(main)
    moves_batch(main, "Unreachable")
    changed_by_policy(main.mailbox)
    exits(main)
    kept = list(records(look()))
    servers = {r["dn"][0]: r["legacyexchangedn"][0] for r in kept if "networkaddress" in r}
    users = [r for r in kept if "mailnickname" in r]
    agree("the directory", {guid_text(r["objectguid"][0]): (
        r["homemdb"][0], r["mail"][0], r.get("proxyaddresses", [])) for r in users},
          {m.guid: (m.home, m.mail, m.proxies) for m in main.expected.mailboxes})
    agree("the servers of the mailboxes", [r["msexchhomeservername"][0] for r in users],
          [servers[r["homemdb"][0].split(",CN=InformationStore,")[1]] for r in users])

    refuses(desktop, "Rehome", "takes no arguments", program, "file.ldif")
    os.environ["KRB5CCNAME"] = "/nowhere"
    refuses(desktop, "Rehome", "run kinit", program)
    os.environ["LDAPURI"] = "ldap://127.77.255.254"
    refuses(desktop, "Rehome", "cannot be reached", program)


if __name__ == "__main__":
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    with open(sys.argv[3] + "/env", encoding="utf-8") as stream:
        found = dict(line.rstrip("\n").split("=", 1) for line in stream)
    os.environ.update(LDAPURI=found["LDAPURI"], KRB5_CONFIG=found["KRB5_CONFIG"],
                      KRB5CCNAME=found["ADMIN_CACHE"])
    run(tour, sys.argv[2], sys.argv[1], found, sys.argv[4])
