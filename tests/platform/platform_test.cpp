// Directory services over an organisation in process.
#include "engine_contract.h"
#include "journal/recovery_ldif.h"
#include "support/rehearsal.h"

using namespace rehome;
using namespace rehome::embedded;
using namespace rehome::test;

class PlatformTest : public QObject, OrganisationText {
    Q_OBJECT

private Q_SLOTS:
    void contract() {
        const QString sales = "OU=Sales\\, North", tim = "Tim (Sales\\, Berlin)," + sales;
        OrganisationText text = smallOrganisation();
        text.object(sales + ",DC=t", {"organizationalUnit"}).user(tim, "EX1/SG/A");
        Rehearsal r(text);
        checkContract(r.engine, {"DC=t", sales + ",DC=t", userDN(tim), storeDN("EX1/SG/A"),
                                 storeDN("EX1/SG/B"), serverDN("EX1")});
    }

    void readsWhatLdapsearchWrites() {
        QByteArray text =
            "\xEF\xBB\xBF# extended LDIF\n#\n#  a comment\n  that is folded\nversion: 1\n\n# t\n" +
            ldif() +
            "# Zoe, t\ndn: CN=Zo\n e,DC=t\n# within\nobjectClass: top\nobjectClass: "
            "user\nobjectGUID:: AQIDBAUGBwgJCgsMDQ4PEA==\ndisplayName:: w4RubmUg8J2S\n"
            " nA==\nmemberOf: CN=A,DC=t\nhomeMDB: CN=Un\\3Dseen,DC=t\nmemberOf: CN=B,DC=t\n\n"
            "dn: CN=a\\3Db,OU=No\\2C record,DC=t\nobjectClass: person\n\n"
            "# search reference\nref: ldap://a.x/DC=a\n ,DC=t\n\n"
            "dn:: Q049w4RubmUsREM9dA==\nchangetype: add\nobjectClass: user\n"
            "displayName: straße\nobjectCategory:: Q049TgBvLQAt\n\n"
            "# search result\nsearch: 2\nresult: 0 Success\n"
            "control: 1.2.3 false MAUCAQ==\npagedresults: cookie=\n\n# numEntries: 2";
        for (const char* lineEnd : {"\n", "\r\n"}) {
            Organisation organisation(readOrganisation(text.replace("\n", lineEnd), "snapshot"));
            const auto session = EmbeddedEngine(organisation).openSession();
            for (const auto& [filter, found] : {
                     std::pair("(objectClass=user)", "CN=Zoe,DC=t CN=Änne,DC=t"), // in this order
                     std::pair("(displayName=ÄNNE*)", "CN=Zoe,DC=t"),
                     std::pair("(displayName=STRAßE)", "CN=Änne,DC=t"),
                     std::pair("(displayName=STRASSE)", ""),
                     std::pair("(objectCategory=n\\00o\\00)", "CN=Änne,DC=t"),
                     std::pair("(homeMDB=cn=un\\5c3dseen, dc=t)", "CN=Zoe,DC=t"),
                     std::pair("(distinguishedName=cn=A\\5C=B,ou=no\\5c\\2c record,dc=t)",
                               "CN=a\\=b,OU=No\\, record,DC=t"),
                 })
                QCOMPARE(names(*session, {"DC=t", engine::Scope::Subtree, filter, {}}).join(' '),
                         found);
            const auto zoe = one(*session, "<GUID=04030201-0605-0807-090a-0b0c0d0e0f10>");
            QCOMPARE(zoe.values("memberOf").size(), 2);
            QCOMPARE(zoe.text("displayName"), "Änne \U0001D49C");
            QCOMPARE(zoe.text("homeMDB") + zoe.text("name"), "CN=Un\\=seen,DC=tZoe");
            QCOMPARE(one(*session, "cn=äNNE, dc=T").values("objectGUID").value(0).size(), 16);
        }
    }

