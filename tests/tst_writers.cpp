// SPDX-License-Identifier: GPL-3.0-or-later
// One writer of the data file at a time, checked from the outside: several command lines,
// with and without a window (also one that is restarted again and again), start and stop
// tasks on one data file, and every command's answer must match what the file holds.

#include "CommandRunner.h"
#include "TestEnvironment.h"

#include "model/QuorvelDocument.h"

#include <QDir>
#include <QFileInfo>
#include <QMap>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

#if defined(__SANITIZE_ADDRESS__)
// Every process is several times slower under the sanitizers.
constexpr int Rounds = 1;
constexpr int CommandsPerRound = 160;
#else
constexpr int Rounds = 3;
constexpr int CommandsPerRound = 480;
#endif

const QDateTime Base(QDate(2026, 11, 21), QTime(0, 0));

QString dataFolder()
{
    return QFileInfo(QuorvelDocument::dataFilePath()).absolutePath();
}

QString socketPath()
{
    return dataFolder() + QStringLiteral("/quorvel.socket");
}

QProcessEnvironment environment(const QString &now)
{
    QProcessEnvironment env = processEnvironment(now);
    // As from cron: no desktop session at all.
    env.remove(QStringLiteral("XDG_RUNTIME_DIR"));
    env.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
    env.remove(QStringLiteral("DISPLAY"));
    env.remove(QStringLiteral("WAYLAND_DISPLAY"));
    return env;
}

// Later than every moment the commands name, so that none lies in the future.
QProcessEnvironment commandEnvironment()
{
    return environment(QStringLiteral("2026-11-24T12:00:00"));
}

QString activityName(int worker)
{
    return QStringLiteral("Worker %1").arg(worker);
}

QString minuteText(int minute)
{
    return Base.addSecs(60 * qint64(minute)).toString(QStringLiteral("yyyy-MM-ddTHH:mm"));
}

// Personal mode, one activity per worker, no tasks; the reminder of long tasks off, since
// the window's clock stands days after the tasks start.
void prepare(int workers, bool concurrent)
{
    TestEnvironment::wipe();
    Configuration().setAllowConcurrentTasks(concurrent);
    QStringList names;
    for (int w = 0; w < workers; ++w)
        names << activityName(w);
    QVERIFY(writeWorkActivities(names));
}

// The commands of one worker: pairs of start and stop of its own activity, each at a minute
// of its own, so that no two commands of the whole run name the same minute.
QList<QStringList> workerCommands(int worker, int workers, int pairs, QList<int> *minutes)
{
    QList<QStringList> commands;
    for (int i = 0; i < pairs; ++i) {
        const int start = 2 * (i * workers + worker);
        commands << QStringList{QStringLiteral("start"), activityName(worker),
                                QStringLiteral("--at"), minuteText(start)};
        commands << QStringList{QStringLiteral("stop"), activityName(worker),
                                QStringLiteral("--at"), minuteText(start + 1)};
        *minutes << start << start + 1;
    }
    return commands;
}

// What the data file must hold: for each task (activity, start) its stop, null while it runs.
using Tasks = QMap<QPair<QString, QDateTime>, QDateTime>;

Tasks tasksInFile()
{
    Tasks tasks;
    QuorvelDocument doc;
    if (!doc.load())
        return tasks;
    for (const QVTask *task : doc.tasks)
        tasks.insert({task->activityName(), task->start()}, task->stop());
    return tasks;
}

