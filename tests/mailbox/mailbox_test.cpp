#include "mailbox/moves.h"
#include "platform/error.h"
#include "support/rehearsal.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace rehome;
using namespace rehome::mailbox;
using test::OrganisationText;

namespace {

QString u(const char* text) {
    return QString::fromUtf8(text);
}

/// A rehearsal with the record of one of its users and the two local stores catalogued.
struct Subject {
    explicit Subject(const QString& name, const OrganisationText& text = test::smallOrganisation())
        : rehearsal(text), dn(OrganisationText::userDN(name)),
          record(std::make_shared<MailboxUser>(rehearsal.platform)) {
        const auto connection = rehearsal.plainDirectory.CreateConnection();
        connection->setProvider(u("ADSDSOObject"));
        connection->Open(u("ADs Provider"), {}, {}, -1);
        const auto rs = connection->Execute(
            u("<LDAP://DC=t>;(mailNickname=%1);objectGUID,mail,proxyAddresses;subtree").arg(name),
            -1);
        record->initFromRS(*rs, u("EX2:SG\\C"), u("Online"));
        for (const char* path : {"EX1/SG/A", "EX1/SG/B"}) {
            auto store = std::make_shared<topology::StoreConfig>();
            store->init(OrganisationText::storeDN(u(path)), 0, u("EX1"), u("SG"), u(path).right(1));
            stores.Add(store, store->DN());
        }
    }
    QString guidPath() const { return u("LDAP://<GUID=%1>").arg(record->GetID().mid(1, 36)); }
    QStringList values(const char* attribute) const {
        return rehearsal.directory(dn, u(attribute));
    }

    test::Rehearsal rehearsal;
    QString dn;
    std::shared_ptr<MailboxUser> record;
    topology::StoreCatalogue stores;
    Mailboxes moved;
};

class MailboxTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void moveCallsAndEffect() {
        Subject s(u("u1"));
        QVERIFY(MoveMailbox2(s.record, u("ex1:sg\\b"), s.stores, s.moved));
        const QString b = OrganisationText::storeDN(u("EX1/SG/B"));
        QCOMPARE(s.rehearsal.calls.made,
                 QStringList({u("BindUser ") + s.guidPath(), u("MailboxStoreOf"),
                              u("DeleteMailbox"), u("SetInfo"), u("BindUser ") + s.guidPath(),
                              u("MailboxStoreOf"), u("CreateMailbox LDAP://") + b, u("SetInfo")}));
        QCOMPARE(s.values("homeMDB"), QStringList(b));
        QCOMPARE(s.values("msExchHomeServerName"), QStringList(u("/o=T/cn=EX1")));
        QCOMPARE(s.values("homeMTA"),
                 QStringList(u("CN=Microsoft MTA,") + OrganisationText::serverDN(u("EX1"))));
        QCOMPARE(
            s.rehearsal.organisation.object(s.dn)->values(u("msExchMailboxGuid")).value(0).size(),
            16);
        QCOMPARE(s.values("mDBUseDefaults"), QStringList(u("TRUE")));
        QCOMPARE(s.values("mail"), QStringList(u("u1@t")));
        QVERIFY(s.rehearsal.desktop.shown.isEmpty());

        // What a crash right after the drop would need stands on one line.
        QCOMPARE(s.rehearsal.journal.lines.size(), 1);
        const auto line = s.rehearsal.journal.lines.constFirst();
        QVERIFY(line.startsWith(u("drop {")) && !line.contains(u'\n'));
        const auto drop = QJsonDocument::fromJson(line.mid(5).toUtf8()).object();
        QCOMPARE(drop[u("objectGUID")].toString(), s.record->GetID());
        QCOMPARE(drop[u("distinguishedName")].toString(), s.dn);
        QCOMPARE(drop[u("homeMDB")].toString(), OrganisationText::storeDN(u("EX2/SG/C")));
        QCOMPARE(drop[u("mail")].toString(), u("u1@t"));
        QCOMPARE(drop[u("proxyAddresses")].toVariant().toStringList(), QStringList(u("SMTP:u1@t")));

        QVERIFY(MoveMailbox2(s.record, u("EX1:SG\\A"), s.stores, s.moved));
        QCOMPARE(s.moved.Count(), 1);
    }

    void dropKeepsWhatCannotBeMadeAgain() {
        OrganisationText text = test::smallOrganisation();
        const QString kept = u("mDBUseDefaults: FALSE\nmsExchMailboxSecurityDescriptor:: AQID\n");
        text.user(u("k"), u("EX2/SG/C"),
                  kept + u("msExchMailboxGuid:: AAECAwQFBgcICQoLDA0ODw==\n"));
        Subject s(u("k"), text);
        s.record->DropUserMailbox();
        for (const char* gone : {"homeMDB", "homeMTA", "msExchHomeServerName", "msExchMailboxGuid"})
            QVERIFY2(s.values(gone).isEmpty(), gone);
        QVERIFY(s.record->CreateUserMailbox(OrganisationText::storeDN(u("EX1/SG/A"))));
        QCOMPARE(s.values("mDBUseDefaults"), QStringList(u("FALSE")));
        QCOMPARE(s.values("msExchMailboxSecurityDescriptor"), QStringList(u("\x01\x02\x03")));
        QCOMPARE(s.values("mailNickname"), QStringList(u("k")));
    }

