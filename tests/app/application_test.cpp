#include "app/application.h"

#include <QDialog>
#include <QIcon>
#include <QProcess>
#include <QPushButton>
#include <QTest>
#include <QTimer>

using namespace rehome;

namespace {

struct Failing final : QObject {
    bool event(QEvent*) override { throw Error("it failed"); }
};

/// A process in which an object's event fails, or a modal dialog's tick; whoever sees the box
/// presses its button.
int fail(int argc, char** argv) {
    app::ErrorStreamJournal journal;
    app::Application application(argc, argv, "Test", journal);
    if (!application.windowIcon().availableSizes().contains({16, 16}))
        journal.Write("no icon");
    QTimer answer;
    QObject::connect(&answer, &QTimer::timeout, [] {
        if (QWidget* box = QApplication::activeModalWidget())
            if (auto* button = box->findChild<QPushButton*>())
                button->click();
    });
    answer.start(50);
    QDialog dialog;
    Failing object;
    const std::function<void()> failing = [&] {
        platform::runHandler(application, [&] {
            QTimer::singleShot(0, &application, failing); // while the box is shown
            throw Error("it failed");
        });
    };
    if (argv[1] == QByteArray("tick"))
        QTimer::singleShot(1, &application, failing);
    else
        QCoreApplication::postEvent(&object, new QEvent(QEvent::User));
    dialog.exec();
    journal.Write("it went on");
    return 0;
}

class ApplicationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void failuresEndTheProcess() {
        for (const char* where : {"tick", "event"}) {
            QProcess process;
            process.start(QCoreApplication::applicationFilePath(), {where});
            QVERIFY(process.waitForFinished());
            QVERIFY(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 1);
            const QStringList told = QString(process.readAllStandardError()).split('\n');
            QCOMPARE(told.filter("rehome: "), QStringList("rehome: it failed")); // once
        }
    }
};

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && argv[1][0] != '-')
        return fail(argc, argv);
    QCoreApplication application(argc, argv);
    ApplicationTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "application_test.moc"