// Applies what an answer says was done to *tasks; false, with *why, when the answer is not
// one that the commands can give or does not fit what was done before.
bool apply(const CommandRunner::Answer &answer, int minute, Tasks *tasks, QString *why)
{
    const QDateTime when = Base.addSecs(60 * qint64(minute));
    const QString command = answer.arguments.join(QLatin1Char(' '));
    if (answer.exitCode == 1) {
        // A refusal by the task rules changes nothing; a refusal for any other reason (the
        // lock, the file, a lost window) is a failure of what this test checks.
        static const QRegularExpression ruleRefusal(
            QStringLiteral("^quorvel: (no running activity is called|no task is running|“[^”]*” "
                           "cannot (start|stop) at )"));
        if (!answer.out.isEmpty() || !ruleRefusal.match(QString::fromUtf8(answer.err)).hasMatch()) {
            *why = command + QStringLiteral(": refused with ") + QString::fromUtf8(answer.err);
            return false;
        }
        return true;
    }
    if (answer.exitCode != 0 || !answer.err.isEmpty()) {
        *why = QStringLiteral("%1: exit %2, %3")
                   .arg(command)
                   .arg(answer.exitCode)
                   .arg(QString::fromUtf8(answer.err));
        return false;
    }
    static const QRegularExpression started(QStringLiteral("^Started “(.+)” at .+\\.$"));
    static const QRegularExpression stopped(
        QStringLiteral("^Stopped “(.+)” at .+ \\((?:(\\d+)d  )?(\\d+):(\\d\\d)\\)\\.$"));
    static const QRegularExpression already(QStringLiteral("^“.+” is already running, since "));
    const QStringList lines
        = QString::fromUtf8(answer.out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString &line : lines) {
        QRegularExpressionMatch match = started.match(line);
        if (match.hasMatch()) {
            const QPair<QString, QDateTime> key{match.captured(1), when};
            if (tasks->contains(key)) {
                *why = command + QStringLiteral(": started twice: ") + line;
                return false;
            }
            tasks->insert(key, QDateTime());
            continue;
        }
        match = stopped.match(line);
        if (match.hasMatch()) {
            const qint64 minutes = match.captured(2).toLongLong() * 24 * 60
                                   + match.captured(3).toLongLong() * 60
                                   + match.captured(4).toLongLong();
            const QPair<QString, QDateTime> key{match.captured(1), when.addSecs(-60 * minutes)};
            if (!tasks->contains(key) || tasks->value(key).isValid()) {
                *why = command + QStringLiteral(": stopped a task that did not run: ") + line;
                return false;
            }
            tasks->insert(key, when);
            continue;
        }
        if (already.match(line).hasMatch())
            continue;
        *why = command + QStringLiteral(": unexpected answer: ") + line;
        return false;
    }
    return true;
}

// Every answer of the runners, applied in order per runner; the result must be the file.
void verify(const QList<CommandRunner *> &runners, const QList<QList<int>> &minutes,
            int *answersChecked)
{
    Tasks expected;
    // Answers of different runners touch different tasks except where one start stops
    // another runner's task, which needs that task started first: apply starts before stops
    // by going through the answers in the order of their minutes.
    QMap<int, QPair<int, int>> byMinute;
    for (int r = 0; r < runners.size(); ++r) {
        for (int i = 0; i < runners.at(r)->answers().size(); ++i)
            byMinute.insert(minutes.at(r).at(i), {r, i});
    }
    for (auto it = byMinute.cbegin(); it != byMinute.cend(); ++it) {
        QString why;
        const CommandRunner::Answer &answer
            = runners.at(it.value().first)->answers().at(it.value().second);
        QVERIFY2(apply(answer, it.key(), &expected, &why), qPrintable(why));
        ++*answersChecked;
    }
    const Tasks inFile = tasksInFile();
    if (inFile != expected) {
        QStringList lines;
        for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
            if (inFile.value(it.key(), QDateTime::fromSecsSinceEpoch(0)) != it.value())
                lines << QStringLiteral("answered but not in the file: %1 %2")
                             .arg(it.key().first, it.key().second.toString(Qt::ISODate));
        }
        for (auto it = inFile.cbegin(); it != inFile.cend(); ++it) {
            if (!expected.contains(it.key()))
                lines << QStringLiteral("in the file but never answered: %1 %2")
                             .arg(it.key().first, it.key().second.toString(Qt::ISODate));
        }
        QFAIL(qPrintable(lines.mid(0, 20).join(QLatin1Char('\n'))));
    }
    QVERIFY(!inFile.isEmpty());
}

// The window's log may say what the session lacks, but never a word of a lock, a socket or a
// save.
bool saysNothingOfLocks(const QByteArray &log)
{
    for (const QByteArray &line : log.split('\n')) {
        const QByteArray lower = line.toLower();
        if (lower.contains("lock") || lower.contains("socket") || lower.contains("renam")
            || lower.contains("cannot take")) {
            qWarning("%s", line.constData());
            return false;
        }
    }
    return true;
}

QStringList leftovers()
{
    return QDir(dataFolder())
        .entryList({QStringLiteral("*.recovered-*"), QStringLiteral("*.unsaved-*"),
                    QStringLiteral("quorvelqpe.dat.new")},
                   QDir::Files);
}

} // namespace

class TestWriters : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void commandLinesShareTheFile_data();
    void commandLinesShareTheFile();
    void windowRestartsDuringCommands();
    void commandsWithoutTheSessionReachTheWindow();
    void windowWithoutItsSocketLetsCommandsWrite();
};

