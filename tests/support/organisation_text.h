#pragma once

#include <QByteArray>
#include <QString>

namespace rehome::test {

inline QString u(const char* text) {
    return QString::fromUtf8(text);
}

/// Writes a small organisation as LDIF, object by object.
class OrganisationText {
public:
    explicit OrganisationText(const QString& localServer = QStringLiteral("EX1")) {
        m_text = QStringLiteral("dn:\ndefaultNamingContext: DC=t\nconfigurationNamingContext: "
                                "CN=Configuration,DC=t\nrehomeLocalServer: %1\n\n")
                     .arg(localServer);
        object(QStringLiteral("DC=t"), {"domain"});
    }

    static QString serverDN(const QString& server) {
        return QStringLiteral("CN=%1,CN=Servers,CN=Configuration,DC=t").arg(server);
    }
    /// `path` is "server/group/store", its names as a distinguished name writes them.
    static QString storeDN(const QString& path) {
        return QStringLiteral("CN=%1,CN=%2,CN=InformationStore,%3")
            .arg(path.section(u'/', 2), path.section(u'/', 1, 1),
                 serverDN(path.section(u'/', 0, 0)));
    }
    static QString userDN(const QString& name) { return QStringLiteral("CN=%1,DC=t").arg(name); }

    OrganisationText& server(const QString& name, const QString& more = {}) {
        object(serverDN(name), {"msExchExchangeServer"},
               QStringLiteral("legacyExchangeDN: /o=T/cn=%1\n").arg(name) + more);
        object(QStringLiteral("CN=Microsoft MTA,") + serverDN(name), {"mTA"});
        return *this;
    }
    OrganisationText& group(const QString& path, const QString& more = {}) {
        return object(QStringLiteral("CN=%1,CN=InformationStore,%2")
                          .arg(path.section(u'/', 1), serverDN(path.section(u'/', 0, 0))),
                      {"msExchStorageGroup"}, more);
    }
    OrganisationText& store(const QString& path, int state = 0) {
        return object(storeDN(path), {"msExchPrivateMDB"},
                      QStringLiteral("rehomeStoreState: %1\n").arg(state));
    }
    /// A mailbox-enabled user u with the address u@t; `more` are further LDIF lines.
    OrganisationText& user(const QString& name, const QString& storePath,
                           const QString& more = {}) {
        return bareUser(name, QStringLiteral("mail: %1@t\ndisplayName: Display %1\nhomeMDB: %2\n")
                                      .arg(name, storeDN(storePath)) +
                                  more);
    }
    /// A user with an alias and nothing else of a mailbox.
    OrganisationText& bareUser(const QString& name, const QString& more) {
        return object(userDN(name), {"person", "user"},
                      QStringLiteral("objectCategory: CN=Person,CN=Schema,CN=Configuration,DC=t\n"
                                     "mailNickname: %1\nproxyAddresses: SMTP:%1@t\n")
                              .arg(name) +
                          more);
    }
    OrganisationText& object(const QString& dn, std::initializer_list<const char*> classes,
                             const QString& more = {}) {
        m_text += QStringLiteral("dn: %1\nobjectClass: top\n").arg(dn);
        for (const char* name : classes)
            m_text += QStringLiteral("objectClass: %1\n").arg(QLatin1String(name));
        m_text += more + u'\n';
        return *this;
    }

    QByteArray ldif() const { return m_text.toUtf8(); }

private:
    QString m_text;
};

/// EX1 (local) with the online stores SG/A and SG/B, EX2 with SG/C online and SG/D offline; the
/// users u1 and u2 on EX2's C, u3 on its D, u4 on EX1's A.
inline OrganisationText smallOrganisation() {
    OrganisationText text;
    for (const char* server : {"EX1", "EX2"})
        text.server(QLatin1String(server)).group(QLatin1String(server) + QStringLiteral("/SG"));
    text.store(QStringLiteral("EX1/SG/A")).store(QStringLiteral("EX1/SG/B"));
    text.store(QStringLiteral("EX2/SG/C")).store(QStringLiteral("EX2/SG/D"), 1);
    text.user(QStringLiteral("u1"), QStringLiteral("EX2/SG/C"));
    text.user(QStringLiteral("u2"), QStringLiteral("EX2/SG/C"));
    text.user(QStringLiteral("u3"), QStringLiteral("EX2/SG/D"));
    text.user(QStringLiteral("u4"), QStringLiteral("EX1/SG/A"));
    return text;
}

} // namespace rehome::test