    void refusesBrokenFiles() {
        const QByteArray good = ldif() + "dn: CN=A,DC=t\ncn: A\n"; // lines 10, 11
        const QByteArray guid = "objectGUID: 1234567890123456\n";
        const std::pair<QByteArray, const char*> expected[] = {
            {"", "lacks the root object"},
            {good + "displayName\n", "t.ldif, line 12"},
            {good + "description: \xFC\n", "line 12: the value of description is not UTF-8"},
            {good + "description:: /A==\ndisplayName:: /A==\n",
             "line 13: the value of displayName"},
            {good + "\ndn:: Q049/A==\n", "line 13: \"CN=\uFFFD\" is not a distinguished name"},
            {good + "\ndn: CN=\\FC\n", "line 13: \"CN=\\FC\" is not"},
            {good + "homeMDB:: Q049/A==\n", "line 12: the value of homeMDB"},
            {good + "mail;Range=0-1: a\n", "line 12: mail;Range=0-1 is only a part"},
            {good + "mail:\n", "line 12: mail has no value"},
            {good + "mail: a\ncn: A\nmail: a\n", "line 10: a value of cn is given twice"},
            {good + "displayName:: ?\n", "line 12: the value of displayName"},
            {good + "\ndn: cn=a , dc=T\ncn: a\n",
             "line 13: a second record of cn=a , dc=T; the first is on line 10"},
            {good + guid + "\ndn: CN=B,DC=t\n" + guid, "line 14: CN=B,DC=t has the same"},
            {good + "\ndn: CN=B,DC=t\nchangetype: delete\n", "line 14: a record that changes"},
            {good + "photo:< file:///etc/hostname\n", "line 12"},
            {good + "\nsearch: 2\nresult: 4 Size limit\n", "line 14: the search that wrote"},
            {"\xFF\xFEx", "UTF-16"},
            {good + "rehomeStoreState: 4\n", "CN=A,DC=t: rehomeStoreState"},
            {good + "rehomeStoreStat: 1\n", "knows no attribute rehomeStoreStat"}};
        for (const auto& [text, words] : expected)
            checkPart(errorOf([&] { readOrganisation(text, "t.ldif"); }), words);
        for (const QString path : {"/no/such.ldif", "/"})
            checkPart(errorOf([&] { readOrganisationFile(path); }), path + " cannot be read");
    }

    void escapes() {
        QCOMPARE(engine::filterValue(QString("a*(b)\\c") + QChar(0)), "a\\2a\\28b\\29\\5cc\\00");
        QCOMPARE(engine::firstValue("CN=a\\,\\C3\\BC\\\\,DC=t"), "a,ü\\");
        QCOMPARE(engine::firstValue("CN= \"a,b\" ,DC=t") + engine::firstValue("CN=\\+1\\ 1\\0x\\"),
                 "a,b+1 10x\\");
        const QString spelled =
            "CN=\\#\\+\\,\\\"\\\\\\<\\>\\;\\=\\0A\\0Dü#\\ ,OU=\\ +CN=\\ a /,DC=t";
        const QString hexadecimal = "CN=\\23\\2b\\2C\\22\\5c\\3C\\3e\\3B\\3D\\0a\\0D\\C3\\bC#\\20,"
                                    "OU=\\20+CN=\\20a\\20\\2F , DC=t ";
        for (const QString& name : {spelled, hexadecimal})
            QCOMPARE(engine::directorySpelling(name), spelled);
        const QString marked = QStringLiteral("CN=\uFEFFa"); // a byte order mark
        QCOMPARE(engine::directorySpelling("CN=\\EF\\BB\\BFa"), marked);
        QCOMPARE(engine::firstValue(marked), marked.mid(3));
        QCOMPARE(engine::directorySpelling("CN=\"a,=\",OU=a=b"), "CN=a\\,\\=,OU=a\\=b");
        for (const QString kept : {"", "no \\2C name", "CN=\\FF", "CN=#0401,OU=\\,", "<GUID=0>"})
            QCOMPARE(engine::directorySpelling(kept), kept);
    }

