#!/usr/bin/python3
"""Usage: samba_directory.py COMMAND [ARGUMENT...] [--- COMMAND [ARGUMENT...]]...

Runs commands, one after the other, over a throwaway Active Directory with an Exchange organisation
and the web server of its mailboxes. Their environment makes them its clients, as the administrator.
In REHOME_TEST_DIRECTORY they find other tickets, user.cc and expired.cc, and what the web server was
asked for, asked.log; REHOME_TEST_WEB is what the web server's addresses begin with.
Hosts and name server are its own: the name server never answers, and the directory server's address
is somebody else's by the hosts file. Needs root: the ports are fixed."""
import ctypes, os, pathlib, random, signal, socket, subprocess, sys, tempfile, time

from samba.auth import system_session
from samba.param import LoadParm
from samba.samdb import SamDB

import web_server

DOMAIN, BASE = "rehome.test", "DC=rehome,DC=test"
SERVERS = ("CN=Servers,CN=First Administrative Group,CN=Administrative Groups,CN=Test Organisation,"
           "CN=Microsoft Exchange,CN=Services,CN=Configuration," + BASE)
LEGACY = "/o=Test Organisation/ou=First Administrative Group/cn=Configuration/cn=Servers/cn="
PASSWORD = "Throw-away1"
HERE = pathlib.Path(__file__).parent
CLONE_NEWNS = 0x20000  # os has it from Python 3.12 on
LOCAL = socket.gethostname().split(".")[0].upper()[:15]  # as its NetBIOS name


def run(*command, **more):
    subprocess.run(command, check=True, text=True, **more)


def extend_schema(db):
    for record in (HERE / "exchange_schema.ldif").read_text().split("\n\n"):
        if "attributeSchema" not in record:
            db.set_schema_update_now()  # what it names has just been added
        (db.modify_ldif if "changetype" in record else db.add_ldif)(record + "\n")