void TestWriters::commandLinesShareTheFile_data()
{
    QTest::addColumn<int>("workers");
    QTest::addColumn<bool>("window");
    QTest::addColumn<bool>("concurrent");
    for (const int workers : {2, 4, 8}) {
        for (const bool window : {false, true}) {
            for (const bool concurrent : {true, false}) {
                QTest::addRow("%d command lines%s, %s", workers, window ? " and a window" : "",
                              concurrent ? "concurrent tasks" : "one task at a time")
                    << workers << window << concurrent;
            }
        }
    }
}

void TestWriters::commandLinesShareTheFile()
{
    QFETCH(int, workers);
    QFETCH(bool, window);
    QFETCH(bool, concurrent);
    const int pairs = CommandsPerRound / (2 * workers);
    int checked = 0;
    for (int round = 0; round < Rounds; ++round) {
        prepare(workers, concurrent);
        std::unique_ptr<WindowProcess> gui;
        if (window) {
            gui = std::make_unique<WindowProcess>(
                QStringLiteral(QUORVEL_GUI), environment(QStringLiteral("2026-11-24T12:00:00")));
            QVERIFY2(gui->start(socketPath()), "the window did not start listening");
        }
        QList<CommandRunner *> runners;
        QList<QList<int>> minutes;
        QObject owner;
        for (int w = 0; w < workers; ++w) {
            auto *runner
                = new CommandRunner(QStringLiteral(QUORVEL_CLI), commandEnvironment(), &owner);
            minutes << QList<int>();
            runner->run(workerCommands(w, workers, pairs, &minutes.last()));
            runners << runner;
        }
        QVERIFY(waitUntil(
            [&] {
                return std::all_of(runners.cbegin(), runners.cend(),
                                   [](const CommandRunner *r) { return r->isFinished(); });
            },
            540000));
        if (gui) {
            QCOMPARE(gui->terminate(), 0);
            QVERIFY2(saysNothingOfLocks(gui->errorOutput()), "the window complained");
        }
        if (concurrent) {
            // Nothing stands in the way of a worker's own activity: every command is done.
            for (const CommandRunner *runner : std::as_const(runners)) {
                for (const CommandRunner::Answer &answer : runner->answers())
                    QVERIFY2(answer.exitCode == 0, answer.err.constData());
            }
        }
        verify(runners, minutes, &checked);
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(leftovers(), QStringList());
    }
    QCOMPARE(checked, Rounds * workers * pairs * 2);
}

void TestWriters::windowRestartsDuringCommands()
{
    constexpr int Workers = 2;
    constexpr int Restarts = 20;
#if defined(__SANITIZE_ADDRESS__)
    constexpr int Pairs = 75;
#else
    constexpr int Pairs = 150;
#endif
    prepare(Workers, true);
    QList<CommandRunner *> runners;
    QList<QList<int>> minutes;
    QObject owner;
    for (int w = 0; w < Workers; ++w) {
        auto *runner = new CommandRunner(QStringLiteral(QUORVEL_CLI), commandEnvironment(), &owner);
        minutes << QList<int>();
        runner->run(workerCommands(w, Workers, Pairs, &minutes.last()));
        runners << runner;
    }
    auto answered = [&] {
        qsizetype n = 0;
        for (const CommandRunner *runner : std::as_const(runners))
            n += runner->answers().size();
        return n;
    };
    const qsizetype total = qsizetype(Workers) * Pairs * 2;
    int restarts = 0;
    while (restarts < Restarts && answered() < total) {
        WindowProcess gui(QStringLiteral(QUORVEL_GUI),
                          environment(QStringLiteral("2026-11-24T12:00:00")));
        QVERIFY2(gui.start(socketPath()), "the window did not start listening");
        // Let some commands through this window, then end it while others are on their way.
        const qsizetype until = answered() + total / (Restarts * 2);
        waitUntil([&] { return answered() >= until; }, 60000);
        QCOMPARE(gui.terminate(), 0);
        QVERIFY2(saysNothingOfLocks(gui.errorOutput()), "the window complained");
        ++restarts;
    }
    QCOMPARE(restarts, Restarts);
    QVERIFY(waitUntil(
        [&] {
            return std::all_of(runners.cbegin(), runners.cend(),
                               [](const CommandRunner *r) { return r->isFinished(); });
        },
        300000));
    for (const CommandRunner *runner : std::as_const(runners)) {
        for (const CommandRunner::Answer &answer : runner->answers())
            QVERIFY2(answer.exitCode == 0, answer.err.constData());
    }
    int checked = 0;
    verify(runners, minutes, &checked);
    QCOMPARE(checked, int(total));
    QCOMPARE(leftovers(), QStringList());
}

