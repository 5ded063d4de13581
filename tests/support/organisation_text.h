#pragma once

#include <QByteArray>
#include <QStringList>

namespace rehome::test {

/// Writes a small organisation as LDIF, object by object.
class OrganisationText {
public:
    explicit OrganisationText(const QString& localServer = "EX1") {
        m_text = "dn:\ndefaultNamingContext: DC=t\nconfigurationNamingContext: "
                 "CN=Configuration,DC=t\nrehomeLocalServer: " +
                 localServer + "\n\n";
        object("DC=t", {"domain"});
    }

    static QString serverDN(const QString& server) {
        return "CN=" + server + ",CN=Servers,CN=Configuration,DC=t";
    }
    /// `path` is "server/group" or "server/group/store", as a distinguished name writes names.
    static QString storeDN(const QString& path) {
        QStringList names = path.split('/');
        const QString server = names.takeFirst();
        QString dn = "CN=InformationStore," + serverDN(server);
        for (const QString& name : names)
            dn.prepend("CN=" + name + ',');
        return dn;
    }
    static QString userDN(const QString& name) { return "CN=" + name + ",DC=t"; }

    OrganisationText& server(const QString& name, const QString& more = {}) {
        object(serverDN(name), {"msExchExchangeServer"},
               "legacyExchangeDN: /o=T/cn=" + name + '\n' + more);
        return object("CN=Microsoft MTA," + serverDN(name), {"mTA"});
    }
    OrganisationText& group(const QString& path, const QString& more = {}) {
        return object(storeDN(path), {"msExchStorageGroup"}, more);
    }
    OrganisationText& store(const QString& path, int state = 0) {
        return object(storeDN(path), {"msExchPrivateMDB"},
                      "rehomeStoreState: " + QString::number(state) + '\n');
    }
    /// A mailbox-enabled user u with the address u@t; `more` are further LDIF lines.
    OrganisationText& user(const QString& name, const QString& storePath,
                           const QString& more = {}) {
        return bareUser(name, QString("mail: %1@t\ndisplayName: Display %1\nhomeMDB: %2\n")
                                      .arg(name, storeDN(storePath)) +
                                  more);
    }
    /// A user with an alias and nothing else of a mailbox.
    OrganisationText& bareUser(const QString& name, const QString& more) {
        return object(userDN(name), {"person", "user"},
                      QString("objectCategory: CN=Person,CN=Schema,CN=Configuration,DC=t\n"
                              "mailNickname: %1\nproxyAddresses: SMTP:%1@t\n")
                              .arg(name) +
                          more);
    }
    OrganisationText& object(const QString& dn, const QStringList& classes,
                             const QString& more = {}) {
        m_text += "dn: " + dn +
                  "\nobjectClass: top\nobjectClass: " + classes.join("\nobjectClass: ") + '\n' +
                  more + '\n';
        return *this;
    }

    QByteArray ldif() const { return m_text.toUtf8(); }

private:
    QString m_text;
};

/// EX1 (local) with the online stores SG/A and SG/B, EX2 with SG/C online and SG/D offline; the
/// users u1 and u2 on EX2's C, u3 on its D, u4 on EX1's A, those up to `users` on C.
inline OrganisationText smallOrganisation(int users = 4) {
    OrganisationText text;
    text.server("EX1").group("EX1/SG").store("EX1/SG/A").store("EX1/SG/B");
    text.server("EX2").group("EX2/SG").store("EX2/SG/C").store("EX2/SG/D", 1);
    for (int i = 1; i <= users; ++i)
        text.user(QString("u%1").arg(i), i == 3 ? "EX2/SG/D" : i == 4 ? "EX1/SG/A" : "EX2/SG/C");
    return text;
}

} // namespace rehome::test
