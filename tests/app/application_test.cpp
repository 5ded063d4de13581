// The process as a whole, in programs that this one starts of itself.
#include "app/command_line.h"
#include "app/composition.h"
#include "app/progress_observer.h"
#include "platform/waiting.h"
#include "support/window_driver.h"

#include <QDialog>
#include <QIcon>
#include <QProcess>
#include <QTemporaryDir>

#include <csignal>
#include <fcntl.h>
#include <pty.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <thread>

using namespace rehome;

namespace {

int synced = 0; ///< how often files have been written to the disk
}

/// In place of the C library's.
extern "C" int fdatasync(int descriptor) {
    ++synced;
    return int(syscall(SYS_fdatasync, descriptor));
}

namespace {

/// An event fails, or a modal dialog's tick.
int fail(app::Application& application, bool inTick) {
    QDialog dialog;
    const std::function<void()> event = [] { throw Error("it failed"); }, tick = [&] {
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
        using Verb = engine::Call::Verb;
        app::ProgressObserver observer(application.journal().progress());
        observer.onStarted(1, {Verb::Search, {}, {}, {{}, {}, listing::mailboxFilter(), {}}});
        observer.onEntry(1, {});
        observer.onFinished(1, {});
        observer.onStarted(2, {Verb::CheckServer, "CN=S"});
        QTest::qSleep(300);
    }
    if (what == "drop") { // the end of the process is asked for from outside
        w.calls.meanwhile = [&](const auto& made) {
            if (made.call == "modify")
                std::raise(SIGTERM);
            platform::awaitEvent(-1, 0, QDeadlineTimer(1), &application.interruption());
        };
        w.choose("comboDestMBx", "EX1:SG\\B");
        w.button("btnMove").click();
    } else {
        moveFirst();
    }
    if (what == "terminate")
        std::thread([] { throw Error("it failed"); }).join();
    std::puts(qPrintable("home: " + w.home("CN=u1,DC=t")));
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

    /// How it ends, what is seen of it and what is on the stream.
    static QString run(const QString& command) {
        const QTemporaryDir folder;
        QProcess shell;
        shell.setWorkingDirectory(folder.path());
        shell.start("bash", {"-c", command, QCoreApplication::applicationFilePath()});
        if (!shell.waitForFinished())
            qFatal("%s does not end", qPrintable(command));
        QFile stream(folder.filePath("stream"));
        return QString("status %1\n").arg(shell.exitCode()) + shell.readAllStandardOutput() +
               "stream:\n" + (stream.open(QIODevice::ReadOnly) ? stream.readAll() : "");
    }

private Q_SLOTS:
    void endsAsItShould() {
        // Wherever the record cannot be kept, nothing is dropped, and the window says why.
        const auto stays = [](const char* reason) {
            return QString("0\n.*u1@t was not dropped: .*record.*%1.*home: CN=C,").arg(reason);
        };
        const bool logs = QFile::exists("/run/systemd/journal/socket");
        const QString once = "1\nit failed\nstream:\n(?!.* it failed.* it failed).* it failed\n";
        for (const auto& [command, pattern] :
             {std::pair("tick 2>stream", once),
              {"event 2>stream", once},
              {"one 2>/dev/full", stays("No space left")},
              {"one 2>&-", stays("Bad file descriptor")},
              {"one <&- >&3 2>&-", stays("Bad file descriptor")},
              {"one 2> >(true)", stays("Broken pipe")},
              {"one 2>/dev/null", logs ? "0\n.*home: CN=B," : stays("null device")},
              // A disk that was full in the middle of a record and is not any more.
              {"half 2>stream; \"$0\" one 2>whole; cmp <(grep -v ^# stream) <(grep -v ^# whole)",
               "0\n.*File too large.*home: CN=B,.*stream:\n.*dn:"},
              // Signals (128 and their number) strike between mailboxes, of which there are four.
              {"drop 2>stream",
               "143\n.*stream:\n(?!.* summary: .* summary: ).* summary: u1@t \\{[^\n]*\\}: moved; "
               "not opened; address not checked\n"},
              // The journal's reader knows the words of a real run.
              {"one 2>stream; " REHOME_RECORDS " stream",
               "1\n.*\nu1@t \\{[^\n]*: from EX2:SG\\\\C to EX1:SG\\\\B: moved; not opened; address "
               "not checked\nstream:"},
              {"terminate 2>stream", "134\n.* error.*: it failed\n.* summary: .*; not opened"}}) {
            const QString seen = run(QString("exec 3>&1; \"$0\" ") + command);
            const QRegularExpression expected("(?s)^status " + pattern);
            QVERIFY2(expected.match(seen).hasMatch(), qPrintable(command + (": " + seen)));
        }
        for (const char* display : {"", ":77"}) {
            const QString seen = run(QString("WAYLAND_DISPLAY= QT_QPA_PLATFORM= DISPLAY=%1 \"$0\" "
                                             "one 2>stream")
                                         .arg(display));
            QVERIFY2(seen.startsWith("status 1\n") && seen.contains("No window can be opened"),
                     qPrintable(seen));
        }
        for (const auto& [arguments, status] : {std::pair("", -1),
                                                {"file", -1},
                                                {"file file", 2},
                                                {"-x", 2},
                                                {"-style x", 2},
                                                {"--help", 0},
                                                {"--version", 0},
                                                {"--version x", 2}}) {
            const QByteArrayList words =
                ("rehome " + QByteArray(arguments)).simplified().split(' ');
            std::vector<char*> argv;
            for (const QByteArray& word : words)
                argv.push_back(const_cast<char*>(word.constData()));
            const auto answered = app::answerCommandLine(int(argv.size()), argv.data(),
                                                         {"rehome", "help", "no", true});
            QVERIFY2(answered.value_or(-1) == status, arguments);
        }
        // At a terminal the line of what is waited for goes away; wherever the stream leads.
        const QString filed = run("script -qec \"'$0' box >/dev/null 2>stream\" /dev/null");
        QVERIFY2(filed.contains("\rwaiting for the server S\x1b[K\r\x1b[K") &&
                     !filed.section("stream:", 1).contains("waiting for"),
                 qPrintable(filed));
        const QString asked = run("QT_LOGGING_RULES=*=false script -qec \"'$0' box\" /dev/null");
        QVERIFY2(asked.startsWith("status 130\n") && !asked.contains("dn:") &&
                     asked.contains("\rwaiting for the server S\x1b[K\r\x1b[KAre you sure") &&
                     asked.endsWith("\r\x1b[Kstream:\n"),
                 qPrintable(asked));
    }

    /// Where it cannot be taken back, a line keeps ldapmodify from taking it for a whole one.
    void halfARecordIsSpoilt() {
        const int file = memfd_create("does not shrink", MFD_ALLOW_SEALING);
        QCOMPARE(fcntl(file, F_ADD_SEALS, F_SEAL_SHRINK), 0);
        journal::RecoveryStream stream(file);
        std::signal(SIGXFSZ, SIG_IGN);
        limitFiles(8);
        QVERIFY_THROWS_EXCEPTION(Error, stream.keep("dn: half a record"));
        limitFiles(RLIM_INFINITY);
        QCOMPARE(std::exchange(synced, 0), 0);
        stream.tell("");
        QCOMPARE(synced, 0);
        stream.keep("next");
        QCOMPARE(synced, 1); // a record is on the disk
        char written[99]{};
        QVERIFY(pread(file, written, sizeof written, 0) > 0);
        QCOMPARE(written, "dn: half!\n!\n\nnext");
    }

    void nobodyReads() {
        int ends[2], terminal = -1, slave = -1;
        QVERIFY(pipe(ends) == 0 && openpty(&terminal, &slave, nullptr, nullptr, nullptr) == 0);
        fcntl(ends[0], F_SETFL, O_NONBLOCK);
        for (const int stuck : {ends[1], slave}) {
            journal::RecoveryStream stream(stuck, 100);
            QElapsedTimer timer;
            timer.start();
            for (int i = 0; i < 100; ++i)
                stream.tell(QByteArray(10'000, 'x'));
            QVERIFY(timer.elapsed() < 5'000);
            QVERIFY_THROWS_EXCEPTION(Error, stream.keep("record"));
            char taken[9999];
            while (read(ends[0], taken, sizeof taken) > 0)
                continue;
            stream.tell("x");
            timer.start(); // a reader who goes on is waited for again
            for (int i = 0; i < 100; ++i)
                stream.tell(QByteArray(10'000, 'x'));
            QCOMPARE(timer.elapsed() >= 100, stuck == ends[1]);
        }
        journal::Terminal(slave).write(QByteArray(100'000, 'x'));
        for (const int end : {ends[0], ends[1], terminal, slave})
            close(end);
    }

    void theLineFitsTheTerminal() {
        const QByteArray whole = "mailboxes moved: 1, failed: 1 of 40; waiting for the server S";
        for (const unsigned short columns : std::initializer_list<unsigned short>{80, 20}) {
            int terminal = -1, slave = -1;
            const winsize size{24, columns, 0, 0};
            QVERIFY(openpty(&terminal, &slave, nullptr, nullptr, &size) == 0);
            journal::Progress progress(slave);
            progress.expect(platform::Work::Moves, 40);
            progress.count(platform::Event::Created);
            progress.count(platform::Event::NotCreated);
            QTest::qSleep(300); // until it is rewritten
            progress.waitFor("the server S");
            fcntl(terminal, F_SETFL, O_NONBLOCK);
            QByteArray written;
            const auto shown = [&] { // what is written does not come at once
                char part[999];
                const ssize_t came = read(terminal, part, sizeof part);
                written.append(part, qMax(came, ssize_t(0)));
                return written.split('\r').last();
            };
            QTRY_COMPARE(shown(), whole.left(columns - 1) + "\x1b[K");
            close(terminal);
            close(slave);
        }
    }

    void tellsTheSystemLog() {
        QDir().mkpath("/run/systemd/journal");
        const sockaddr_un places[]{{AF_UNIX, "/dev/log"},
                                   {AF_UNIX, "/run/systemd/journal/socket"}}; // takes records
        QString told, records;
        for (QString* taken : {&told, &records}) {
            const auto& address = places[taken == &records];
            if (QFile::exists(address.sun_path))
                QSKIP("this computer has a system log of its own");
            const int log = socket(AF_UNIX, SOCK_DGRAM, 0);
            QVERIFY(bind(log, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0);
            run(taken == &told ? "\"$0\" one 2>stream; \"$0\" one 2>/dev/full"
                               : "\"$0\" one 2>&1 | cat");
            char line[2000];
            for (ssize_t size = 0; (size = recv(log, line, sizeof line, MSG_DONTWAIT)) > 0;)
                *taken += QString::fromUtf8(line, size) + '\n';
            // Nobody takes anything more.
            const int full = socket(AF_UNIX, SOCK_DGRAM, 0);
            QVERIFY(::connect(full, reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
                    0);
            while (send(full, "x", 1, MSG_DONTWAIT) == 1)
                continue;
            QVERIFY(run("\"$0\" one 2>stream").startsWith("status 0"));
            close(full);
            close(log);
            QFile::remove(address.sun_path);
        }
        QCOMPARE(records.count("changetype: modify\nreplace: homeMDB\n"), 1);
        const QRegularExpression fields(
            "(?s)MESSAGE_ID=11f28031[^\n]*\nREHOME_EVENT=record\nREHOME_GUID=([-0-9A-F]{36})\n"
            "REHOME_RUN=([0-9a-f]{8})\n.*\nMESSAGE=u1@t [^\n]*created on "
            "(CN=B,[^\n]*)\nPRIORITY=5\n"
            "SYSLOG_IDENTIFIER=rehome\nSYSLOG_FACILITY=1\nSYSLOG_PID=\\d+\nMESSAGE_ID=f2ebbe41[^\n]"
            "*\n"
            "REHOME_EVENT=created\nREHOME_GUID=\\1\nREHOME_STORE=\\3\nREHOME_RUN=\\2\n");
        QVERIFY2(fields.match(records).hasMatch(), qPrintable(records));
        const QString listed = "<13>.*: listed 4 mailboxes of t; 4 mailbox stores on 2 servers\n";
        const QString user = ".*: u1@t \\{[-0-9A-F]{36}\\}: ", done = "<13>" + user,
                      not_ = "<12>" + user + "not ";
        const QRegularExpression all('^' + listed + done + "dropped from CN=C,.*\n" + done +
                                     "created on CN=B,.*\n" + listed + listed + not_ +
                                     "dropped: .*\n" + not_ + "created on .*\n");
        QVERIFY2(all.match(told).hasMatch(), qPrintable(told));
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
