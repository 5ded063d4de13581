#include "mailbox/moves.h"
#include "platform/error.h"
#include "support/rehearsal.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace rehome;
using namespace rehome::mailbox;
using test::OrganisationText;
using test::u;

namespace {

const QString A = OrganisationText::storeDN(u("EX1/SG/A"));
const QString B = OrganisationText::storeDN(u("EX1/SG/B"));
const QString C = OrganisationText::storeDN(u("EX2/SG/C"));

/// The record of the organisation's first user, and the two local stores catalogued.
struct Subject {
    explicit Subject(const OrganisationText& text = test::smallOrganisation()) : rehearsal(text) {
        const auto users = rehearsal.users();
        dn = users->Fields(u("mail")).Object;
        record->initFromRS(*users, u("EX2:SG\\C"), u("Online"));
        for (const QString& name : {A, B}) {
            auto store = std::make_shared<topology::StoreConfig>();
            store->init(name, 0, u("EX1"), u("SG"), name.mid(3, 1));
            stores.Add(store, name);
        }
        rehearsal.directory.session(); // the bindings share one
        rehearsal.calls.made.clear();
    }
    QString bind() const { return u("read <GUID=%1>").arg(record->GetID().mid(1, 36)); }
    QString modify() const { return u("modify") + bind().mid(4); }
    QString values(const char* name) const { return rehearsal.values(dn, u(name)).join(u','); }

    test::Rehearsal rehearsal;
    QString dn;
    std::shared_ptr<MailboxUser> record = std::make_shared<MailboxUser>(rehearsal.platform);
    topology::StoreCatalogue stores;
    Mailboxes moved;
};

class MailboxTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void moveCallsAndEffect() {
        Subject s;
        QVERIFY(MoveMailbox2(s.record, u("ex1:sg\\b"), s.stores, s.moved));
        const QStringList made = s.rehearsal.calls.made;
        QCOMPARE(made.size(), 6); // round trips
        QCOMPARE(made.mid(0, 4),
                 QStringList({s.bind(), s.modify() + u(" homeMDB="), s.bind(), u("read ") + B}));
        QVERIFY(made.at(4).startsWith(u("find ") + OrganisationText::serverDN(u("EX1"))));
        QVERIFY(made.at(5).startsWith(s.modify() + u(" homeMDB=") + B));
        QCOMPARE(s.values("homeMDB"), B);
        QCOMPARE(s.values("msExchHomeServerName"), u("/o=T/cn=EX1"));
        QCOMPARE(s.values("homeMTA"),
                 u("CN=Microsoft MTA,") + OrganisationText::serverDN(u("EX1")));
        QCOMPARE(
            s.rehearsal.organisation.object(s.dn)->values(u("msExchMailboxGuid")).value(0).size(),
            16);
        QCOMPARE(s.values("mDBUseDefaults") + s.values("mail"), u("TRUEu1@t"));

        // What a crash right after the drop would need stands on one line.
        QCOMPARE(s.rehearsal.journal.lines.size(), 1);
        const auto line = s.rehearsal.journal.lines.constFirst();
        QVERIFY(line.startsWith(u("drop {")) && !line.contains(u'\n'));
        const auto drop = QJsonDocument::fromJson(line.mid(5).toUtf8()).object();
        QCOMPARE(drop[u("objectGUID")].toString(), s.record->GetID());
        QCOMPARE(drop[u("distinguishedName")].toString() + drop[u("homeMDB")].toString(), s.dn + C);
        QCOMPARE(drop[u("mail")].toString(), u("u1@t"));
        QCOMPARE(drop[u("proxyAddresses")].toVariant().toStringList(), QStringList(u("SMTP:u1@t")));

        QVERIFY(MoveMailbox2(s.record, u("EX1:SG\\A"), s.stores, s.moved));
        QVERIFY(!MoveMailbox2(s.record, u("EX1:SG\\Z"), s.stores, s.moved));
        QCOMPARE(s.moved.Count(), 1);
        QCOMPARE(s.values("homeMDB"), A);
        QCOMPARE(s.rehearsal.calls.made.size(), 12);
        QVERIFY(s.rehearsal.desktop.shown.isEmpty());
    }

