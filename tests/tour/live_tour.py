#!/usr/bin/python3
"""Usage: live_tour.py PICTURES PROGRAM SNAPSHOT CHECK

The tour's twin over the Active Directory and the web server that samba_directory.py runs. What the
window has to show, and what the directory must hold in the end, is told from snapshots of it."""

import os, pathlib, re, subprocess, sys

from desktop import agree, until
from organisation import Organisation
from tour import MESSAGE, TITLE, MainWindow, exits, moves_batch, moves_one, refuses, run

sys.path.append(str(pathlib.Path(__file__).parents[1] / "support"))
import web_server

LOCAL = os.environ["REHOME_TEST_SERVER"].split(",")[0].removeprefix("CN=")
PLACE = pathlib.Path(os.environ["REHOME_TEST_DIRECTORY"])
WEB = os.environ["REHOME_TEST_WEB"]


def change(user, what):
    subprocess.run(["ldapmodify", "-QNY", "GSSAPI"], check=True, stdout=subprocess.DEVNULL,
                   text=True, input=f"dn: {user.dn}\nchangetype: modify\n{what}\n")


def repopulates(main):
    """The mailboxes appear on the server, three first; then they and nothing else are counted."""
    names = [m.mail for m in main.expected.moved]

    def counts(number):
        until(f"{number} mailboxes are repopulated, and time goes on", lambda: (
            main.progress()[2:5] == [str(number), "Of", str(len(names))]
            and main.progress()[-1] > "00:00:01"))
    counts(0)
    web_server.make(*names[:3])
    counts(3)
    main.desktop.picture("repopulation")
    web_server.make(*names[3:])


def asked():
    """For each request to the web server, wherever it listens: address, user, method, path, status."""
    return [tuple(line.split()[:5]) for line in (PLACE / "asked.log").read_text().splitlines()]


def tour(desktop, program, snapshot, check):
    os.environ["PATH"] = f"{pathlib.Path(check).parent}:{os.environ['PATH']}"  # for the snapshot
    # Finds the directory by the SRV records of the ticket's domain, asked of its own name server.
    # Nothing may go by the proxy. A sanitizer's library comes before all others.
    before_all = re.findall(r"=> (\S*libasan\S*)", subprocess.check_output(["ldd", program], text=True))
    finding = ("env", "--unset=LDAPURI", "LOCALDOMAIN=elsewhere.test",
               f"https_proxy=http://{WEB}{web_server.ELSEWHERE}:80",
               "LD_PRELOAD=" + ":".join(before_all + ["libresolv_wrapper.so"]),
               program)

    def look():
        seen = subprocess.run([snapshot], check=True, stdout=subprocess.PIPE, text=True).stdout
        return seen.replace("dn:\n", f"dn:\nrehomeLocalServer: {LOCAL}\n", 1).replace(
            "\nname: EXDOWN\n", "\nname: EXDOWN\nrehomeServerDown: TRUE\n")

    before, asked_before = look(), len(asked())
    file = pathlib.Path(desktop.directory, "noted.ldif")
    file.write_text(before, encoding="utf-8")
    MainWindow(desktop, Organisation(before), TITLE + " (noted.ldif)", MESSAGE,
               program + "-rehearsal", file).refreshed()
    store = Organisation(before).destination
    subprocess.run(["ldapadd", "-QNY", "GSSAPI"], check=True, stdout=subprocess.DEVNULL, text=True, input=(
        f"dn: CN=Unlisted,{store[store.index('DC='):]}\nobjectClass: user\nhomeMDB: {store}\n"))
    main = MainWindow(desktop, Organisation(before), "Rehome", "Rehome", *finding)
    until("what is not listed is counted", lambda: " 1 not listed in rehome.test: " in main.told())
    moves_one(main)
    moves_batch(main, "Unreachable")
    # As the recipient policy of a real organisation may do to whoever gets a new mailbox.
    change(main.mailbox, "replace: mail\nmail: new@rehome.test\n-\nreplace: proxyAddresses\n"
           "proxyAddresses: SMTP:new@rehome.test")
    exits(main, meanwhile=lambda: repopulates(main))
    requests = [r for r in asked()[asked_before:] if r[2] not in ("MKCOL", "PROPPATCH")]
    opened = sorted(r[3] for r in requests if r[4] == "207")
    agree("the mailboxes opened", opened,
          sorted(f"/exchange/{m.mail}/" for m in main.expected.moved))
    agree("what was asked of whom by whom", set(requests), {
        (f"{WEB}{web_server.WEB}:443", "Administrator@REHOME.TEST", "PROPFIND", path, status)
        for path in opened for status in ("404", "207")})
    agree("the directory", *({m.guid: m.entry for m in mailboxes} for mailboxes in (
        Organisation(look()).mailboxes, main.expected.mailboxes)))

    # The object of a lost server is deleted, and with it the home of its users.
    def checks(status, words):
        done = subprocess.run([check], stdout=subprocess.PIPE, text=True)
        agree(f"rehome-check: {done.stdout}", (done.returncode, words in done.stdout), (status, True))
        return done.stdout
    lost = os.environ["REHOME_TEST_SERVER"].replace(LOCAL, "EXDOWN", 1)
    change(main.mailbox, "replace: displayName\ndisplayName: Alone\n-\nreplace: msExchHomeServerName\n"
           "msExchHomeServerName: /cn=EXDOWN\n-\nreplace: homeMDB\nhomeMDB: CN=Mailbox Store,CN=First Storage "
           f"Group,CN=InformationStore,{lost}")
    subprocess.run(["ldapdelete", "-QrNY", "GSSAPI", lost], check=True)
    remedy = checks(1, "EXDOWN was removed from the directory, and 1 of its users have no homeMDB")
    subprocess.run(["ldapmodify", "-QNY", "GSSAPI"], check=True, text=True, stdout=subprocess.DEVNULL,
                   input=remedy.replace("homeMDB ??? (the empty store)", "homeMDB: " + main.mailbox.home))
    checks(0, "; writable; synchronised; its clock is ")
    checks(0, f"# Next: umask 077; rehome-as {LOCAL} 2> recovery-$(date +%F-%H%M%S).ldif\n")
    os.environ["KRB5CCNAME"] = "/nowhere"
    refuses(desktop, "Rehome", "elsewhere.test", *finding)


if __name__ == "__main__":
    run(tour, *sys.argv[1:])
