// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Commands of the command line while the window runs: they are handed to the window over its
// one-instance channel and carried out on the document it shows, never beside it.

#include "DocumentBuilder.h"
#include "TestEnvironment.h"

#include "app/QuorvelMainWindow.h"
#include "app/SingleInstance.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "views/MainWidget.h"
#include "views/QVTable.h"

#include <QAction>
#include <QEventLoop>
#include <QFileInfo>
#include <QProcess>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolButton>
#include <QtTest>

#include <memory>

namespace {

struct Run
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// Starts a command; the caller keeps this event loop running until it ends, as the window
// answers from there.
void startCommand(QProcess &process, const QStringList &arguments)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("LC_ALL"), QStringLiteral("en_US.UTF-8"));
    env.insert(QStringLiteral("LANG"), QStringLiteral("en_US.UTF-8"));
    process.setProcessEnvironment(env);
    process.start(QStringLiteral(QUORVEL_CLI), arguments);
}

Run finish(QProcess &process)
{
    Run run;
    QElapsedTimer waited;
    waited.start();
    while (process.state() != QProcess::NotRunning && waited.elapsed() < 60000)
        QTest::qWait(10);
    if (process.state() != QProcess::NotRunning)
        return run;
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}

Run quorvel(const QStringList &arguments)
{
    QProcess process;
    startCommand(process, arguments);
    return finish(process);
}

// The window as main() sets it up, with the channel that commands come through.
struct RunningWindow
{
    SingleInstance instance{QFileInfo(QuorvelDocument::dataFilePath()).absolutePath()};
    std::unique_ptr<QuorvelMainWindow> window;

    RunningWindow()
    {
        if (!instance.start({}))
            return;
        window = std::make_unique<QuorvelMainWindow>();
        QObject::connect(&instance, &SingleInstance::commandReceived, window.get(),
                         &QuorvelMainWindow::carryOut);
        instance.acceptCommands();
        window->show();
    }

    // Edit → Undo and Redo of the window.
    QAction *undo() const { return window->findChild<QAction *>(QStringLiteral("undo")); }
    QAction *redo() const { return window->findChild<QAction *>(QStringLiteral("redo")); }
    // The document string the window holds.
    QByteArray bytes() const { return window->document()->getDocumentBytes(); }
};

} // namespace

class TestCliWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void startAndStopChangeTheWindow();
    void readingCommandsSeeUnsavedChanges();
    void commandsWaitWhileTheWindowAsks();
    void refusalsComeBackFromTheWindow();
    void aQuestionLeftOpenRefusesTheCommand();
    void handedCommandsAreUndoneInTheWindow();
    void aTrappedTaskIsOfferedItsStop();
    void handedImportAndNewActivityAreUndone();
};

void TestCliWindow::init()
{
    TestEnvironment::wipe();
    Clock::setFixed(at(21, 9, 30));
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    Activity *a = build.activity(QStringLiteral("Alpha"), work);
    Activity *b = build.activity(QStringLiteral("Beta"), work);
    build.task(a, at(20, 8, 0), at(20, 8, 30), 1);
    build.task(b, at(20, 9, 0), at(20, 9, 30), 2);
    build.sortAll();
    QVERIFY(doc.save());
}

