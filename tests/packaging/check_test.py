#!/usr/bin/python3
"""Usage: check_test.py CHECK ORGANISATION

What rehome-check finds in the organisation that ships, whole and broken in one place."""

import pathlib, re, subprocess, sys, tempfile

CHECK, ORGANISATION = sys.argv[1:]
# One of its mailboxes is on a store that is no more.
WHOLE = pathlib.Path(ORGANISATION).read_text(encoding="utf-8").replace(
    "homeMDB: CN=Mailbox Store (EX0),CN=First Storage Group,CN=InformationStore,CN=EX0,",
    "homeMDB: CN=Mailbox Store (EX2),CN=First Storage Group,CN=InformationStore,CN=EX2,")
USER = r"(dn: CN=Hannah Albrecht,(?:.+\n)*?)"
STORE = "CN=Mailbox Store (EX1),CN=First Storage Group,CN=InformationStore,CN=EX1,"
# What is broken, by what; what is told of it; the status.
CASES = [
    ("", "", "findings: 0", 0),
    ("displayName: Hannah Albrecht\n", "", "has no display name", 1),
    (USER + "homeMDB: .*\n", r"\1", "Hannah Albrecht has no home store", 1),
    (USER + "homeMDB: .*\n", r"\1homeMDB: CN=x,CN=g,CN=i,CN=s\n",
     "no mailbox store: CN=x,CN=g,CN=i,CN=s\n# The list stops", 1),
    (USER + "homeMDB: CN=Mail", r"\1homeMDB: cn=\\4dail", "findings: 0", 0),
    (USER + "mail: ", r"\1proxyAddresses: smtp:PAUL.engel@nordwind.example\nmail: ",
     "2 users have the address paul.engel@", 1),
    ("displayName: Hannah Albrecht\n", "displayName:: bm9haCDigI8gR3JhZg==\n",
     "noah <U+200F> Graf  (", 1),
    ("rehomeLocalServer: EX1", "rehomeLocalServer: ex1", "EX1 differs from it in letter case", 1),
    ("legacyExchangeDN: .*cn=EX1\n", "", "EX1 has no legacyExchangeDN", 1),
    ("name: EX3\n", "name: ex2\n", "Two servers are called", 1),
    (USER + "mail: ", r"\1msExchVersion: 4535486012416\nmail: ", "not moved: 1\n#   hannah.albrecht@", 0),
    (re.escape("dn: " + STORE),
     "dn: " + STORE.lower() + "DC=twin\nobjectClass: msExchPrivateMDB\n\n\\g<0>",
     "2 stores are called", 1),
    ("\ndn:\n", "\ndn: DC=x\n", "no root object", 2),
    ("(?s).*", "no LDIF", "This is not LDIF", 2),
    ("objectClass: msExchPrivateMDB\n", "", "No mailbox store can be seen", 2),
]
failed = False
for pattern, replacement, told, status in CASES:
    with tempfile.NamedTemporaryFile("w", suffix=".ldif") as file:
        broken = re.sub(pattern, replacement, WHOLE) if pattern else WHOLE
        file.write(broken)
        file.flush()
        done = subprocess.run([CHECK, file.name], stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True)
    # Remedies are taken once they are completed, and not before.
    takes = [subprocess.run(["ldapmodify", "-n", "-x", "-H", "ldap://127.0.0.1:1"], input=text,
                            text=True, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL).returncode == 0
             for text in (done.stdout, done.stdout.replace(" ???", ": CN=x"))]
    if (done.returncode != status or told not in done.stdout or (broken == WHOLE) != (not pattern)
            or status < 2 and takes != ["???" not in done.stdout, True]):
        failed = True
        print(f"FAILED: {pattern!r}: {done.returncode} {takes}\n{done.stdout}")
sys.exit(failed)
