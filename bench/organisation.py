"""The organisation that is measured: servers, 5 stores on each, and any number of users."""
import base64, socket, uuid

# Spelt as slapd spells them: as in Active Directory, homeMDB and the stores' names must agree.
BASE = "dc=bench,dc=test"
CONFIGURATION = "cn=Configuration," + BASE
SCHEMA = "cn=Schema," + CONFIGURATION
USERS = "ou=Staff," + BASE
SERVERS = ("cn=Servers,cn=First Administrative Group,cn=Administrative Groups,cn=Bench,"
           "cn=Microsoft Exchange,cn=Services," + CONFIGURATION)
LEGACY = "/o=Bench/ou=First Administrative Group/cn="
LOCAL = socket.gethostname().split(".")[0].upper()[:15]  # as its NetBIOS name
SERVER_COUNT = 20  # unless the number of servers is what is measured
STORES = 5
GROUP = "First Storage Group"

# As the tool asks for its list.
FILTER = ("(&(&(& (mailnickname=*) (| (&(objectCategory={})(objectClass=user)(|(homeMDB=*)"
          "(msExchHomeServerName=*))) ))))")
ATTRIBUTES = ("ADsPath", "displayName", "distinguishedName", "homeMDB", "mailNickname",
              "objectGUID", "mail", "legacyExchangeDN", "msExchHideFromAddressLists",
              "proxyAddresses")
WRITABLE = ("cn", "homeMDB", "homeMTA", "mail", "mailNickname", "mDBUseDefaults",
            "msExchHomeServerName", "msExchMailboxGuid", "proxyAddresses")


class Store:
    """One by the server's and its own number, both counted from 0."""

    def __init__(self, server, number):
        self.server = server
        computer = f"EXCHANGE{server + 1:02}" if server else LOCAL
        self.server_name = f"cn={computer},{SERVERS}"
        name = f"Mailbox Store {number + 1}"
        self.name = f"cn={name},cn={GROUP},cn=InformationStore,{self.server_name}"
        self.shown = f"{computer}:{GROUP}\\{name}"
        self.legacy_server = LEGACY + "Configuration/cn=Servers/cn=" + computer
        self.agent = "cn=Microsoft MTA," + self.server_name


def guid(number):
    """Its first eight digits are the number."""
    return uuid.UUID(fields=(number, 0xBE0C, 0x4E0B, 0x80, 0, 0))


def user_name(number):
    return f"cn=user{number:05},{USERS}"


def home(number, movable, servers=SERVER_COUNT):
    """The first users all live in the same local store; no other does, nor in the next, which is
    where they move to."""
    if number < movable:
        return Store(0, 0)
    place = number % (servers * STORES - 2) + 2
    return Store(*divmod(place, STORES))


def record(dn, classes, named=True, **attributes):
    """`named`: with the two attributes that Active Directory itself gives every object."""
    lines = ["dn: " + dn, "objectClass: top", *("objectClass: " + kind for kind in classes)]
    if named:
        lines += ["name: " + dn.split("=", 1)[1].split(",")[0], "distinguishedName: " + dn]
    for attribute, values in attributes.items():
        for value in values if isinstance(values, list) else [values]:
            if isinstance(value, bytes):
                lines.append(f"{attribute}:: {base64.b64encode(value).decode()}")
            else:
                lines.append(f"{attribute}: {value}")
    return "\n".join(lines) + "\n\n"


def container(name):
    return record(name, ["container"], cn=name.split(",")[0].split("=")[1])


def configuration(servers=SERVER_COUNT, host=lambda server: "127.0.0.1"):
    """`host`: by which a server, counted from 0, is found."""
    yield record(BASE, ["domain"], dc="bench")
    yield container(CONFIGURATION)
    yield container(SCHEMA)
    for attribute in WRITABLE:
        yield record(f"cn={attribute},{SCHEMA}", ["attributeSchema"], cn=attribute,
                     lDAPDisplayName=attribute)
    for levels in range(5, -1, -1):
        yield container(SERVERS.split(",", levels)[-1])
    for server in range(servers):
        where = Store(server, 0)
        yield record(where.server_name, ["msExchExchangeServer"],
                     cn=where.server_name.split(",")[0].split("=")[1],
                     objectGUID=guid(1 << 24 | server).bytes_le,
                     legacyExchangeDN=where.legacy_server,
                     networkAddress="ncacn_ip_tcp:" + host(server))
        yield record(where.agent, ["mTA"], cn="Microsoft MTA")
        yield container("cn=InformationStore," + where.server_name)
        yield record(where.name.split(",", 1)[1], ["msExchStorageGroup"], cn=GROUP,
                     msExchESEParamBaseName="E00")
        for number in range(STORES):
            yield record(Store(server, number).name, ["msExchPrivateMDB"],
                         cn=f"Mailbox Store {number + 1}", msExchEDBOffline="FALSE")
    yield record(USERS, ["organizationalUnit"], ou="Staff")


def users(count, movable, category, servers=SERVER_COUNT):
    for number in range(count):
        login, store = f"user{number:05}", home(number, movable, servers)
        yield record(
            user_name(number), ["person", "user"], cn=login, displayName="Mailbox of " + login,
            objectCategory=category, objectGUID=guid(number).bytes_le, sAMAccountName=login,
            mailNickname=login,
            mail=login + "@bench.test",
            proxyAddresses=[f"SMTP:{login}@bench.test", f"smtp:{login}@old.bench.test",
                            f"X400:c=US;a= ;p=Bench;o=Exchange;s={login};"],
            legacyExchangeDN=LEGACY + "Recipients/cn=" + login, homeMDB=store.name,
            homeMTA=store.agent, msExchHomeServerName=store.legacy_server, mDBUseDefaults="TRUE",
            msExchHideFromAddressLists="FALSE",
            msExchMailboxGuid=guid(1 << 25 | number).bytes_le)


def root_object():
    return (f"dn:\ndefaultNamingContext: {BASE}\nconfigurationNamingContext: {CONFIGURATION}\n"
            f"schemaNamingContext: {SCHEMA}\n")


def moves(names, destination):
    """What the tool changes to move users: the drop, then the creation."""
    lines = []
    for name in names:
        for changes in (
                {"homeMDB": None, "homeMTA": None, "msExchHomeServerName": None},
                {"homeMDB": destination.name, "msExchHomeServerName": destination.legacy_server,
                 "homeMTA": destination.agent}):
            lines += ["dn: " + name, "changetype: modify"]
            for attribute, value in changes.items():
                lines.append("replace: " + attribute)
                if value:
                    lines.append(f"{attribute}: {value}")
                lines.append("-")
            lines.append("")
    return "\n".join(lines) + "\n"
