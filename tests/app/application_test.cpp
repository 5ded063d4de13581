// The process as a whole, in programs that this one starts of itself.
#include "app/composition.h"
#include "app/progress_observer.h"
#include "support/window_driver.h"

#include <QDialog>
#include <QIcon>
#include <QLabel>
#include <QProcess>
#include <QTemporaryDir>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>

using namespace rehome;

namespace {

/// An event fails, or a modal dialog's tick.
int fail(app::Application& application, bool inTick) {
    QDialog dialog;
    const std::function<void()> event = [] { throw Error("it failed"); };
    const std::function<void()> tick = [&] {
        platform::runHandler(application, [&] {
            QTimer::singleShot(0, &application, tick); // while the box is shown
            event();
        });
    };
    QTimer::singleShot(1, &application, inTick ? tick : event);
    dialog.exec();
    std::puts("it went on");
    return 0;
}

void limitFiles(rlim_t size) {
    const rlimit limit{size, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
}

/// Moves mailboxes of a small organisation: one, at a second try or not, or all.
int move(app::Application& application, const QByteArray& what) {
    test::Window w(test::smallOrganisation(), &application, &application.journal());
    w.frame.Form_Load();
    w.frame.show();
    const auto moveFirst = [&] {
        w.grid.setRow(1);
        w.choose("comboStoreName", "EX1:SG\\B");
    };
    if (what == "half") {
        limitFiles(rlim_t(lseek(2, 0, SEEK_CUR)) + 100);
        moveFirst();
        limitFiles(RLIM_INFINITY);
    }
    if (what == "box") { // behind it, no line at the terminal shows what is being done
        app::ProgressObserver observer(application.journal().progress());
        observer.asks(1, "find DC=t (mailnickname=*)");
        observer.finds(1, {});
        observer.ends(1, "broken off");
        observer.asks(2, "server CN=S");
        QTest::qSleep(300);
    }
    if (what == "drop") { // the end of the process is asked for from outside
        w.calls.meanwhile = [](const auto& made) {
            if (made.call == "modify")
                std::raise(SIGTERM);
        };
        w.choose("comboDestMBx", "EX1:SG\\B");
        w.button("btnMove").click();
    } else {
        moveFirst();
    }
    std::puts(qPrintable("home: " + w.values("u1")));
    return 0;
}

/// Whoever sees a box tells its text and presses its button.
int child(int argc, char** argv) {
    const QByteArray what = argv[1];
    return app::runProgram(
        argc, argv, "Test", journal::KeptJournal::Of::LiveDirectory,
        [&](app::Application& application) {
            if (!application.windowIcon().availableSizes().contains({16, 16}))
                qFatal("no icon");
            QTimer answer;
            QObject::connect(&answer, &QTimer::timeout, [&] {
                QWidget* box = QApplication::activeModalWidget();
                auto* button = box ? box->findChild<QPushButton*>() : nullptr;
                if (!button)
                    return;
                std::puts(qPrintable(box->findChild<QLabel*>("messageText")->text()));
                if (what == "box")
                    QTest::qSleep(300), std::raise(SIGINT);
                else
                    button->click();
            });
            answer.start(10);
            return what == "tick" || what == "event" ? fail(application, what == "tick")
                                                     : move(application, what);
        });
}

class ApplicationTest : public QObject {
    Q_OBJECT

    struct Seen {
        QString out, stream;
        int status; ///< of the shell: 128 and the signal's number where one ended the process
    };
    static Seen run(const QString& command) {
        const QTemporaryDir folder;
        QProcess shell;
        shell.setWorkingDirectory(folder.path());
        shell.start("bash", {"-c", command, QCoreApplication::applicationFilePath()});
        if (!shell.waitForFinished())
            qFatal("%s does not end", qPrintable(command));
        QFile stream(folder.filePath("stream"));
        return {shell.readAllStandardOutput(),
                stream.open(QIODevice::ReadOnly) ? stream.readAll() : QByteArray(),
                shell.exitCode()};
    }
    static QString withoutComments(QString ldif) {
        return ldif.remove(QRegularExpression("^#.*\n", QRegularExpression::MultilineOption));
    }

private Q_SLOTS:
    void failuresEndTheProcess() {
        for (const char* where : {"tick", "event"}) {
            const Seen seen = run(QString("\"$0\" %1 2>stream").arg(where));
            QCOMPARE(seen.status, 1);
            QCOMPARE(seen.stream.count("it failed\n"), 1);
            QCOMPARE(seen.out, "it failed\n"); // and nothing went on
        }
    }

    /// Wherever the record cannot be kept, nothing is dropped, and the window says why.
    void noDropWithoutItsRecord() {
        QList<std::pair<QString, QString>> places{{"2>/dev/full", "No space left"},
                                                  {"2>&-", "Bad file descriptor"},
                                                  {"<&- >&3 2>&-", "Bad file descriptor"},
                                                  {"2> >(true)", "Broken pipe"}};
        if (!QFile::exists("/run/systemd/journal/socket")) // which would keep it
            places += std::pair(QString("2>/dev/null"), QString("null device"));
        for (const auto& [place, reason] : places) {
            const Seen seen = run("exec 3>&1; \"$0\" one " + place);
            QVERIFY2(seen.out.contains("u1@t was not dropped: The recovery record") &&
                         seen.out.contains(reason) && seen.out.contains("home: CN=C,"),
                     qPrintable(place + seen.out));
        }
    }

    /// A disk that was full in the middle of a record and is not any more.
    void halfARecordIsTakenBack() {
        const Seen seen = run("\"$0\" half 2>stream");
        QVERIFY2(seen.out.contains("File too large") && seen.out.contains("home: CN=B,"),
                 qPrintable(seen.out));
        const Seen whole = run("\"$0\" one 2>stream");
        QCOMPARE(withoutComments(seen.stream), withoutComments(whole.stream));
        // Where it cannot be, a line keeps ldapmodify from taking it for a whole one.
        const int file = memfd_create("does not shrink", MFD_ALLOW_SEALING);
        QCOMPARE(fcntl(file, F_ADD_SEALS, F_SEAL_SHRINK), 0);
        journal::RecoveryStream stream(file);
        std::signal(SIGXFSZ, SIG_IGN);
        limitFiles(8);
        QVERIFY_THROWS_EXCEPTION(Error, stream.keep("dn: half a record"));
        limitFiles(RLIM_INFINITY);
        stream.keep("next");
        char written[99]{};
        QVERIFY(pread(file, written, sizeof written, 0) > 0);
        QCOMPARE(written, "dn: half!\n!\n\nnext");
    }

    void tellsTheSystemLog() {
        QDir().mkpath("/run/systemd/journal");
        const sockaddr_un places[]{{AF_UNIX, "/dev/log"},
                                   {AF_UNIX, "/run/systemd/journal/socket"}}; // takes records
        QStringList lines, records;
        for (QStringList* taken : {&lines, &records}) {
            const auto& address = places[taken == &records];
            if (QFile::exists(address.sun_path))
                QSKIP("this computer has a system log of its own");
            const int log = socket(AF_UNIX, SOCK_DGRAM, 0);
            QVERIFY(bind(log, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0);
            run(taken == &lines ? "\"$0\" one 2>stream" : "\"$0\" one 2>&1 | cat");
            char line[2000];
            for (ssize_t size = 0; (size = recv(log, line, sizeof line, MSG_DONTWAIT)) > 0;)
                *taken += QString::fromUtf8(line, size).section(": ", 1);
            close(log);
            QFile::remove(address.sun_path);
        }
        QCOMPARE(records.filter("changetype: modify\nreplace: homeMDB\n").size(), 1);
        QCOMPARE(lines.size(), 4);
        QCOMPARE(lines.at(0), "listed 4 mailboxes; 4 mailbox stores on 2 servers");
        for (const char* text : {"dropped from CN=C,", "created on CN=B,"})
            QCOMPARE(lines.filter(QRegularExpression("^u1@t \\{[-0-9A-F]{36}\\}: " + QString(text)))
                         .size(),
                     1);
    }

    void signalsStrikeBetweenMailboxes() {
        const Seen dropped = run("\"$0\" drop 2>stream"); // of four
        QCOMPARE(dropped.status, 128 + SIGTERM);
        QCOMPARE(dropped.stream.count("moved: "), 1);
        QVERIFY2(dropped.stream.contains(QRegularExpression(
                     ": created on CN=B,.*; not opened; address not restored\n")),
                 qPrintable(dropped.stream));
        const Seen asked = run("QT_LOGGING_RULES=*=false script -qec \"'$0' box\" /dev/null");
        QCOMPARE(asked.status, 128 + SIGINT);
        QVERIFY2(!asked.out.contains("dn:") && asked.out.endsWith("\r\x1b[K") &&
                     asked.out.contains("\rwaiting for the server S\x1b[K\r\x1b[KAre you sure"),
                 qPrintable(asked.out));
    }
};

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && argv[1][0] != '-')
        return child(argc, argv);
    QCoreApplication application(argc, argv);
    ApplicationTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "application_test.moc"
