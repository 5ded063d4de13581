#include "app/application.h"

#include <QDialog>
#include <QProcess>
#include <QPushButton>
#include <QTest>
#include <QTimer>

using namespace rehome;

namespace {

struct Failing final : QObject {
    bool event(QEvent*) override { throw Error(QStringLiteral("it failed")); }
};

/// A process in which something fails; whoever sees the box presses its button.
int fail(int argc, char** argv) {
    app::ErrorStreamJournal journal;
    app::Application application(argc, argv, QStringLiteral("Test"), journal);
    const auto failing = [&] {
        platform::runHandler(application, [] { throw Error(QStringLiteral("it failed")); });
    };
    QTimer answer;
    QObject::connect(&answer, &QTimer::timeout, [] {
        if (QWidget* box = QApplication::activeModalWidget())
            if (auto* button = box->findChild<QPushButton*>())
                button->click();
    });
    answer.start(50);
    QDialog dialog;
    Failing object;
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout, failing);
    if (argv[1] == QByteArrayLiteral("tick")) {
        tick.start(1);
        dialog.exec();
    } else {
        QCoreApplication::postEvent(&object, new QEvent(QEvent::User));
        QApplication::exec();
    }
    journal.Write(QStringLiteral("it went on"));
    return 0;
}

class ApplicationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void failuresEndTheProcess() {
        for (const char* where : {"tick", "event"}) {
            QProcess process;
            process.start(QCoreApplication::applicationFilePath(), {QLatin1String(where)});
            QVERIFY(process.waitForFinished());
            QCOMPARE(process.exitStatus(), QProcess::NormalExit);
            QCOMPARE(process.exitCode(), EXIT_FAILURE);
            QStringList told = QString::fromUtf8(process.readAllStandardError()).split(u'\n');
            QCOMPARE(told.filter(QStringLiteral("rehome: ")),
                     QStringList(QStringLiteral("rehome: it failed"))); // once
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
