// What rehome-records makes of the files that the journal writes.
#include "companions/fates.h"
#include "journal/kept_journal.h"
#include "platform/guid.h"
#include "support/organisation_text.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace rehome;
using platform::Event;

namespace {

const QString From = test::OrganisationText::storeDN("EX3/SG/Old at Home");
const QString To = test::OrganisationText::storeDN("EX1/SG/New at Work");
const QByteArray MailboxGuid = QByteArray::fromHex("00112233445566778899aabbccddeeff");

QString mailboxOf(int user) {
    return QString("u%1@t {%2-0000-0000-0000-0000000000FF}").arg(user).arg(user, 8, 10, QChar('0'));
}

/// Each letter is what the journal is given of a user; R is a record, L one of a later change.
void write(journal::KeptJournal& kept, int user, const QString& letters) {
    const std::map<QChar, std::pair<Event, QString>> events{
        {'D', {Event::Dropped, "dropped from " + From + " at ldap://dc1"}},
        {'d', {Event::NotDropped, "not dropped: it failed"}},
        {'?', {Event::DropUnanswered, "perhaps dropped: it failed"}},
        {'C', {Event::Created, "created on " + To}},
        {'c', {Event::NotCreated, "not created on " + To + ": it failed: x"}},
        {'!', {Event::CreationUnanswered, "perhaps created on " + To + ": it failed"}},
        {'A', {Event::AddressRestored, "address restored"}},
        {'a', {Event::AddressNotRestored, "address not restored: it failed"}},
        {'O', {Event::Opened, "opened"}},
        {'o', {Event::NotOpened, "not opened: it failed"}}};
    const QString mailbox = mailboxOf(user);
    for (const QChar letter : letters) {
        if (letter == 'R' || letter == 'L')
            kept.Keep({"CN=u,DC=t",
                       platform::octetsFromGuid(QUuid(mailbox.section(' ', 1))),
                       {{"homeMDB", {(letter == 'R' ? From : To).toUtf8()}},
                        {"msExchHomeServerName", {"/o=T/cn=EX3"}},
                        {"msExchMailboxGuid", {MailboxGuid}},
                        {"mail", {mailbox.section(' ', 0, 0).toUtf8()}}}});
        else
            kept.Tell(events.at(letter).first, events.at(letter).second, mailbox);
    }
}

class RecordsTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_folder;

    /// The exit status and what is said on both streams.
    QString run(const QStringList& arguments) const {
        QProcess program;
        program.setWorkingDirectory(m_folder.path());
        program.setProcessChannelMode(QProcess::MergedChannels);
        program.start(REHOME_RECORDS, arguments);
        return program.waitForFinished()
                   ? QString::number(program.exitCode()) + '\n' + program.readAll()
                   : "does not end";
    }

    /// Writes files "1", "2" and so on: each user's letters in each run.
    void writeRuns(const QList<QStringList>& runs) const {
        for (int i = 0; i < runs.size(); ++i) {
            QFile file(m_folder.filePath(QString::number(i + 1)));
            QVERIFY(file.open(QFile::WriteOnly));
            journal::KeptJournal kept(journal::KeptJournal::Of::LiveDirectory, file.handle());
            kept.Tell(Event::NotOpened, "not opened: nobody moved it", mailboxOf(0));
            for (int user = 1; user <= runs[i].size(); ++user)
                write(kept, user, runs[i][user - 1]);
            if (i == 0) // others end without one
                kept.tellStates();
        }
    }

private Q_SLOTS:
    void tellsOfEverybody() {
        const QString from = ": from EX3:SG\\Old at Home", to = " to EX1:SG\\New at Work: ";
        const QString rest = "; not opened; address not checked";
        const std::vector<std::pair<QString, QString>> cases{
            {"RDCO", from + to + "moved; opened; address unchanged"},
            {"RDCoaAO", from + to + "moved; opened; address restored"},
            {"RDCao", from + to + "moved; not opened; address not restored"},
            {"RDc", from + to + "without a mailbox" + rest},
            {"R?!", from + to + "perhaps moved" + rest},
            {"RdcOD", from + to + "without a mailbox" + rest},
            {"dc", ":" + to + "not moved" + rest},
            {"R?", from + ": perhaps without a mailbox" + rest},
            {"RDCLDCO", from + to + "moved; opened; address unchanged"},
            {"RDCOL", from + to + "moved; opened; address unchanged"}, // the summary counts
            {"R", from + ": perhaps without a mailbox" + rest}};
        QStringList letters;
        QString expected;
        for (const auto& [given, told] : cases) {
            letters += given;
            expected += mailboxOf(int(letters.size())) + told + '\n';
        }
        writeRuns({letters});
        QCOMPARE(run({"1"}), "1\n" + expected);
        // A second run moves the third to the end, and breaks off with the fourth; or, as it moves
        // them once more, with the fifth and the sixth.
        writeRuns({letters.mid(0, 6), {"", "", "RDCO", "dR", "RDCOL", "RDCLD"}});
        expected.truncate(expected.indexOf(mailboxOf(3)));
        expected += mailboxOf(3) + cases[0].second + '\n' + mailboxOf(4) + from + to +
                    cases[7].second.section(": ", 2) + '\n' + mailboxOf(5) + from + to +
                    "perhaps without a mailbox" + rest + '\n' + mailboxOf(6) + from + to +
                    "without a mailbox" + rest + '\n';
        QCOMPARE(run({"1", "2"}), "1\n" + expected);
        writeRuns({{"RDCO"}});
        QVERIFY(run({"1"}).startsWith("0\n"));
        QCOMPARE(run({"--old", "1"}),
                 "0\nu1@t\t{33221100-5544-7766-8899-AABBCCDDEEFF}\t(msExchMailboxGuid=\\00\\11\\22"
                 "\\33\\44\\55\\66\\77\\88\\99\\aa\\bb\\cc\\dd\\ee\\ff)\tEX3:SG\\Old at Home\n");
        QVERIFY(run({"none"}).startsWith("2\n") && run({}).startsWith("2\nUsage"));
        writeRuns({{}});
        QCOMPARE(run({"1"}), "0\n");
        QVERIFY(run({REHOME_RECORDS}).contains("is no recovery file"));
    }

    void comparesWithTheDirectory() {
        writeRuns({{"RDCO"}});
        const auto fate =
            companions::fatesOf({journal::readRecoveryFile(m_folder.filePath("1"))}).at(0);
        const QString elsewhere = test::OrganisationText::storeDN("EX2/SG/A");
        const std::vector<std::tuple<QString, QString, QString>> cases{
            {To, "/o=T/cn=ex1", "as after"},
            {To, "/O=T/CN=EX1", "as after"},
            {From, "/o=T/cn=EX3", "as before"},
            {"", "", "without a mailbox"},
            {To, "", "half"},
            {"", "/o=T/cn=EX1", "half"},
            {To, "/o=T/cn=EX3", "half"},
            {elsewhere, "/o=T/cn=EX2", "changed since, on EX2:SG\\A"}};
        for (const auto& [home, server, expected] : cases) {
            const auto values = [](const QString& text) {
                return text.isEmpty() ? QList<QByteArray>() : QList{text.toUtf8()};
            };
            engine::Entry user;
            user.setValues("homeMDB", values(home));
            user.setValues("msExchHomeServerName", values(server));
            QCOMPARE(companions::comparison(fate, user), expected);
        }
        QCOMPARE(companions::comparison(fate, std::nullopt), "not found");
    }
};

} // namespace

QTEST_GUILESS_MAIN(RecordsTest)
#include "records_test.moc"
