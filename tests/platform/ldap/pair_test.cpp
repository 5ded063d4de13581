// The tool over the two domain controllers that samba_pair.py runs.
#include "journal/kept_journal.h"
#include "live_platform.h"
#include "platform/engine/escape.h"
#include "platform/engine_contract.h"

#include <QProcess>
#include <QTemporaryFile>

using namespace rehome;

class PairTest : public QObject {
    Q_OBJECT

    const QString m_server = qEnvironmentVariable("REHOME_TEST_SERVER"); // this host
    const QString m_lost = "CN=EXDOWN," + m_server.section(',', 1);
    const QString m_source =
        "CN=Mailbox Store,CN=Second Storage Group,CN=InformationStore," + m_lost;
    const QString m_store =
        "CN=Mailbox Store,CN=First Storage Group,CN=InformationStore," + m_server;
    const QStringList m_controllers = qEnvironmentVariable("LDAPURI").split(' ');
    QProcess m_first; ///< DC1, once it has been started again; ends with this process

    /// What a shell's command writes, as lines in alphabetical order.
    static QStringList lines(const QString& command, const QStringList& arguments = {}) {
        QProcess shell;
        shell.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        shell.start("sh", QStringList{"-ec", command} + arguments);
        if (!shell.waitForFinished(60'000) || shell.exitCode() != 0)
            throw Error(command + " fails");
        QStringList all = QString::fromUtf8(shell.readAllStandardOutput()).split('\n');
        all.sort();
        return all;
    }
    /// The users as a controller has them, without what it does not replicate.
    QStringList users(int controller, const QString& filter) const {
        return lines(
            "ldapsearch -QNY GSSAPI -LLL -o ldif-wrap=no -H $0 -b DC=rehome,DC=test \"$1\" |"
            "grep -Ev '^(#|$|uSN|when|badP|lastLog|logonCount)'",
            {m_controllers[controller], "(&(mail=lost*@x)" + filter + ")"});
    }
    void change(const QString& ldif) const {
        lines("printf %s \"$1\" | ldapmodify -QNY GSSAPI -H $0", {m_controllers[0], ldif});
    }
    static void replicate() {
        for (const QString between : {"dc2 dc1", "dc1 dc2"})
            lines("$REHOME_TEST_DIRECTORY/replicate " + between);
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY2(m_controllers.size() == 2, "to be run by tests/support/samba_pair.py");
        for (int i = 0; i < 10; ++i)
            change(
                QString(
                    "dn: CN=lost%1,OU=Staff,DC=rehome,DC=test\nchangetype: add\n"
                    "objectClass: user\ndisplayName: lost%1\nmailNickname: lost%1\nmail: lost%1@x\n"
                    "proxyAddresses: SMTP:lost%1@x\nmDBUseDefaults: TRUE\nhomeMDB: %2\n"
                    "homeMTA: CN=Microsoft MTA,%3\n")
                    .arg(QString::number(i), m_source, m_lost));
        replicate();
    }
    void cleanupTestCase() {
        m_first.kill();
        m_first.waitForFinished();
    }

    void aControllerDiesInABatch() {
        QTemporaryFile file;
        QVERIFY(file.open());
        journal::KeptJournal kept(journal::KeptJournal::Of::LiveDirectory, file.handle());
        test::Live live(&kept);
        int drops = 0;
        QString dropped; // but not created
        live.calls.meanwhile = [&](const test::RecordedCalls::Made& call) {
            if (drops == 4 && dropped.isEmpty()) { // the fourth has been answered
                dropped = engine::firstValue(live.calls.log.at(live.calls.log.size() - 2).object);
                lines("kill -9 $(cat $REHOME_TEST_DIRECTORY/samba.pid)");
            }
            drops += call.details.startsWith("homeMDB-=");
        };
        live.control<QRadioButton>("rdoFromStore").toggle();
        live.choose("comboSourceMBx", "EXDOWN:Second Storage Group\\Mailbox Store");
        live.choose("comboDestMBx",
                    engine::firstValue(m_server) + ":First Storage Group\\Mailbox Store");
        Q_EMIT live.button("btnMove").clicked();
        const QString moved = "(homeMDB=" + m_store + ")";
        const QStringList texts = live.desktop.texts();
        QCOMPARE(texts.size(), 3); // the question, the failure, the outcome
        QCOMPARE(texts.at(2), "ERROR : Unable to move 1 MailBoxes of 10");
        test::checkPart(texts.at(1), dropped + "@x has a mailbox now: " + m_controllers[1]);
        test::checkPart(texts.at(1),
                        "This run left " + dropped + "@x without a mailbox at " + m_controllers[0]);
        QCOMPARE(users(1, moved).filter("dn: ").size(), 6);
        QVERIFY(file.seek(0));
        const QString journal = file.readAll();
        for (const QString& controller : m_controllers)
            test::checkPart(journal, "domain controller in use: " + controller);
        QVERIFY(journal.contains(
            QRegularExpression(dropped + "@x [^:\n]*: dropped from .* at " + m_controllers[0])));
        const QStringList whole = users(1, "(cn=" + dropped + ")"); // who has not seen the drop

        m_first.start("samba", {"--foreground", "--no-process-group", "--model=single",
                                "--configfile=" + qEnvironmentVariable("REHOME_TEST_DIRECTORY") +
                                    "/smb.conf"});
        lines("until ldapsearch -xLLLH $0 -s base -b '' 1.1 2>/dev/null; do sleep 0.2; done",
              {m_controllers[0]});
        replicate();
        for (const int controller : {0, 1}) {
            QCOMPARE(users(controller, moved).filter("dn: ").size(), 9);
            QCOMPARE(users(controller, "(!(homeMDB=*))").filter("dn: ").size(), 1);
        }
        for (const QString& record : journal.split("\n\n"))
            if (record.contains("\nmailNickname: " + dropped + '\n'))
                change(record);
        replicate();
        QCOMPARE(users(1, "(cn=" + dropped + ")"), whole);
        QCOMPARE(users(1, ""), users(0, ""));
    }
};

QTEST_MAIN(PairTest)
#include "pair_test.moc"