    void dropKeepsWhatCannotBeMadeAgain() {
        OrganisationText text;
        text.user(u("k"), u("EX2/SG/C"),
                  u("mDBUseDefaults: FALSE\nmsExchMailboxSecurityDescriptor: own\n"
                    "msExchHomeServerName: x\nmsExchMailboxGuid:: AAECAwQFBgcICQoLDA0ODw==\n"));
        text.server(u("EX1")).group(u("EX1/SG")).store(u("EX1/SG/A"));
        Subject s(text);
        s.record->DropUserMailbox();
        for (const char* gone : {"homeMDB", "msExchHomeServerName", "msExchMailboxGuid"})
            QCOMPARE(s.values(gone), QString());
        QVERIFY(s.record->CreateUserMailbox(A));
        QCOMPARE(s.values("mDBUseDefaults") + s.values("mailNickname"), u("FALSEk"));
        QCOMPARE(s.values("msExchMailboxSecurityDescriptor"), u("own"));
    }

    /// Whichever call fails: the addresses stay, the result tells the truth, the mailbox is
    /// recorded, and what went wrong is shown once.
    void everyCallFailsOnce() {
        for (int n = 0; n < 6; ++n) {
            Subject s;
            s.rehearsal.calls.failing = u(" "); // any call
            s.rehearsal.calls.which = {n};
            QVERIFY(!MoveMailbox2(s.record, u("EX1:SG\\B"), s.stores, s.moved));
            QCOMPARE(s.rehearsal.calls.failings, 1);
            QCOMPARE(s.moved.Count(), 1);
            QCOMPARE(s.values("mail") + s.values("proxyAddresses"), u("u1@tSMTP:u1@t"));
            const bool dropRefused = n < 2; // its mailbox is then in the way of the creation
            QCOMPARE(s.values("homeMDB"), dropRefused ? C : QString());
            QCOMPARE(s.rehearsal.desktop.shown.size(), 1);
            const auto& box = s.rehearsal.desktop.shown.constFirst();
            QVERIFY(box.Text.startsWith(u("Failed to create mailbox on new location:")));
            QVERIFY2(box.Text.endsWith(dropRefused ? u("still has a mailbox on %1.").arg(C)
                                                   : s.rehearsal.calls.made.constLast()),
                     qPrintable(box.Text));
            QVERIFY(box.Icon == platform::Icon::Critical && box.Title.isNull());
            QCOMPARE(s.rehearsal.journal.lines.filter(u("failed: refused")).size(),
                     dropRefused ? 1 : 0);
        }
        for (const QString& home : {u("CN=gone,DC=t"), OrganisationText::serverDN(u("EX1"))}) {
            Subject s;
            s.record->DropUserMailbox();
            QVERIFY(!s.record->CreateUserMailbox(home));
            QVERIFY(s.rehearsal.desktop.texts().constFirst().contains(home));
        }
    }

    void updateEmail() {
        for (const bool addressed : {true, false}) {
            OrganisationText text;
            text.object(OrganisationText::userDN(u("x")), {"person", "user"},
                        u("mailNickname: x\nmail: x@t\n") +
                            (addressed ? u("proxyAddresses: SMTP:x@t\n") : QString()));
            Subject s(text);
            s.rehearsal.organisation.modify(
                s.dn,
                {{u("mail"), {"other@t"}}, {u("proxyAddresses"), {"SMTP:other@t", "X400:x"}}});
            QCOMPARE(s.record->GetRealMail(), u("other@t"));
            s.record->UpdateEmail();
            const QString list = addressed ? u("SMTP:x@t") : QString();
            QCOMPARE(s.rehearsal.calls.made,
                     QStringList(
                         {s.bind(), s.bind(), s.modify() + u(" mail=x@t;ProxyAddresses=") + list}));
            QCOMPARE(s.record->GetRealMail(), u("x@t"));
            QCOMPARE(s.values("proxyAddresses"), list);
            s.rehearsal.organisation.modify(s.dn, {{u("mail"), {}}});
            QCOMPARE(s.record->GetRealMail(), QString());
            s.rehearsal.calls.failing = u("read");
            QVERIFY_THROWS_EXCEPTION(Error, s.record->GetRealMail());
            QVERIFY_THROWS_EXCEPTION(Error, s.record->UpdateEmail());
        }
        try {
            Subject none(OrganisationText().bareUser(u("nomail"), {}));
            QFAIL("a null mail became a text");
        } catch (const Error& error) {
            QVERIFY2(error.description().contains(u("\"mail\" of CN=nomail,DC=t")), error.what());
        }
    }
};

} // namespace

QTEST_MAIN(MailboxTest)
#include "mailbox_test.moc"
