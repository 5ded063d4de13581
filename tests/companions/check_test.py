#!/usr/bin/python3
"""Usage: check_test.py CHECK ORGANISATION

What rehome-check finds in the organisation that ships, whole and broken in one place."""

import pathlib, re, subprocess, sys, tempfile

CHECK, ORGANISATION = sys.argv[1:]
# One of its mailboxes is on a store that is no more.
WHOLE = pathlib.Path(ORGANISATION).read_text(encoding="utf-8").replace(
    "homeMDB: CN=Mailbox Store (EX0),CN=First Storage Group,CN=InformationStore,CN=EX0,",
    "homeMDB: CN=Mailbox Store (EX2),CN=First Storage Group,CN=InformationStore,CN=EX2,")
CONTEXT = "DC=nordwind,DC=example"
LOST = r"(dn: CN=Anja Kuhn,(?:.+\n)*?)"  # on EX3, which does not answer
FIELD = "\ndn: CN=Field Staff,CN=First Storage Group,CN=InformationStore,CN=EX3,(?:.+\n)*"
ABOVE = "(objectClass: msExchOrganizationContainer\n(?:.+\n)*\n)"
CHILD = (f"\\1dn: CN=CHILD,CN=Partitions,CN=Configuration,{CONTEXT}\nobjectClass: crossRef\n"
         f"nETBIOSName: CHILD\ndnsRoot: child.nordwind.example\nnCName: DC=child,{CONTEXT}\n\n")
USER = r"(dn: CN=Hannah Albrecht,(?:.+\n)*?)"
STORE = "CN=Mailbox Store (EX1),CN=First Storage Group,CN=InformationStore,CN=EX1,"
# The snapshot of that domain, with a user on EX1.
CHILDREN = (f"dn:\ndefaultNamingContext: DC=child,{CONTEXT}\nconfigurationNamingContext: CN=Configuration,"
            f"{CONTEXT}\n\ndn: DC=child,{CONTEXT}\nobjectClass: domain\n\ndn: CN=c,DC=child,{CONTEXT}\nobjectClass: "
            f"user\nhomeMDB: {STORE}CN=Servers,CN=First Administrative Group,CN=Administrative Groups,CN=Nordwind,"
            f"CN=Microsoft Exchange,CN=Services,CN=Configuration,{CONTEXT}\n")