def populate(db, address, web):
    """Three servers: this host, whose mailboxes are on the web server, one that is up and has no web
    service, one that does not answer. 40 users with a mailbox."""
    def add(kind, name, **attributes):
        db.add({"dn": name, "objectClass": kind, **attributes})
    db.transaction_start()
    for levels in range(4, -1, -1):
        add("container", SERVERS.split(",", levels)[-1])
    for server, where in ((LOCAL, f"{web}{web_server.WEB}"), ("EXUP", address),
                          ("EXDOWN", f"{web}{web_server.ELSEWHERE}")):
        name = f"CN={server},{SERVERS}"
        add("msExchExchangeServer", name, legacyExchangeDN=LEGACY + server,
            networkAddress=["ncacn_vns_spp:" + server, "ncacn_ip_tcp:" + where])
        add("mTA", "CN=Microsoft MTA," + name)
        within = name
        for kind, part in (("msExchProtocolCfgProtocolContainer", "Protocols"),
                           ("msExchProtocolCfgHTTPContainer", "HTTP"), ("protocolCfgHTTPServer", "1"),
                           ("msExchProtocolCfgHTTPVirtualDirectory", "Exchange")):
            within = f"CN={part},{within}"
            add(kind, within)
        add("msExchInformationStore", "CN=InformationStore," + name)
        for group, prefix in (("First", {"msExchESEParamBaseName": "E00"}), ("Second", {}),
                              ("Recovery", {"msExchESEParamBaseName": "R00"})):
            within = f"CN={group} Storage Group,CN=InformationStore,{name}"
            add("msExchStorageGroup", within, **prefix)
            add("msExchPrivateMDB", "CN=Mailbox Store," + within, msExchEDBOffline="FALSE")
            add("msExchPrivateMDB", "CN=Accounts\\, Sales," + within, msExchEDBOffline="TRUE")
            add("msExchPublicMDB", "CN=Public Folder Store," + within)
    add("organizationalUnit", f"OU=Staff,{BASE}")
    for number in range(40):
        login, server = f"user{number:04}", (LOCAL, "EXUP", "EXDOWN")[number % 3]
        store = ("Mailbox Store", "Accounts\\, Sales")[number // 3 % 2]
        add("user", f"CN={login},OU=Staff,{BASE}", sAMAccountName=login, mailNickname=login,
            displayName="Mailbox " + login, mDBUseDefaults="TRUE",
            homeMDB=f"CN={store},CN=First Storage Group,CN=InformationStore,CN={server},{SERVERS}",
            homeMTA=f"CN=Microsoft MTA,CN={server},{SERVERS}",
            msExchHomeServerName=LEGACY + server, mail=f"{login}@{DOMAIN}",
            proxyAddresses=[f"SMTP:{login}@{DOMAIN}", f"smtp:{login}.old@{DOMAIN}"])
    db.transaction_commit()


def certify(place, name, *addresses):
    run("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj",
        "/CN=" + name, "-addext", "subjectAltName=IP:" + ",IP:".join(addresses), "-keyout",
        place / f"{name}-key.pem", "-out", place / f"{name}.pem", stderr=subprocess.DEVNULL)


def provision(place, address, web):
    run("samba-tool", "domain", "provision", "--quiet", f"--targetdir={place}", "--realm=" + DOMAIN,
        "--domain=REHOME", "--server-role=dc", "--dns-backend=SAMBA_INTERNAL", "--host-name=dc1",
        "--host-ip=" + address, "--adminpass=" + PASSWORD)
    certified = [f"{web}{number}" for number in (
        web_server.WEB, web_server.CLEAR, web_server.OLD, web_server.SILENT, web_server.ANONYMOUS,
        web_server.ODD, web_server.EXPIRED)]
    certify(place, "cert", address, *certified)
    certify(place, "other", f"{web}{web_server.UNTRUSTED}")
    certify(place, "expired", f"{web}{web_server.EXPIRED}")
    run("openssl", "x509", "-in", place / "expired.pem", "-signkey", place / "expired-key.pem",
        "-days", "-1", "-out", place / "expired.pem", stderr=subprocess.DEVNULL)
    (place / "trusted.pem").write_text((place / "cert.pem").read_text()
                                       + (place / "expired.pem").read_text())
    for name in ("smb.conf", "krb5.conf"):
        text = (HERE / (name + ".in")).read_text()
        (place / name).write_text(text.replace("@PLACE@", str(place)).replace("@ADDRESS@", address))
    (place / "resolv.conf").write_text(f"nameserver {address}\n")
    db = SamDB(f"{place}/private/sam.ldb", session_info=system_session(),
               lp=LoadParm(f"{place}/smb.conf"))
    extend_schema(db)
    populate(db, address, web)
    db.newuser("clerk", PASSWORD)
    db.modify_ldif(f"dn: CN=DC1,OU=Domain Controllers,{BASE}\nchangetype: modify\n"
                   f"add: servicePrincipalName\nservicePrincipalName: ldap/{address}\n"
                   f"servicePrincipalName: ldap/dc1.{DOMAIN}\n"
                   + "".join(f"servicePrincipalName: HTTP/{host}\n" for host in certified))
    for host in certified:
        run("samba-tool", "domain", "exportkeytab", "--principal=HTTP/" + host,
            f"--configfile={place}/smb.conf", place / "web.keytab", stdout=subprocess.DEVNULL)


def use_own_names(place, address, name_server):
    """Also in all processes that are begun afterwards."""
    (place / "etc/resolv.conf").write_text(f"nameserver {name_server}\n")
    (place / "etc/hosts").write_text(f"127.0.0.1 localhost {socket.gethostname()}\n"
                                     f"{address} somebody.else.test\n{address} dc1.{DOMAIN}\n")
    if ctypes.CDLL(None).unshare(CLONE_NEWNS):
        sys.exit("No mount namespace can be made.")
    run("mount", "--make-rprivate", "/")
    for name in ("hosts", "resolv.conf"):
        run("mount", "--bind", place / "etc" / name, "/etc/" + name)


def main(place, commands):
    # Another test run may be under way.
    address = f"127.77.{random.randint(0, 254)}.{random.randint(1, 254)}"
    web = f"127.78.{random.randint(0, 254)}."
    os.environ.update(
        LDAPURI="ldap://" + address, LDAPTLS_CACERT=f"{place}/cert.pem",
        KRB5_CONFIG=f"{place}/krb5.conf", KRB5CCNAME=f"{place}/admin.cc",
        RESOLV_WRAPPER_CONF=f"{place}/resolv.conf", SSL_CERT_FILE=f"{place}/trusted.pem",
        REHOME_TEST_WEB=web,
        REHOME_TEST_DIRECTORY=str(place), REHOME_TEST_SERVER=f"CN={LOCAL},{SERVERS}")
    provision(place, address, web)
    silent = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    silent.bind((web + "1", 53))
    use_own_names(place, address, web + "1")
    web_process, _listener = web_server.serve(place, web)
    # It ends when its standard input does, and so with this process.
    server = subprocess.Popen(["samba", "--foreground", "--no-process-group", "--model=single",
                               f"--configfile={place}/smb.conf"], stdin=subprocess.PIPE)
    failed = []
    try:
        web_server.wait_for(server, *((address, port) for port in (88, 135, 389)))
        for user, cache, life in (("Administrator", "expired.cc", "1s"), ("clerk", "user.cc", "1h"),
                                  ("Administrator", "admin.cc", "1h")):
            run("kinit", "-f", "-l", life, "-c", place / cache, user, input=PASSWORD + "\n")
        time.sleep(2)  # until the first ticket has expired
        for command in commands:
            if subprocess.run(["setpriv", "--pdeathsig", "TERM", *command]).returncode:
                failed.append("FAILED: " + " ".join(command))
    finally:
        web_process.terminate()
        web_process.wait()
        server.kill()
        server.wait()
    sys.exit("\n".join(failed) or 0)


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    if os.geteuid():
        sys.exit("The test directory needs the ports 88 and 389: run the tests as root.")
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("The test run was ended."))
    with tempfile.TemporaryDirectory(prefix="rehome-samba-", ignore_cleanup_errors=True) as folder:
        main(pathlib.Path(folder), [c.split("\n") for c in "\n".join(sys.argv[1:]).split("\n---\n")])
