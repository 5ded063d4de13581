#!/usr/bin/python3
"""Usage: live_tour.py PICTURES PROGRAM SNAPSHOT

The tour's twin over the Active Directory that samba_directory.py runs. What the window has to show,
and what the directory must hold in the end, is told from snapshots of it."""

import os
import pathlib
import subprocess
import sys

from desktop import agree
from organisation import Organisation, full_name, records
from tour import MESSAGE, TITLE, MainWindow, exits, moves_batch, moves_one, refuses, run

LOCAL = os.environ["REHOME_TEST_SERVER"].split(",")[0].removeprefix("CN=")


def changed_by_policy(user):
    """As the recipient policy of a real organisation may do to whoever gets a new mailbox."""
    subprocess.run(["ldapmodify", "-QNY", "GSSAPI"], check=True, stdout=subprocess.DEVNULL,
                   text=True, input=f"dn: {user.dn}\nchangetype: modify\nreplace: mail\n"
                   "mail: new@rehome.test\n-\nreplace: proxyAddresses\n"
                   "proxyAddresses: SMTP:new@rehome.test\n")


def tour(desktop, program, snapshot):
    # Finds the directory by the SRV records of the ticket's domain, asked of its own name server.
    finding = ("env", "--unset=LDAPURI", "LOCALDOMAIN=elsewhere.test",
               "LD_PRELOAD=libresolv_wrapper.so:libnss_wrapper.so", program)

    def look():
        seen = subprocess.run([snapshot], check=True, stdout=subprocess.PIPE, text=True).stdout
        return seen.replace("dn:\n", f"dn:\nrehomeLocalServer: {LOCAL}\n", 1).replace(
            "\nname: EXDOWN\n", "\nname: EXDOWN\nrehomeServerDown: TRUE\n")

    def addresses(mailboxes):
        return {m.guid: (m.home, m.mail, m.proxies) for m in mailboxes}
    before = look()
    file = pathlib.Path(desktop.directory, "noted.ldif")
    file.write_text(before, encoding="utf-8")
    MainWindow(desktop, Organisation(before), TITLE + " (noted.ldif)", MESSAGE,
               program + "-rehearsal", file).refreshed()
    main = MainWindow(desktop, Organisation(before), "Rehome", "Rehome", *finding)
    moves_one(main)
    moves_batch(main, "Unreachable")
    changed_by_policy(main.mailbox)
    exits(main)
    after = look()
    agree("the directory", addresses(Organisation(after).mailboxes),
          addresses(main.expected.mailboxes))
    for user in records(after):
        if "mailnickname" in user:
            agree("the server of " + user["dn"][0], user["msexchhomeservername"][0].split("=")[-1],
                  full_name(user["homemdb"][0]).split(":")[0])

    # What would stop the list is found here as it is in a snapshot.
    check = pathlib.Path(snapshot).with_name("check")
    for status, change in ((0, "replace: displayName\ndisplayName: Alone"),
                           (1, "delete: displayName")):
        subprocess.run(["ldapmodify", "-QNY", "GSSAPI"], check=True, stdout=subprocess.DEVNULL,
                       text=True, input=f"dn: {main.mailbox.dn}\nchangetype: modify\n{change}\n")
        agree("rehome-check", subprocess.run([check], stdout=subprocess.DEVNULL).returncode, status)
    refuses(desktop, "Rehome", "takes no arguments", program, "file.ldif")
    os.environ["KRB5CCNAME"] = "/nowhere"
    refuses(desktop, "Rehome", "run kinit", program)
    refuses(desktop, "Rehome", "elsewhere.test", *finding)
    os.environ["LDAPURI"] = "ldap://127.77.255.254"
    refuses(desktop, "Rehome", "cannot be reached", program)


if __name__ == "__main__":
    run(tour, *sys.argv[1:])
