#include "mailbox/moves.h"
#include "support/rehearsal.h"

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
    bool move(const char* store) { return MoveMailbox2(record, u(store), stores, moved); }
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
    void moves() {
        Subject s;
        const QString server = OrganisationText::serverDN(u("EX1"));
        QVERIFY(s.move("ex1:sg\\b"));
        QString made; // the round trips, without what is written
        for (const QString& call : s.rehearsal.calls.made)
            made += call.section(u' ', 0, 1) + u'|';
        QCOMPARE(made.replace(s.record->GetID().mid(1, 36), u("U")),
                 u("read <GUID=U>|modify <GUID=U>|read <GUID=U>|read %1|find %2|modify <GUID=U>|")
                     .arg(B, server));
        QCOMPARE(s.values("homeMDB"), B);
        QCOMPARE(s.values("msExchHomeServerName"), u("/o=T/cn=EX1"));
        QCOMPARE(s.values("homeMTA"), u("CN=Microsoft MTA,") + server);
        QCOMPARE(s.values("mDBUseDefaults") + s.values("mail"), u("TRUEu1@t"));
        QVERIFY(!s.values("msExchMailboxGuid").isEmpty());

        // What a crash right after the drop would need stands on one line.
        QCOMPARE(s.rehearsal.journal.lines.join(u'\n'),
                 u("drop {\"distinguishedName\":\"%1\",\"homeMDB\":\"%2\",\"homeMTA\":\"\","
                   "\"mail\":\"u1@t\",\"mailNickname\":\"u1\",\"msExchHomeServerName\":\"\","
                   "\"msExchMailboxGuid\":\"\",\"objectGUID\":\"%3\","
                   "\"proxyAddresses\":[\"SMTP:u1@t\"]}")
                     .arg(s.dn, C, s.record->GetID()));

        const QString quota = u("mDBUseDefaults"), access = u("msExchMailboxSecurityDescriptor");
        s.rehearsal.organisation.modify(s.dn, {{quota, {"FALSE"}}, {access, {"own"}}});
        s.record->DropUserMailbox();
        for (const char* gone : {"homeMDB", "homeMTA", "msExchHomeServerName", "msExchMailboxGuid"})
            QCOMPARE(s.values(gone), QString());
        QVERIFY(s.move("EX1:SG\\A") && !s.move("EX1:SG\\Z"));
        QCOMPARE(s.moved.Count(), 1);
        QCOMPARE(s.values("homeMDB"), A);
        QCOMPARE(s.rehearsal.values(s.dn, quota) + s.rehearsal.values(s.dn, access),
                 QStringList({u("FALSE"), u("own")}));
        QVERIFY(s.rehearsal.desktop.shown.isEmpty());
    }

    /// Whichever call fails: the addresses stay, the result tells the truth, the mailbox is
    /// recorded, and what went wrong is shown once.
    void everyCallFailsOnce() {
        for (int n = 0; n < 6; ++n) {
            Subject s;
            s.rehearsal.calls.failing = u(" "); // any call
            s.rehearsal.calls.which = {n};
            QVERIFY(!s.move("EX1:SG\\B"));
            QCOMPARE(s.rehearsal.calls.failings, 1);
            QCOMPARE(s.moved.Count(), 1);
            QCOMPARE(s.values("mail") + s.values("proxyAddresses"), u("u1@tSMTP:u1@t"));
            const bool dropRefused = n < 2; // its mailbox is then in the way of the creation
            QCOMPARE(s.values("homeMDB"), dropRefused ? C : QString());
            QCOMPARE(s.rehearsal.journal.lines.filter(u("failed: refused")).size(), dropRefused);
            QCOMPARE(s.rehearsal.desktop.shown.size(), 1);
            const auto& box = s.rehearsal.desktop.shown.constFirst();
            QVERIFY(box.Icon == platform::Icon::Critical && box.Title.isNull());
            QCOMPARE(box.Text,
                     u("Failed to create mailbox on new location:") +
                         (dropRefused ? u("%1 still has a mailbox on %2.").arg(s.dn, C)
                                      : u("refused: ") + s.rehearsal.calls.made.constLast()));
        }
    }

    void updateEmail() {
        for (const QString& list : {u("SMTP:x@t"), QString()}) {
            OrganisationText text;
            text.object(OrganisationText::userDN(u("x")), {"person", "user"},
                        u("mailNickname: x\nmail: x@t\n") +
                            (list.isEmpty() ? QString() : u("proxyAddresses: %1\n").arg(list)));
            Subject s(text);
            s.rehearsal.organisation.modify(
                s.dn, {{u("mail"), {"new@t"}}, {u("proxyAddresses"), {"SMTP:new@t", "X400:x"}}});
            QCOMPARE(s.record->GetRealMail(), u("new@t"));
            s.record->UpdateEmail();
            QCOMPARE(s.record->GetRealMail(), u("x@t"));
            QCOMPARE(s.values("proxyAddresses"), list);
        }
    }
};

} // namespace

QTEST_MAIN(MailboxTest)
#include "mailbox_test.moc"
