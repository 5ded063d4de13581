// Finds the directory by the SRV records of the ticket's domain, asked of the directory's own name
// server.
#include "platform/error.h"
#include "platform/ldap/ldap_engine.h"
#include "platform/ldap/server_location.h"
#include "support/test_directory.h"

#include <QDir>
#include <QTest>

#include <unistd.h>

using namespace rehome;
using namespace Qt::Literals::StringLiterals;

class LdapLocationTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void findsTheDirectoryOfTheTicketsDomain() {
        QCOMPARE(ldap::locateServers(), QStringList{u"ldap://dc1.rehome.test"_s});
        QVERIFY(ldap::LdapEngine().openSession()->search({})->next());
    }
    void saysWhereItLookedInVain() {
        qputenv("KRB5CCNAME", "/nowhere");
        try {
            (void)ldap::LdapEngine().openSession();
            QFAIL("no failure");
        } catch (const Error& error) {
            QVERIFY2(error.description().contains(u"elsewhere.test"_s), error.what());
        }
    }
};

namespace {

void write(const QString& path, const QString& text) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0)
        throw std::runtime_error("cannot write " + path.toStdString());
}

} // namespace

int main(int argc, char** argv) {
    const test::TestDirectory directory;
    qunsetenv("LDAPURI");
    if (qEnvironmentVariableIsEmpty("RESOLV_WRAPPER_CONF")) {
        // The wrappers have to be there before the process begins.
        const QString place = qEnvironmentVariable("REHOME_TEST_DIRECTORY");
        const QString address = directory.value("ADDRESS");
        write(place + u"/resolv.conf"_s, u"nameserver %1\n"_s.arg(address));
        write(place + u"/hosts"_s, u"%1 dc1.rehome.test dc1\n"_s.arg(address));
        qputenv("RESOLV_WRAPPER_CONF", (place + u"/resolv.conf"_s).toUtf8());
        qputenv("NSS_WRAPPER_HOSTS", (place + u"/hosts"_s).toUtf8());
        qputenv("LOCALDOMAIN", "elsewhere.test");
        qputenv("LD_PRELOAD", "libresolv_wrapper.so:libnss_wrapper.so");
        qputenv("RESOLV_WRAPPER_DISABLE_DEEPBIND", "1"); // AddressSanitizer refuses it
        qputenv("NSS_WRAPPER_DISABLE_DEEPBIND", "1");
        qputenv("ASAN_OPTIONS", "verify_asan_link_order=0");
        return execv(argv[0], argv);
    }
    LdapLocationTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "ldap_location_test.moc"
