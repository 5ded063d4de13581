#!/usr/bin/python3
"""Usage: samba_directory.py samba_pair.py COMMAND [ARGUMENT...]

Joins a second domain controller, dc2, to the directory and runs a command as the client of both.
They replicate only when REHOME_TEST_DIRECTORY/replicate TO FROM [NAMING CONTEXT] is run, with dc1 and
dc2 in either order. The process of dc1 stands in REHOME_TEST_DIRECTORY/samba.pid: it may be killed."""
import os, pathlib, random, shutil, subprocess, sys

import web_server
from samba_directory import BASE, DOMAIN, HERE, PASSWORD, run

REPLICATE = f"""#!/bin/sh -e
[ $1 = dc1 ] && place=@PLACE@ || place=@PLACE@/dc2
exec samba-tool drs replicate --local $1.{DOMAIN} $2.{DOMAIN} ${{3:-{BASE}}} -k yes -s $place/smb.conf
"""


def main(place, command):
    address = f"127.79.{random.randint(0, 254)}.{random.randint(1, 254)}"
    own = place / "dc2"
    own.mkdir()
    for name in ("cert.pem", "cert-key.pem"):
        shutil.copy(place / name, own)
    text = (HERE / "smb.conf.in").read_text().replace("DC1", "DC2")
    (own / "smb.conf").write_text(text.replace("@PLACE@", str(own)).replace("@ADDRESS@", address))
    with open(place / "etc/hosts", "a") as hosts:
        hosts.write(f"{address} dc2.{DOMAIN}\n")
    run("samba-tool", "domain", "join", DOMAIN, "DC", "--quiet", "--server=dc1." + DOMAIN,
        "--dns-backend=NONE", f"--targetdir={own}", f"--configfile={own}/smb.conf",
        "-UAdministrator", "--password=" + PASSWORD)
    run("ldapmodify", "-QNY", "GSSAPI", input=(
        f"dn: CN=DC2,OU=Domain Controllers,{BASE}\nchangetype: modify\nadd: servicePrincipalName\n"
        f"servicePrincipalName: ldap/{address}\nservicePrincipalName: ldap/dc2.{DOMAIN}\n"))
    replicate = place / "replicate"
    replicate.write_text(REPLICATE.replace("@PLACE@", str(place)))
    replicate.chmod(0o755)
    # It ends when its standard input does, and so with this process.
    server = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", "samba", "--foreground",
                               "--no-process-group", "--model=single",
                               f"--configfile={own}/smb.conf"], stdin=subprocess.PIPE)
    try:
        web_server.wait_for(server, *((address, port) for port in (88, 135, 389)))
        for context in ("CN=Configuration," + BASE, BASE):
            run(replicate, "dc2", "dc1", context)
        krb5 = place / "krb5.conf"
        krb5.write_text(krb5.read_text().replace("kdc =", f"kdc = {address}\n        kdc ="))
        os.environ["LDAPURI"] += " ldap://" + address
        return subprocess.run(["setpriv", "--pdeathsig", "TERM", *command]).returncode
    finally:
        server.kill()
        server.wait()


if __name__ == "__main__":
    if len(sys.argv) < 2 or "REHOME_TEST_DIRECTORY" not in os.environ:
        sys.exit(__doc__)
    sys.exit(main(pathlib.Path(os.environ["REHOME_TEST_DIRECTORY"]), sys.argv[1:]))
