#include "topology/servers.h"

namespace rehome::topology {

void GetExchServers(adsi::DirectoryServices& directory, KeyedCollection<QString>& ServerNames,
                    KeyedCollection<QString>& ServerDNs) {
    const auto root = directory.BindObject(QStringLiteral("LDAP://RootDSE"));
    const QString context = root->GetText(QStringLiteral("configurationNamingContext"));

    const auto connection = directory.CreateConnection();
    connection->setProvider(QStringLiteral("ADSDSOObject"));
    connection->Open(QStringLiteral("ADs Provider"), QString(), QString(),
                     adsi::UnspecifiedOptions);
    ServerNames = {};
    ServerDNs = {};

    const auto records =
        connection->Execute(QStringLiteral("<LDAP://") + context +
                                QStringLiteral(">;(objectClass=msExchExchangeServer);"
                                               "name,distinguishedName,objectGUID;subtree"),
                            adsi::UnspecifiedOptions);
    if (!records->Bof()) {
        records->MoveFirst();
        while (!records->Eof()) {
            const QString dn =
                platform::toText(records->Fields(QStringLiteral("distinguishedName")));
            const QString name = platform::toText(records->Fields(QStringLiteral("name")));
            ServerNames.Add(name);
            if (const QString* other = ServerDNs.find(name))
                throw Error(QStringLiteral("There are two Exchange servers called \"%1\": %2 and "
                                           "%3. One of the objects must be renamed or removed.")
                                .arg(name, *other, dn));
            ServerDNs.Add(dn, name);
            records->MoveNext();
        }
    }
    records->Close();
}

} // namespace rehome::topology
