#!/usr/bin/python3
"""A throwaway Active Directory with an Exchange organisation, for the tests.

  samba_directory.py start DIR     starts it; DIR/env tells the tests where it is
  samba_directory.py restart DIR   kills the server, starts it again and waits for it
  samba_directory.py stop DIR      ends it and removes DIR

It ends by itself when the process that ran "start" does. Needs root: the ports are fixed.
"""
import os, random, shutil, signal, socket, subprocess, sys, time

REALM, DOMAIN, BASE = "REHOME.TEST", "rehome.test", "DC=rehome,DC=test"
CONFIG = "CN=Configuration," + BASE
SERVERS = ("CN=Servers,CN=First Administrative Group,CN=Administrative Groups,CN=Test Organisation,"
           "CN=Microsoft Exchange,CN=Services," + CONFIG)
LEGACY = "/o=Test Organisation/ou=First Administrative Group/cn=Configuration/cn=Servers/cn="
PASSWORD = "Throw-away1"
HERE = os.path.dirname(os.path.abspath(__file__))
LOCAL = socket.gethostname().split(".")[0].upper()


def run(*command, **more):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, **more)
    if done.returncode:
        sys.exit("%s failed:\n%s" % (" ".join(command), done.stdout))


def write(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def settings(place):
    with open(place + "/env", encoding="utf-8") as file:
        return dict(line.rstrip("\n").split("=", 1) for line in file)


def database(place):
    from samba.auth import system_session
    from samba.param import LoadParm
    from samba.samdb import SamDB
    parameters = LoadParm(place + "/etc/smb.conf")
    parameters.set("dsdb:schema update allowed", "true")
    return SamDB(url=place + "/private/sam.ldb", session_info=system_session(), lp=parameters)


def extend_schema(db):
    with open(HERE + "/exchange_schema.ldif", encoding="utf-8") as file:
        for record in file.read().split("\n\n"):
            if "attributeSchema" not in record:
                db.set_schema_update_now()  # what it names has just been added
            if "dn:" in record:
                (db.modify_ldif if "changetype" in record else db.add_ldif)(record + "\n")
    db.set_schema_update_now()


def add_organisation(db, address):
    """Three servers: this host, one that is up, one that does not answer."""
    def add(name, kind, *lines):
        db.add_ldif("\n".join([f"dn: {name}", f"objectClass: {kind}", *lines]) + "\n")
    for levels in range(4, -1, -1):
        add(SERVERS.split(",", levels)[-1], "container")
    for server, where in ((LOCAL, address), ("EXUP", address), ("EXDOWN", "127.77.255.255")):
        name = f"CN={server},{SERVERS}"
        add(name, "msExchExchangeServer", f"legacyExchangeDN: {LEGACY}{server}",
            "networkAddress: ncacn_vns_spp:" + server, "networkAddress: ncacn_ip_tcp:" + where)
        add("CN=Microsoft MTA," + name, "mTA")
        add("CN=InformationStore," + name, "msExchInformationStore")
        for group, prefix in (("First Storage Group", "E00"), ("Second Storage Group", None),
                              ("Recovery Storage Group", "R00")):
            within = f"CN={group},CN=InformationStore,{name}"
            add(within, "msExchStorageGroup",
                *(["msExchESEParamBaseName: " + prefix] if prefix else []))
            add("CN=Mailbox Store," + within, "msExchPrivateMDB", "msExchEDBOffline: FALSE")
            add("CN=Accounts\\, Sales," + within, "msExchPrivateMDB", "msExchEDBOffline: TRUE")
            add("CN=Public Folder Store," + within, "msExchPublicMDB")


def add_users(db):
    """40 with a mailbox, and a crowd without."""
    db.transaction_start()
    for unit in ("Staff", "Crowd"):
        db.add_ldif(f"dn: OU={unit},{BASE}\nobjectClass: organizationalUnit\n")
    for number in range(40):
        login, server = f"user{number:04}", (LOCAL, "EXUP", "EXDOWN")[number % 3]
        store = ("Mailbox Store", "Accounts\\, Sales")[number // 3 % 2]
        home = f"CN={store},CN=First Storage Group,CN=InformationStore,CN={server},{SERVERS}"
        db.add_ldif(f"dn: CN={login},OU=Staff,{BASE}\nobjectClass: user\nsAMAccountName: {login}\n"
                    f"displayName: Mailbox {login}\nmailNickname: {login}\nhomeMDB: {home}\n"
                    f"homeMTA: CN=Microsoft MTA,CN={server},{SERVERS}\nmDBUseDefaults: TRUE\n"
                    f"msExchHomeServerName: {LEGACY}{server}\nmail: {login}@{DOMAIN}\n"
                    f"proxyAddresses: SMTP:{login}@{DOMAIN}\n"
                    f"proxyAddresses: smtp:{login}.old@{DOMAIN}\n")
    for number in range(3000):
        db.add_ldif(f"dn: CN=crowd{number},OU=Crowd,{BASE}\nobjectClass: user\n"
                    f"sAMAccountName: crowd{number}\n")
    db.transaction_commit()


def wait_for(what, ready, process=None):
    until = time.monotonic() + 60
    while not ready():
        if time.monotonic() > until or (process and process.poll() is not None):
            sys.exit(what + " did not come about; see log.samba")
        time.sleep(0.1)


def answers(address, port):
    try:
        with socket.create_connection((address, port), 1):
            return True
    except OSError:
        return False


def serve(place, address):
    server = subprocess.Popen(["/usr/sbin/samba", "--foreground", "--no-process-group",
                               "--model=single", "--configfile=" + place + "/etc/smb.conf"],
                              stdin=subprocess.DEVNULL, stdout=open(place + "/log.samba", "a"),
                              stderr=subprocess.STDOUT, start_new_session=True)
    write(place + "/samba.pid", str(server.pid))
    wait_for("A listening server", lambda: all(answers(address, port) for port in (88, 135, 389)),
             server)


def kill(place):
    try:
        with open(place + "/samba.pid", encoding="ascii") as file:
            os.killpg(int(file.read()), signal.SIGKILL)
        wait_for("The server's end", lambda: not answers(settings(place)["ADDRESS"], 389))
    except OSError:
        pass


def stop(place):
    kill(place)
    shutil.rmtree(place, ignore_errors=True)


def watch(place, owner):
    """Stays behind and cleans up when the test run ends without doing so."""
    if os.fork():
        return
    os.setsid()
    null = os.open(os.devnull, os.O_RDWR)
    for stream in (0, 1, 2):
        os.dup2(null, stream)
    while os.path.exists(place):
        time.sleep(1)
        if not os.path.exists("/proc/%d" % owner):
            stop(place)
    os._exit(0)


def kinit(place, user, cache, *options):
    run("kinit", *options, "-c", place + "/" + cache, user + "@" + REALM, input=PASSWORD + "\n",
        env={**os.environ, "KRB5_CONFIG": place + "/krb5.conf"})


def start(place):
    stop(place)
    os.makedirs(place)
    if os.geteuid():
        sys.exit("The test directory needs the ports 88 and 389: run the tests as root.")
    # Another test run may be under way.
    address = "127.77.%d.%d" % (random.randint(0, 254), random.randint(1, 254))
    write(place + "/env",
          f"ADDRESS={address}\nLDAPURI=ldap://{address}\nKRB5_CONFIG={place}/krb5.conf\n"
          f"ADMIN_CACHE={place}/admin.cc\nUSER_CACHE={place}/user.cc\n"
          f"EXPIRED_CACHE={place}/expired.cc\nCA={place}/cert.pem\nPID_FILE={place}/samba.pid\n"
          f"DOMAIN={DOMAIN}\nBASE={BASE}\nCONFIGURATION={CONFIG}\nUSERS=OU=Staff,{BASE}\n"
          f"SERVERS={SERVERS}\nLOCAL={LOCAL}\nPASSWORD={PASSWORD}\n")
    watch(place, os.getppid())
    run("samba-tool", "domain", "provision", "--targetdir=" + place, "--realm=" + REALM,
        "--domain=REHOME", "--server-role=dc", "--dns-backend=SAMBA_INTERNAL", "--host-name=dc1",
        "--host-ip=" + address, "--adminpass=" + PASSWORD)
    run("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj",
        "/CN=dc1", "-addext", "subjectAltName=IP:" + address, "-keyout", place + "/key.pem",
        "-out", place + "/cert.pem")
    os.chmod(place + "/key.pem", 0o600)
    for name, target in (("smb.conf", "/etc/smb.conf"), ("krb5.conf", "/krb5.conf")):
        with open(f"{HERE}/{name}.in", encoding="utf-8") as file:
            write(place + target,
                  file.read().replace("@PLACE@", place).replace("@ADDRESS@", address))
    write(place + "/resolv.conf", f"nameserver {address}\n")
    write(place + "/hosts", f"{address} dc1.{DOMAIN} dc1\n")
    db = database(place)
    extend_schema(db)
    db = database(place)
    add_organisation(db, address)
    add_users(db)
    db.newuser("clerk", PASSWORD)
    db.modify_ldif(f"dn: CN=DC1,OU=Domain Controllers,{BASE}\nchangetype: modify\n"
                   f"add: servicePrincipalName\nservicePrincipalName: ldap/{address}\n"
                   f"servicePrincipalName: ldap/dc1.{DOMAIN}\n")
    serve(place, address)
    kinit(place, "Administrator", "expired.cc", "-l", "1s")
    kinit(place, "Administrator", "admin.cc")
    kinit(place, "clerk", "user.cc")
    time.sleep(2)  # until the first ticket has expired


def restart(place):
    kill(place)
    serve(place, settings(place)["ADDRESS"])


if __name__ == "__main__":
    verb, folder = sys.argv[1], os.path.abspath(sys.argv[2])
    {"start": start, "restart": restart, "stop": stop}[verb](folder)