    void aDeletedTransferAgentIsNotRestored() {
        const QByteArray gone = "CN=MTA\\0ADEL:11111111-1111-1111-1111-111111111111,CN=Deleted "
                                "Objects,CN=Configuration,DC=t";
        const platform::RecoveryRecord record{
            userDN("u1"), QByteArray(16, '\x1f'), {{"homeMTA", {gone}}, {"mail", {"a@t"}}}};
        QCOMPARE(toLdif(record, journal::Naming::ByGuid),
                 "# of a deleted object: homeMTA: " + gone +
                     "\ndn:: " + ("<GUID=" + QByteArray("1f").repeated(16) + '>').toBase64() +
                     "\nchangetype: modify\nreplace: homeMTA\n-\nreplace: mail\nmail: a@t\n-\n");
        Rehearsal r;
        checkPart(errorOf([&] {
                      r.engine.openSession()->modify(userDN("u1"), {{"homeMTA", {gone}}});
                  }),
                  "homeMTA");
    }

    void recordSets() {
        Rehearsal r;
        const auto connection = r.platform.Directory.CreateConnection();
        const auto search = [&] {
            return connection->Execute("<LDAP://DC=t>;(mail=*);mail,proxyAddresses;subtree", -1);
        };
        connection->setProvider("ADSDSOObject");
        connection->Open("ADs Provider", {}, {}, -1);
        auto rs = search();
        const auto list = rs->Fields("PROXYaddresses").Value;
        QCOMPARE(std::get<QStringList>(list), {"SMTP:u1@t"});   // a list even of one
        QVERIFY_THROWS_EXCEPTION(Error, rs->Fields("homeMDB")); // not asked for
        const auto orphan = search();
        r.calls.breakOff = 1;
        QVERIFY_THROWS_EXCEPTION(Error, rs->MoveNext());
        QVERIFY_THROWS_EXCEPTION(Error, rs->Fields("mail")); // of the record before
        r.calls.breakOff = 1; // a search that fails at once does so when it is executed
        QVERIFY_THROWS_EXCEPTION(Error, search());
        connection->Close();
        QVERIFY_THROWS_EXCEPTION(Error, orphan->MoveNext());
        for (const QString& path : {"LDAP://" + serverDN("EX1"), QString("DC=t"),
                                    QString("LDAP://"), QString("LDAP://CN=no")})
            QVERIFY_THROWS_EXCEPTION(Error, r.platform.Directory.BindUser(path));
    }

    void persons() {
        OrganisationText text = smallOrganisation();
        text.user("star*", "EX1/SG/A").user("twin", "EX1/SG/A", "proxyAddresses: smtp:u1@t\n");
        Rehearsal r(text);
        const auto opens = [&](const char* address) {
            const auto person = r.platform.Exchange.CreatePerson();
            person->DataSource().Open(address, {});
            return !person->Mailbox().FolderLocation().isEmpty();
        };
        QVERIFY(opens("mailto:u4@t") && opens("mailto:STAR*@t"));
        for (const char* wrong : {"u4@t", "mailto:", "mailto:*@t", "mailto:nobody@t", "mailto:u1@t",
                                  "mailto:u3@t", "mailto:u4@t)(cn=*"}) // u3's store is offline
            QVERIFY_THROWS_EXCEPTION(Error, opens(wrong));
        r.calls.meanwhile = [](const auto&) { throw engine::DirectoryFailed("It is silent."); };
        QVERIFY_THROWS_EXCEPTION(Error, r.platform.Directory.BindUser("LDAP://" + userDN("u4")));
        r.calls.meanwhile = [](const auto&) {};
        QVERIFY(opens("mailto:u4@t")); // no list was being read
    }
};

QTEST_MAIN(PlatformTest)
#include "platform_test.moc"
