#!/usr/bin/python3
"""Usage: restore_test.py PROGRAM. Which record rehome-restore finds in a recovery file."""
import base64
import re
import subprocess
import sys
import tempfile
import uuid
from pathlib import Path


def record(number, mail, dn, attribute="homeMDB"):
    return (f"\ndn:: {base64.b64encode(dn.encode()).decode()}\nchangetype: modify\nreplace: {attribute}\n"
            f"{attribute}: CN=S{number},\n DC=t\n-\nreplace: homeMTA\n-\nreplace: mail\n{mail}\n-\n\n")


def guid(number):
    return bytes([number] * 15 + [255])


def named(number, mail, **more):
    return record(number, mail, f"<GUID={guid(number).hex()}>", **more)


JANE, ODD = named(1, "mail: Jane+a.b@t"), "mail:: " + base64.b64encode("zoë@t".encode()).decode()
FILE = ("# comment\n" + JANE + "# as it was before a later change:\n"
        + "".join(f"# {line}\n" for line in JANE.replace("CN=S1", "CN=late").strip().split("\n"))
        + "a library: says\nhalf a line" + named(2, ODD) + "what a library says\n"
        + named(3, "mail: half@t")[:150] + "!\n!\n\n" + named(3, "mail: half@t")
        + named(4, "mail: two@t") + named(5, "mail: TWO@t").replace("\n", "\r\n")
        + record(6, "mail: rehearsed@t", "CN=R,DC=t")
        + named(7, "mail: evil@t", attribute="unicodePwd") + named(8, "mail: add@t").replace("replace", "add")
        + named(1, "mail: jane.new@t").replace("CN=S1", "CN=second")
        + record(9, "mail: dashed@t", f"<GUID={uuid.UUID(bytes_le=guid(9))}>")
        + named(10, "mail: url@t").replace("homeMDB: ", "homeMDB:< file:///etc/hostname ")
        + named(10, "mail: url@t") + named(11, "mail: end@t")[:-20])
# USER: exit status, and what is said on both streams.
CASES = {
    "jANE+A.B@t": (0, r"The file holds 2 records(?s:.)*\nhomeMDB: CN=S1,DC=t\n(?s:.)*--yes '.* \$' jANE"),
    "jane.new@t": (0, r"\nhomeMDB: CN=S1,DC=t\n"),
    "Janexa.b@t": (1, r"No record(?s:.)*: Jane\+a\.b@t \{01010101-0101-0101-0101-0101010101FF\}"),
    "ZOË@t": (0, r"\nhomeMDB: CN=S2,DC=t\n(?s:.)*mail: zoë@t\n"),
    "half@t": (0, r"^rehome-restore: The record on line 43 .*\n(?s:.)*\nhomeMDB: CN=S3,DC=t\n"),
    "Two@t": (1, r"Several(?s:.)*04FF\}(?s:.)*05FF\}$"),
    guid(4).hex().upper(): (0, r"CN=S4,DC=t"),
    "{%s}" % str(uuid.UUID(bytes_le=guid(5))).upper(): (0, r"CN=S5,DC=t"),
    "rehearsed@t": (1, r"a rehearsal wrote it"),
    "evil@t": (1, r"never writes the attribute \"unicodePwd\""),
    str(uuid.UUID(bytes_le=guid(8))): (1, r"must not be applied: line \d+: \"replace:\" is expected"),
    "dashed@t": (0, r"CN=S9,DC=t"),
    "url@t": (1, r"must not be applied: line \d+: this is no LDIF"),
    guid(11).hex(): (1, r"must not be applied: line \d+: the record that begins here is not whole"),
    "": (1, "No record"),
}
with tempfile.TemporaryDirectory() as directory:
    path = Path(directory, "it's $")
    path.write_bytes(FILE.encode())
    runs = [([path, user], *expected) for user, expected in CASES.items()]
    runs += [(["--", path, "two@t", "--yes"], 2, "^Usage"), (["--no", path, "a"], 2, "^Usage"), ([path], 2, "^Usage"),
             ([directory + "/none", "a"], 2, "cannot be read"), ([directory, "a"], 2, "cannot be read"),
             (["--version", "x"], 0, r"^rehome-restore \d")]
    failures = 0
    for arguments, status, words in runs:
        ended = subprocess.run([sys.argv[1], *arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                               text=True, encoding="utf-8", env={"LC_ALL": "C.UTF-8"}, check=False)
        if ended.returncode != status or not re.search(words, ended.stdout):
            print(f"FAILED: {arguments}: {ended.returncode}\n{ended.stdout}\nexpected: {status}, {words}\n")
            failures = 1
sys.exit(failures)