void TestWriters::commandsWithoutTheSessionReachTheWindow()
{
    prepare(1, true);
    QTemporaryDir runtime;
    QVERIFY(QFile::setPermissions(runtime.path(),
                                  QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    // The window runs in the desktop session, with a runtime folder of its own.
    QProcessEnvironment session = environment(QStringLiteral("2026-11-21T09:30:00"));
    session.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime.path());
    WindowProcess gui(QStringLiteral(QUORVEL_GUI), session);
    QVERIFY(gui.start(socketPath()));

    // The command comes as from cron or ssh: no runtime folder, a clock of its own. The
    // window's clock says when, so the window carried it out.
    CommandRunner runner(QStringLiteral(QUORVEL_CLI),
                         environment(QStringLiteral("2026-11-21T17:00:00")));
    runner.run({{QStringLiteral("start"), activityName(0)}, {QStringLiteral("status")}});
    QVERIFY(waitUntil([&] { return runner.isFinished(); }, 60000));
    QCOMPARE(runner.answers().at(0).err, QByteArray());
    QCOMPARE(runner.answers().at(0).exitCode, 0);
    QCOMPARE(runner.answers().at(0).out, QByteArray("Started “Worker 0” at 11/21/26 9:30 AM.\n"));
    QCOMPARE(runner.answers().at(1).out, QByteArray("Worker 0\t0:00\n"));
    QCOMPARE(gui.terminate(), 0);
    const Tasks inFile = tasksInFile();
    QCOMPARE(inFile.size(), 1);
    QCOMPARE(inFile.firstKey().second, QDateTime(QDate(2026, 11, 21), QTime(9, 30)));
}

void TestWriters::windowWithoutItsSocketLetsCommandsWrite()
{
    prepare(1, true);
    // The person's own plain file where the window would listen: it is left alone.
    {
        QFile blocker(socketPath());
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.write("mine\n");
    }
    WindowProcess gui(QStringLiteral(QUORVEL_GUI),
                      environment(QStringLiteral("2026-11-21T09:30:00")));
    QVERIFY(gui.start(socketPath()));
    QVERIFY(gui.waitForOutput("Cannot take commands: " + QFile::encodeName(socketPath())
                              + " is not Quorvel's socket but another kind of file"));

    // The command line says so and writes the file itself, at once.
    const QByteArray told = "quorvel: " + QFile::encodeName(socketPath())
                            + " is not Quorvel's socket but another kind of file; the command is "
                              "carried out on the data file instead.\n";
    QElapsedTimer clock;
    clock.start();
    CommandRunner runner(QStringLiteral(QUORVEL_CLI), commandEnvironment());
    runner.run(
        {{QStringLiteral("start"), activityName(0), QStringLiteral("--at"), minuteText(9 * 60)}});
    QVERIFY(waitUntil([&] { return runner.isFinished(); }, 60000));
    QVERIFY2(clock.elapsed() < 3000, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(runner.answers().at(0).err, told);
    QCOMPARE(runner.answers().at(0).exitCode, 0);
    QCOMPARE(runner.answers().at(0).out, QByteArray("Started “Worker 0” at 11/21/26 9:00 AM.\n"));

    // Again while the window reads the file anew, then the window ends: it never writes over
    // what the command line wrote.
    runner.run({{QStringLiteral("stop"), QStringLiteral("--at"), minuteText(9 * 60 + 30)}});
    QVERIFY(waitUntil([&] { return runner.isFinished(); }, 60000));
    QCOMPARE(runner.answers().at(0).exitCode, 0);
    QCOMPARE(runner.answers().at(0).out,
             QByteArray("Stopped “Worker 0” at 11/21/26 9:30 AM (0:30).\n"));
    QTest::qWait(500);
    QCOMPARE(gui.terminate(), 0);
    const Tasks inFile = tasksInFile();
    QCOMPARE(inFile.size(), 1);
    QCOMPARE(inFile.first(), QDateTime(QDate(2026, 11, 21), QTime(9, 30)));
    QCOMPARE(QFile(socketPath()).size(), qint64(5));
    QCOMPARE(leftovers(), QStringList());
}

QUORVEL_TEST_GUILESS_MAIN(TestWriters)
#include "tst_writers.moc"