# What is broken, by what; what is told of it; the status; the snapshot of another domain.
CASES = [
    ("", "", "findings: 0", 0),
    ("displayName: Hannah Albrecht\n", "", "has no displayName", 1),
    (USER + "homeMDB: .*\n", r"\1", "Hannah Albrecht has no homeMDB", 1),
    (USER + "homeMDB: .*\n", r"\1homeMDB: CN=x,CN=g,CN=i,CN=s\n",
     "no mailbox store: CN=x,CN=g,CN=i,CN=s\n# The list stops", 1),
    (USER + "homeMDB: CN=Mail", r"\1homeMDB: cn=\\4dail", "findings: 0", 0),
    (USER + "mail: ", r"\1proxyAddresses: smtp:PAUL.engel@nordwind.example\nmail: ",
     "Remove it from all but one:\n# \n# dn: CN=Hannah Albrecht,", 1),
    ("displayName: Hannah Albrecht\n", "displayName:: bm9haCDigI8gR3JhZg==\n",
     "noah <U+200F> Graf  (", 1),
    ("rehomeLocalServer: EX1", "rehomeLocalServer: ex1", "EX1 differs from it in letter case", 1),
    ("rehomeLocalServer: EX1", "rehomeLocalServer: EX9", "Next: choose a local server", 1),
    ("legacyExchangeDN: .*cn=EX1\n", "", "EX1 has no legacyExchangeDN", 1),
    ("name: EX3\n", "name: ex2\n", "Two servers are called", 1),
    (USER + "mail: ", r"\1msExchVersion: 4535486012416\nmail: ", "not move: 1\n#   hannah.albrecht@", 0),
    (re.escape("dn: " + STORE),
     "dn: " + STORE.lower() + f"CN=twin,CN=Configuration,{CONTEXT}\nobjectClass: msExchPrivateMDB\n\n\\g<0>",
     "2 stores are called", 1),
    ("\ndn:\n", "\ndn: DC=x\n", "lacks the root object", 2),
    ("(?s).*", "no LDIF", "line 1", 2),
    ("objectClass: msExchPrivateMDB\n", "", "No mailbox store was found", 2),
    (LOST + "mailNickname: .*\n", r"\1", "Anja Kuhn is on EX3 and is not listed: no alias (mailNickname)", 1),
    (LOST + "mailNickname: .*\nmail: .*\n", r"\1", "no alias (mailNickname) and no e-mail address (mail)", 1),
    (USER + "mailNickname: .*\n", r"\1", "not listed: Hannah Albrecht: no alias", 0),
    (LOST + "objectClass: user\n", r"\1objectClass: contact\n", "no user object, but of the class contact", 1),
    (LOST + "objectCategory: CN=Person", r"\1objectCategory: CN=Computer", "not of the category person", 1),
    (FIELD, rf"\g<0>homeMDBBL: CN=hidden,{CONTEXT}\nhomeMDBBL: CN=x,CN=Configuration,{CONTEXT}\n",
     f"1 more on EX3 that you have no permission to read:\n# CN=hidden,{CONTEXT}\n", 1),
    (f"({FIELD})((?:.*\\n)*?dn: CN=Anja Kuhn,(?:.+\\n)*?)homeMDB: .*\\n",
     rf"\1homeMDBBL: CN=Anja Kuhn,OU=Hamburg,{CONTEXT}\n\2", "no permission to read homeMDB of Anja Kuhn", 1),
    ("homeMDB: .*CN=EX2,CN=Servers,.*\n", "", "25 users of the Exchange server EX2 have no homeMDB", 1),
    ("dn:(: Q049VmVy| .*CN=EX3,CN=Servers,)(?:.+\n)*\n|homeMDB:(: Q049VmVy| .*CN=EX3,CN=Servers,).*\n", "",
     "EX3 was removed from the directory, and 24 of its users have no homeMDB", 1),
    ("(?s)(\ndn:\n)(.*)\\Z", f"\\1forestFunctionality: 2\n\\2\ndn: CN=Mailbox Enable User,CN=Configuration,"
     f"{CONTEXT}\nobjectClass: x\ncn: Mailbox Enable User\npurportedSearch: (&(mailNickname=*)"
     "(|(homeMDB=*)(msExchHomeServerName=*)))\n", "may give a moved user another store", 0),
    (ABOVE, CHILD, "child.nordwind.example could not be read", 1),
    (ABOVE, CHILD, "findings: 0", 0, CHILDREN),
    (ABOVE, CHILD,
     "1 mailboxes of the domain child.nordwind.example are on EX3, and", 1,
     CHILDREN.replace("EX1", "EX3").replace("First Admin", "Second Admin")),
]
failed = False
for pattern, replacement, told, status, *others in CASES:
    broken = re.sub(pattern, replacement, WHOLE) if pattern else WHOLE
    with tempfile.TemporaryDirectory() as folder:
        files = [pathlib.Path(folder, f"{number}.ldif") for number in range(1 + len(others))]
        for file, text in zip(files, [broken, *others]):
            file.write_text(text, encoding="utf-8")
        done = subprocess.run([CHECK, *files], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    # Remedies are taken once they are completed, and not before.
    takes = [subprocess.run(["ldapmodify", "-n", "-x", "-H", "ldap://127.0.0.1:1"], input=text,
                            text=True, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL).returncode == 0
             for text in (done.stdout, done.stdout.replace(" ???", ": CN=x"))]
    if (done.returncode != status or told not in done.stdout or (broken == WHOLE) != (not pattern)
            or status < 2 and takes != ["???" not in done.stdout, True]):
        failed = True
        print(f"FAILED: {pattern!r}: {done.returncode} {takes}\n{done.stdout}")
# What is told of the client's settings, on the way to a domain controller that does not respond.
for kerberos, ldap, told in (
        ("false", {}, []), ("true", {}, ["dns_canonicalize_hostname"]),
        ("fallback", {"LDAPTLS_REQCERT": "allow", "LDAPSASL_SECPROPS": "maxssf=1"},
         ["dns_canonicalize_hostname", "TLS_REQCERT", "SASL_SECPROPS"])):
    with tempfile.NamedTemporaryFile("w") as file:
        print(f"[libdefaults]\ndns_canonicalize_hostname = {kerberos}", file=file, flush=True)
        done = subprocess.run([CHECK], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, env={
            "LC_ALL": "C.UTF-8", "LDAPURI": "ldap://127.0.0.1:1", "KRB5_CONFIG": file.name, **ldap})
    if done.returncode != 2 or any((word in done.stdout) != (word in told) for word in (
            "dns_canonicalize_hostname", "TLS_REQCERT", "SASL_SECPROPS")):
        failed = True
        print(f"FAILED: {told}: {done.returncode}\n{done.stdout}")
sys.exit(failed)
