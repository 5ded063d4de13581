// Finds the directory by the SRV records of the ticket's domain, asked of the directory's own name
// server.
#include "platform/engine_contract.h"
#include "platform/ldap/ldap_engine.h"
#include "platform/ldap/server_location.h"
#include "support/test_directory.h"

using namespace rehome;
using namespace Qt::Literals::StringLiterals;

class LdapLocationTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void findsTheDirectoryOfTheTicketsDomain() {
        const test::TestDirectory directory;
        qunsetenv("LDAPURI");
        QCOMPARE(ldap::locateServers(), QStringList{u"ldap://dc1.rehome.test"_s});
        QVERIFY(ldap::LdapEngine().openSession()->search({})->next());
        qputenv("KRB5CCNAME", "/nowhere");
        const QString said = test::errorOf([] { (void)ldap::LdapEngine().openSession(); });
        QVERIFY2(said.contains(u"elsewhere.test"_s), qPrintable(said));
    }
};

QTEST_GUILESS_MAIN(LdapLocationTest)
#include "ldap_location_test.moc"