void TestCliWindow::startAndStopChangeTheWindow()
{
    RunningWindow running;
    QVERIFY(running.window);
    MainWidget *view = running.window->mainWidget();
    QCOMPARE(view->button(2)->text(), QStringLiteral("Beta"));
    QVERIFY(!view->button(2)->isChecked());

    Run run = quorvel({QStringLiteral("start"), QStringLiteral("beta")});
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.exitCode, 0);
    // The window's clock, not the command's, says when.
    QCOMPARE(run.out, QByteArray("Started “Beta” at 11/21/26 9:30 AM.\n"));
    QCOMPARE(running.window->document()->tasks.size(), 3);
    QCOMPARE(view->table->model()->rowCount(), 3);
    QCOMPARE(view->button(2)->text(), QStringLiteral("Beta"));
    QVERIFY(view->button(2)->isChecked());
    // Written at once: the file holds what the window shows.
    {
        QuorvelDocument file;
        QVERIFY(file.load());
        QCOMPARE(file.tasks.size(), 3);
        QVERIFY(file.tasks.last()->isRunning());
    }

    Clock::advance(45 * 60);
    run = quorvel({QStringLiteral("stop")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Stopped “Beta” at 11/21/26 10:15 AM (0:45).\n"));
    QVERIFY(!view->button(2)->isChecked());
    QCOMPARE(view->table->model()->index(2, 1).data().toString(),
             QStringLiteral("11/21/26 10:15 AM"));

    // A task deleted by a command is no longer the one selected.
    run = quorvel({QStringLiteral("start"), QStringLiteral("Alpha")});
    QCOMPARE(run.exitCode, 0);
    view->selectedTask = running.window->document()->tasks.last();
    run = quorvel({QStringLiteral("stop")});
    QCOMPARE(run.out, QByteArray("Deleted “Alpha”: tasks of less than 1 minute duration are not "
                                 "logged.\n"));
    QVERIFY(!view->selectedTask || running.window->document()->tasks.contains(view->selectedTask));

    running.window.reset();
    QuorvelDocument file;
    QVERIFY(file.load());
    QCOMPARE(file.tasks.size(), 3);
    QCOMPARE(file.tasks.last()->stop(), at(21, 10, 15));
}

void TestCliWindow::readingCommandsSeeUnsavedChanges()
{
    RunningWindow running;
    QVERIFY(running.window);
    // A start from the window's own button, not yet written.
    running.window->mainWidget()->button(1)->click();
    QVERIFY(running.window->document()->activeTasks());
    Clock::advance(5 * 60);
    const Run run = quorvel({QStringLiteral("status")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Alpha\t0:05\n"));
}

void TestCliWindow::commandsWaitWhileTheWindowAsks()
{
    RunningWindow running;
    QVERIFY(running.window);
    QProcess process;
    // A question of the window is open (an event loop inside the program's) for a while.
    bool endedDuringQuestion = false;
    QEventLoop program;
    QTimer::singleShot(0, &program, [&] {
        QEventLoop question;
        startCommand(process, {QStringLiteral("start"), QStringLiteral("Alpha")});
        QTimer::singleShot(1500, &question, [&] {
            endedDuringQuestion = process.state() == QProcess::NotRunning;
            question.quit();
        });
        question.exec();
        program.quit();
    });
    program.exec();
    QVERIFY(!endedDuringQuestion);
    QVERIFY(!running.window->document()->activeTasks());

    const Run run = finish(process);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Started “Alpha” at 11/21/26 9:30 AM.\n"));
    QVERIFY(running.window->document()->activeTasks());
}

void TestCliWindow::refusalsComeBackFromTheWindow()
{
    RunningWindow running;
    QVERIFY(running.window);
    const QByteArray before = running.window->document()->getDocumentBytes();
    Run run = quorvel({QStringLiteral("start"), QStringLiteral("Beta"), QStringLiteral("--at"),
                       QStringLiteral("2026-11-20T08:10")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: “Beta” cannot start at 11/20/26 8:10 AM: it would "
                                 "overlap a recorded task.\n"));
    run = quorvel({QStringLiteral("stop")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: no task is running.\n"));
    QCOMPARE(running.window->document()->getDocumentBytes(), before);
}

void TestCliWindow::aQuestionLeftOpenRefusesTheCommand()
{
    RunningWindow running;
    QVERIFY(running.window);
    QProcess process;
    Run run;
    QEventLoop program;
    QTimer::singleShot(0, &program, [&] {
        // Nobody answers the question for longer than a command waits.
        QEventLoop question;
        startCommand(process, {QStringLiteral("stop")});
        QTimer::singleShot(25000, &question, &QEventLoop::quit);
        question.exec();
        program.quit();
    });
    program.exec();
    run = finish(process);
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    QCOMPARE(run.err, QByteArray("quorvel: Quorvel is waiting for an answer in its window; "
                                 "answer it there and try again.\n"));
    // Reading commands are answered at once, question or not.
    bool answeredDuringQuestion = false;
    QEventLoop again;
    QTimer::singleShot(0, &again, [&] {
        QEventLoop question;
        startCommand(process, {QStringLiteral("activities")});
        QTimer::singleShot(5000, &question, [&] {
            answeredDuringQuestion = process.state() == QProcess::NotRunning;
            question.quit();
        });
        question.exec();
        again.quit();
    });
    again.exec();
    QVERIFY(answeredDuringQuestion);
    run = finish(process);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Alpha\nBeta\n"));
}

void TestCliWindow::handedCommandsAreUndoneInTheWindow()
{
    RunningWindow running;
    QVERIFY(running.window);
    const QuorvelMainWindow &window = *running.window;
    const QByteArray before = running.bytes();

    QCOMPARE(quorvel({QStringLiteral("start"), QStringLiteral("Beta")}).exitCode, 0);
    const QByteArray started = running.bytes();
    QCOMPARE(running.undo()->text(), QStringLiteral("Undo Start of Beta"));
    Clock::advance(45 * 60);
    QCOMPARE(quorvel({QStringLiteral("stop")}).exitCode, 0);
    const QByteArray stopped = running.bytes();
    QCOMPARE(running.undo()->text(), QStringLiteral("Undo Stop of Beta"));

    running.undo()->trigger();
    QCOMPARE(running.bytes(), started);
    QVERIFY(window.mainWidget()->button(2)->isChecked());
    running.undo()->trigger();
    QCOMPARE(running.bytes(), before);
    QVERIFY(!window.mainWidget()->button(2)->isChecked());
    running.redo()->trigger();
    QCOMPARE(running.bytes(), started);
    running.redo()->trigger();
    QCOMPARE(running.bytes(), stopped);

    // A task the command removed for lasting under a minute: the window says so.
    QCOMPARE(quorvel({QStringLiteral("start"), QStringLiteral("Alpha")}).exitCode, 0);
    const QByteArray alpha = running.bytes();
    const Run run = quorvel({QStringLiteral("stop")});
    QCOMPARE(run.out, QByteArray("Deleted “Alpha”: tasks of less than 1 minute duration are not "
                                 "logged.\n"));
    QCOMPARE(running.undo()->text(), QStringLiteral("Undo Removal of a Task Under a Minute"));
    QCOMPARE(window.statusBar()->currentMessage(),
             QStringLiteral("Removed Alpha: it ran under a minute. Ctrl+Z brings it back."));
    running.undo()->trigger();
    QCOMPARE(running.bytes(), alpha);

    // Undone here, and then written: the file holds what the window shows.
    QVERIFY(running.window->flush());
    QuorvelDocument file;
    QVERIFY(file.load());
    QCOMPARE(file.getDocumentBytes(), alpha);
}

void TestCliWindow::aTrappedTaskIsOfferedItsStop()
{
    RunningWindow running;
    QVERIFY(running.window);
    QCOMPARE(quorvel({QStringLiteral("start"), QStringLiteral("Alpha"), QStringLiteral("--at"),
                      QStringLiteral("2026-11-20T07:00")})
                 .exitCode,
             0);
    // The window answers with the minute that works, as the command line alone does.
    Run run = quorvel({QStringLiteral("stop")});
    QCOMPARE(run.exitCode, 1);
    QVERIFY(run.err.startsWith("quorvel: “Alpha” cannot stop at "));
    QVERIFY(run.err.endsWith(".\nIt can stop at 11/20/26 8:00 AM, where the next task starts: "
                             "quorvel stop Alpha --at 2026-11-20T08:00\n"));
    run = quorvel({QStringLiteral("stop"), QStringLiteral("Alpha"), QStringLiteral("--at"),
                   QStringLiteral("2026-11-20T08:00")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Stopped “Alpha” at 11/20/26 8:00 AM (1:00).\n"));
    QVERIFY(!running.window->document()->activeTasks());
}

void TestCliWindow::handedImportAndNewActivityAreUndone()
{
    RunningWindow running;
    QVERIFY(running.window);
    const QuorvelMainWindow &window = *running.window;
    const QByteArray before = running.bytes();

    // An import that makes an activity and a category of its own.
    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    const QString csv = folder.filePath(QStringLiteral("more.csv"));
    {
        QFile file(csv);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("Activity,Category,Start,Stop,Minutes\n"
                   "Alpha,Work,2026-11-19T10:00,2026-11-19T10:45,45\n"
                   "Gamma,Home,2026-11-19T11:00,2026-11-19T11:30,30\n");
    }
    Run run = quorvel({QStringLiteral("import"), csv});
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, "Created the activity “Gamma” in “Home”.\nImported 2 tasks from “"
                          + csv.toUtf8() + "”.\n");
    const QByteArray imported = running.bytes();
    QCOMPARE(window.document()->tasks.size(), 4);
    QCOMPARE(running.undo()->text(), QStringLiteral("Undo Import of 2 Tasks"));
    running.undo()->trigger();
    QCOMPARE(running.bytes(), before);
    QCOMPARE(window.document()->tasks.size(), 2);
    QCOMPARE(window.mainWidget()->table->model()->rowCount(), 2);
    QCOMPARE(running.redo()->text(), QStringLiteral("Redo Import of 2 Tasks"));
    running.redo()->trigger();
    QCOMPARE(running.bytes(), imported);

    // A start that makes its activity first is one step with it.
    run = quorvel({QStringLiteral("start"), QStringLiteral("Delta"), QStringLiteral("--category"),
                   QStringLiteral("Garden")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Created the activity “Delta” in “Garden”.\n"
                                 "Started “Delta” at 11/21/26 9:30 AM.\n"));
    const QByteArray started = running.bytes();
    QCOMPARE(running.undo()->text(), QStringLiteral("Undo Start of Delta"));
    running.undo()->trigger();
    QCOMPARE(running.bytes(), imported);
    QVERIFY(!window.document()->activeTasks());
    running.redo()->trigger();
    QCOMPARE(running.bytes(), started);
    QVERIFY(window.document()->activeTasks());
}

QUORVEL_TEST_MAIN(TestCliWindow)
#include "tst_cliwindow.moc"