    void unknownDestination() {
        Subject s(u("u1"));
        QVERIFY(!MoveMailbox2(s.record, u("EX1:SG\\Z"), s.stores, s.moved));
        QVERIFY(s.rehearsal.calls.made.isEmpty());
        QCOMPARE(s.moved.Count(), 0);
    }

    /// Whichever platform call fails: the addresses stay, the result tells the truth, the mailbox
    /// is recorded, and a mailbox that was not created is told of once.
    void everyCallFailsOnce() {
        for (int n = 0; n < 8; ++n) {
            Subject s(u("u1"));
            s.rehearsal.calls.failAt = n;
            const bool moved = MoveMailbox2(s.record, u("EX1:SG\\B"), s.stores, s.moved);
            QCOMPARE(s.rehearsal.calls.failings, 1);
            QCOMPARE(s.moved.Count(), 1);
            QVERIFY(!moved); // a refused drop leaves a mailbox in the way of the creation
            QCOMPARE(s.values("mail"), QStringList(u("u1@t")));
            QCOMPARE(s.values("proxyAddresses"), QStringList(u("SMTP:u1@t")));
            QCOMPARE(s.rehearsal.homeOf(u("u1")),
                     n < 4 ? OrganisationText::storeDN(u("EX2/SG/C")) : QString());
            QCOMPARE(s.rehearsal.desktop.shown.size(), 1);
            const auto& box = s.rehearsal.desktop.shown.constFirst();
            QVERIFY(box.Text.startsWith(u("Failed to create mailbox on new location:")));
            QVERIFY(box.Text.endsWith(n < 4 ? u("still has a mailbox on ") +
                                                  OrganisationText::storeDN(u("EX2/SG/C")) + u'.'
                                            : u("refused: ") + s.rehearsal.calls.made.at(n)));
            QVERIFY(box.Icon == platform::Icon::Critical && box.Title.isNull());
            QCOMPARE(s.rehearsal.journal.lines.filter(u("failed: refused")).size(), n < 4 ? 1 : 0);
        }
    }

    void creationRefusals_data() {
        QTest::addColumn<QString>("home");
        QTest::addColumn<QString>("reason");
        QTest::newRow("no such object") << u("CN=gone,DC=t") << u("CN=gone,DC=t");
        QTest::newRow("not a store")
            << OrganisationText::serverDN(u("EX1")) << u("not a mailbox store");
    }
    void creationRefusals() {
        QFETCH(QString, home);
        QFETCH(QString, reason);
        Subject s(u("u1"));
        s.record->DropUserMailbox();
        QVERIFY(!s.record->CreateUserMailbox(home));
        QVERIFY(s.rehearsal.desktop.texts().constFirst().contains(reason));
        QVERIFY(s.values("homeMDB").isEmpty());
    }

    void updateEmail() {
        for (const bool addresses : {true, false}) {
            OrganisationText text = test::smallOrganisation();
            const QString name = addresses ? u("u1") : u("bare");
            text.object(OrganisationText::userDN(u("bare")), {"person", "user"},
                        u("mailNickname: bare\nmail: bare@t\n"));
            Subject s(name, text);
            s.rehearsal.organisation.modify(
                s.dn,
                {{u("mail"), {"other@t"}}, {u("proxyAddresses"), {"SMTP:other@t", "X400:x"}}});
            QCOMPARE(s.record->GetRealMail(), u("other@t"));
            s.rehearsal.calls.made.clear();
            s.record->UpdateEmail();
            const QString list = addresses ? u("SMTP:u1@t") : u("null");
            QCOMPARE(s.rehearsal.calls.made,
                     QStringList({u("BindUser ") + s.guidPath(), u("EmailAddress=%1@t").arg(name),
                                  u("Put ProxyAddresses=") + list, u("SetInfo")}));
            QCOMPARE(s.record->GetRealMail(), s.record->GetMail());
            QCOMPARE(s.values("proxyAddresses"), addresses ? QStringList(list) : QStringList());
        }
    }

    void realMailAndNulls() {
        Subject s(u("u1"));
        s.rehearsal.organisation.modify(s.dn, {{u("mail"), {}}});
        QCOMPARE(s.record->GetRealMail(), QString());
        s.rehearsal.calls.failing = u("BindUser");
        QVERIFY_THROWS_EXCEPTION(Error, s.record->GetRealMail());
        QVERIFY_THROWS_EXCEPTION(Error, s.record->UpdateEmail());

        OrganisationText text;
        text.bareUser(u("nomail"), {});
        try {
            Subject none(u("nomail"), text);
            QFAIL("a null mail became a text");
        } catch (const Error& error) {
            QVERIFY2(error.description().contains(u("\"mail\" of CN=nomail,DC=t")), error.what());
        }
    }
};

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    MailboxTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "mailbox_test.moc"
