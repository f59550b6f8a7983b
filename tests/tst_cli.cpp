// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The quorvel command line, run as a separate process on the data file of the test: every
// command's exact output, its refusals and exit statuses, export and import, and two
// commands writing at the same moment.

#include "CommandRunner.h"
#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestEnvironment.h"
#include "cli/CommandParts.h"
#include "cli/Commands.h"
#include "cli/MappedFile.h"
#include "keyring/ServerPassword.h"

#include "app/QuorvelMainWindow.h"
#include "dialogs/OperatingMode.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "reports/ReportText.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QtTest>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Run
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

void startCommand(QProcess &process, const QStringList &arguments, const QProcessEnvironment &env)
{
    process.setProcessEnvironment(env);
    process.setWorkingDirectory(TestEnvironment::instance()->documentsDir());
    process.start(QStringLiteral(QUORVEL_CLI), arguments);
}

void startCommand(QProcess &process, const QStringList &arguments,
                  const QString &now = QStringLiteral("2026-11-21T09:30:00"))
{
    startCommand(process, arguments, processEnvironment(now));
}

// What a started command gave, once it ended (exit code -1 when it did not end in a minute).
Run finished(QProcess &process)
{
    Run run;
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
        return run;
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}

Run quorvel(const QStringList &arguments,
            const QString &now = QStringLiteral("2026-11-21T09:30:00"))
{
    QProcess process;
    startCommand(process, arguments, now);
    return finished(process);
}

// The command as a German session runs it. A machine without the German glibc locale makes Qt
// say so on standard error at start; that is not the program's output, and is left out.
Run quorvelInGerman(const QStringList &arguments)
{
    QProcessEnvironment env = processEnvironment(QStringLiteral("2026-11-21T09:30:00"));
    env.insert(QStringLiteral("LC_ALL"), QStringLiteral("de_DE.UTF-8"));
    env.insert(QStringLiteral("LANG"), QStringLiteral("de_DE.UTF-8"));
    env.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("default.warning=false"));
    QProcess process;
    startCommand(process, arguments, env);
    return finished(process);
}

// The command with its standard error on a pseudo-terminal, as in a person's terminal, and
// its standard output on a pipe: run.err is what the terminal received.
Run quorvelOnTerminal(const QStringList &arguments,
                      const QProcessEnvironment &env
                      = processEnvironment(QStringLiteral("2026-11-21T09:30:00")))
{
    Run run;
    int master = -1;
    int slave = -1;
    if (::openpty(&master, &slave, nullptr, nullptr, nullptr) != 0) {
        qWarning("openpty: %s", std::strerror(errno));
        return run;
    }
    ::fcntl(master, F_SETFD, FD_CLOEXEC);
    ::fcntl(slave, F_SETFD, FD_CLOEXEC);
    ::fcntl(master, F_SETFL, O_NONBLOCK);
    QProcess process;
    // dup2 leaves the copy open across exec.
    process.setChildProcessModifier([slave] { ::dup2(slave, STDERR_FILENO); });
    startCommand(process, arguments, env);
    ::close(slave);
    QByteArray terminal;
    const auto drain = [&] {
        char buffer[4096];
        ssize_t n;
        while ((n = ::read(master, buffer, sizeof buffer)) > 0)
            terminal.append(buffer, n);
    };
    QElapsedTimer waited;
    waited.start();
    while (process.state() != QProcess::NotRunning && !process.waitForFinished(20)) {
        drain();
        if (waited.elapsed() > 60000) {
            process.kill();
            process.waitForFinished();
            ::close(master);
            return run;
        }
    }
    drain();
    ::close(master);
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = process.readAllStandardOutput();
    run.err = terminal;
    return run;
}

// The command with the bytes on its standard input.
Run quorvelWithInput(const QStringList &arguments, const QByteArray &input)
{
    QProcess process;
    startCommand(process, arguments);
    process.write(input);
    process.closeWriteChannel();
    return finished(process);
}

QByteArray settingsFile()
{
    QFile file(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
               + QStringLiteral("/Quorvel/quorvelqpe.conf"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray dataFile()
{
    return readFile(QuorvelDocument::dataFilePath());
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

QString inDocuments(const QString &name)
{
    return TestEnvironment::instance()->documentsDir() + QLatin1Char('/') + name;
}

// Personal mode; four activities in two categories (one name with a comma, a quote and
// non-ASCII letters) and four stopped tasks on 19 and 20 November, as the data file.
void writeHistory(bool withRunning = false)
{
    TestEnvironment::wipe();
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *bill = build.category(QStringLiteral("Bill rate 1"));
    ActivityCategory *home = build.category(QStringLiteral("Private"));
    Activity *dev = build.activity(QStringLiteral("Project Alpha Development"), bill);
    Activity *doc1 = build.activity(QStringLiteral("Project Alpha Documentation"), bill);
    Activity *beta = build.activity(QStringLiteral("Home Project Beta"), home);
    Activity *cafe = build.activity(QStringLiteral("Café, \"Ölbaum\""), home);
    build.task(dev, at(19, 9, 0), at(19, 10, 30), 1);
    build.task(doc1, at(19, 10, 30), at(19, 11, 15), 2);
    build.task(beta, at(20, 18, 0), at(20, 19, 5), 3);
    build.task(cafe, at(20, 20, 0), at(20, 20, 20));
    if (withRunning)
        build.task(dev, at(21, 8, 15), QDateTime());
    build.sortAll();
    QVERIFY(doc.save());
}

std::unique_ptr<QuorvelDocument> loaded()
{
    auto doc = std::make_unique<QuorvelDocument>();
    if (!doc->load())
        return nullptr;
    return doc;
}

const QByteArray HistoryCsv = "Activity,Category,Start,Stop,Minutes\r\n"
                              "Project Alpha Development,Bill rate 1,2026-11-19T09:00,"
                              "2026-11-19T10:30,90\r\n"
                              "Project Alpha Documentation,Bill rate 1,2026-11-19T10:30,"
                              "2026-11-19T11:15,45\r\n"
                              "Home Project Beta,Private,2026-11-20T18:00,2026-11-20T19:05,65\r\n"
                              "\"Café, \"\"Ölbaum\"\"\",Private,2026-11-20T20:00,"
                              "2026-11-20T20:20,20\r\n";

} // namespace

class TestCli : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void statusWithNothingRunning();
    void statusOfRunningTasks();
    void statusTrustsOnlyAMatchingNote();
    void startStopsTheRunningTask();
    void startFindsTheActivity();
    void startRefusesUnknownAndAmbiguousNames();
    void startRefusesAnOverlap();
    void startCreatesAnActivityInPersonalModeOnly();
    void refusesBeforeTheFirstStart();
    void setupWritesWhatTheFirstStartWrites_data();
    void setupWritesWhatTheFirstStartWrites();
    void setupRefusals();
    void setupKeepsTheDataItReplaces();
    void noDisplayIsSaid();
    void stopRefusals();
    void startRefusedByTheRunningTask();
    void trappedTaskStopsWithTheOfferedAt();
    void stopWithinTheMinuteDeletesTheTask();
    void stopNamedActivity();
    void list();
    void listAsTheWindowShowsIt();
    void reportsEqualTheReportMenu();
    void reportsRefuseGigabytesOfText();
    void exportCsvAndJson();
    void exportOfTimesOffThePlainYears();
    void longExportIsWrittenAsItIsMade();
    void dataFileCutShortWhileRead_data();
    void dataFileCutShortWhileRead();
    void dataFileOfAnotherKind();
    void busSignalFromElsewhereKeepsItsEffect();
    void passedPagesLeaveResidentMemory();
    void readingLetsGoOfWhatItHasRead();
    void importRoundTrip();
    void csvNamesNeverRunAsFormulas();
    void importTimewarrior();
    void importNamesTheLinesOfTheFile();
    void importRefusesOverlaps();
    void importProgressOnlyOnATerminal();
    void refusalsNameTheReason();
    void longNamesAreRefused();
    void badUsage();
    void atFarAheadNeedsForce();
    void help();
    void inGerman();
    void unreadableDataFileIsLeftAlone();
    void readingCommandsNeverWrite();
    void twoStartsAtOnce();
};

void TestCli::statusWithNothingRunning()
{
    writeHistory();
    Run run = quorvel({QStringLiteral("status")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    QCOMPARE(run.err, QByteArray("No task is running.\n"));

    run = quorvel({QStringLiteral("status"), QStringLiteral("--format"), QStringLiteral("json")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray("{\"running\":[]}\n"));
}

void TestCli::statusOfRunningTasks()
{
    writeHistory(true);
    Run run = quorvel({QStringLiteral("status")}, QStringLiteral("2026-11-21T09:30:40"));
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Project Alpha Development\t1:15\n"));
    QCOMPARE(run.err, QByteArray());

    run = quorvel({QStringLiteral("status"), QStringLiteral("--format=json")},
                  QStringLiteral("2026-11-22T09:30:40"));
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("{\"running\":[{\"activity\":\"Project Alpha Development\","
                                 "\"category\":\"Bill rate 1\",\"start\":\"2026-11-21T08:15\","
                                 "\"seconds\":90940,\"time\":\"1d  1:15\"}]}\n"));
}

void TestCli::statusTrustsOnlyAMatchingNote()
{
    // Every save leaves a note of what runs beside the data file.
    writeHistory(true);
    const QString note = QuorvelDocument::runningNotePath();
    QVERIFY(QFileInfo::exists(note));
    QCOMPARE(quorvel({QStringLiteral("status")}).out,
             QByteArray("Project Alpha Development\t1:15\n"));

    // The file changed by something else: the note no longer describes it and is not used.
    QuorvelDocument other;
    DocumentBuilder build(other);
    build.task(build.activity(QStringLiteral("Elsewhere"), build.category(QStringLiteral("C"))),
               at(21, 9, 0), QDateTime());
    const QByteArray noted = dataFile();
    writeFile(QuorvelDocument::dataFilePath(), other.getDocumentBytes());
    QCOMPARE(quorvel({QStringLiteral("status")}).out, QByteArray("Elsewhere\t0:30\n"));
    // Even when it is the same size and written in the same second.
    QByteArray sameSize = noted;
    sameSize.replace("Project Alpha Development", "Project Alpha Developmenu");
    writeFile(QuorvelDocument::dataFilePath(), sameSize);
    QCOMPARE(quorvel({QStringLiteral("status")}).out,
             QByteArray("Project Alpha Developmenu\t1:15\n"));

    // The start time is read from the note as written there, "HH:mm"; a note that holds any
    // other form is not believed, and the data file answers.
    writeHistory(true);
    const QByteArray written = readFile(note);
    QVERIFY2(written.contains(" 08:15\n"), written.constData());
    QByteArray earlier = written;
    writeFile(note, earlier.replace(" 08:15\n", " 08:00\n"));
    QCOMPARE(quorvel({QStringLiteral("status")}).out,
             QByteArray("Project Alpha Development\t1:30\n"));
    for (const char *odd : {" 8:00\n", " 24:00\n", " 08:60\n", " 08:0x\n", " 08:00:00\n",
                            " 08-00\n", " +8:00\n", " \n"}) {
        QByteArray changed = written;
        writeFile(note, changed.replace(" 08:15\n", odd));
        QCOMPARE(quorvel({QStringLiteral("status")}).out,
                 QByteArray("Project Alpha Development\t1:15\n"));
    }

    // A damaged note is never believed.
    writeHistory(true);
    writeFile(note, "quorvel-running-1\ngarbage\n7\n");
    QCOMPARE(quorvel({QStringLiteral("status")}).out,
             QByteArray("Project Alpha Development\t1:15\n"));
    QFile::remove(note);
    QCOMPARE(quorvel({QStringLiteral("status")}).out,
             QByteArray("Project Alpha Development\t1:15\n"));
}

void TestCli::startStopsTheRunningTask()
{
    writeHistory(true);
    const Run run = quorvel({QStringLiteral("start"), QStringLiteral("Home Project Beta")});
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Stopped “Project Alpha Development” at 11/21/26 9:30 AM "
                                 "(1:15).\nStarted “Home Project Beta” at 11/21/26 9:30 AM.\n"));

    const auto doc = loaded();
    QVERIFY(doc);
    QCOMPARE(doc->tasks.size(), 6);
    const QVTask *stopped = doc->tasks.at(4);
    const QVTask *started = doc->tasks.at(5);
    QCOMPARE(stopped->activityName(), QStringLiteral("Project Alpha Development"));
    QCOMPARE(stopped->stop(), at(21, 9, 30));
    QCOMPARE(started->activityName(), QStringLiteral("Home Project Beta"));
    QCOMPARE(started->start(), at(21, 9, 30));
    QVERIFY(started->isRunning());
    // The button of the activity moves to the new task, as a shortcut start does.
    QCOMPARE(started->shortcut, 3);
    QCOMPARE(doc->tasks.at(2)->shortcut, 0);
}

void TestCli::startFindsTheActivity()
{
    writeHistory();
    // In any letter case, then as the only name it begins.
    Run run = quorvel({QStringLiteral("start"), QStringLiteral("home project beta")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Started “Home Project Beta” at 11/21/26 9:30 AM.\n"));
    run = quorvel({QStringLiteral("start"), QStringLiteral("caf"), QStringLiteral("--at"),
                   QStringLiteral("10:00")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Stopped “Home Project Beta” at 11/21/26 10:00 AM (0:30).\n"
                                 "Started “Café, \"Ölbaum\"” at 11/21/26 10:00 AM.\n"));
    // Starting what already runs changes nothing.
    const QByteArray before = dataFile();
    run = quorvel({QStringLiteral("start"), QStringLiteral("Café, \"Ölbaum\"")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out,
             QByteArray("“Café, \"Ölbaum\"” is already running, since 11/21/26 10:00 AM.\n"));
    QCOMPARE(dataFile(), before);
}

void TestCli::startRefusesUnknownAndAmbiguousNames()
{
    writeHistory();
    const QByteArray before = dataFile();
    Run run = quorvel({QStringLiteral("start"), QStringLiteral("Project Alpha")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    QCOMPARE(run.err, QByteArray("quorvel: “Project Alpha” could be any of these activities:\n"
                                 "  Project Alpha Development (Bill rate 1)\n"
                                 "  Project Alpha Documentation (Bill rate 1)\n"));
    run = quorvel({QStringLiteral("start"), QStringLiteral("Gardening")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: no activity is called “Gardening”. The activities "
                                 "are:\n"
                                 "  Café, \"Ölbaum\" (Private)\n"
                                 "  Home Project Beta (Private)\n"
                                 "  Project Alpha Development (Bill rate 1)\n"
                                 "  Project Alpha Documentation (Bill rate 1)\n"));
    QCOMPARE(dataFile(), before);
}

void TestCli::startRefusesAnOverlap()
{
    writeHistory();
    const QByteArray before = dataFile();
    const Run run = quorvel({QStringLiteral("start"), QStringLiteral("Home Project Beta"),
                             QStringLiteral("--at"), QStringLiteral("2026-11-19T10:00")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    // The command line's own words: the moment asked for, not "now".
    QCOMPARE(run.err, QByteArray("quorvel: “Home Project Beta” cannot start at 11/19/26 10:00 AM: "
                                 "it would overlap a recorded task.\n"));
    QCOMPARE(dataFile(), before);
}

void TestCli::startCreatesAnActivityInPersonalModeOnly()
{
    writeHistory();
    Run run = quorvel({QStringLiteral("start"), QStringLiteral("Gardening"),
                       QStringLiteral("--category"), QStringLiteral("Garden")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Created the activity “Gardening” in “Garden”.\n"
                                 "Started “Gardening” at 11/21/26 9:30 AM.\n"));
    auto doc = loaded();
    QVERIFY(doc);
    QCOMPARE(doc->categories.size(), 3);
    QCOMPARE(doc->tasks.last()->activity->category->name, QStringLiteral("Garden"));

    // An existing activity of that category is started, not made again.
    run = quorvel({QStringLiteral("start"), QStringLiteral("home project beta"),
                   QStringLiteral("--category"), QStringLiteral("private")},
                  QStringLiteral("2026-11-21T10:00:00"));
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Stopped “Gardening” at 11/21/26 10:00 AM (0:30).\n"
                                 "Started “Home Project Beta” at 11/21/26 10:00 AM.\n"));

    // No name the exchange would read as a marker.
    const QByteArray unchanged = dataFile();
    run = quorvel({QStringLiteral("start"), QStringLiteral("--category=Garden"),
                   QStringLiteral("--"), QStringLiteral("--sync-end--")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: “--sync-end--” cannot be the name of an activity.\n"));
    run = quorvel(
        {QStringLiteral("start"), QStringLiteral("Fishing"), QStringLiteral("--category=--end--")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: “--end--” cannot be the name of a category.\n"));
    QCOMPARE(dataFile(), unchanged);

    Configuration().setMode(Configuration::Group);
    const QByteArray before = dataFile();
    run = quorvel({QStringLiteral("start"), QStringLiteral("Fishing"), QStringLiteral("--category"),
                   QStringLiteral("Private")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: in group mode the group server keeps the activities, "
                                 "so “Fishing” is not created here: ask the team lead to add "
                                 "it.\n"));
    QCOMPARE(dataFile(), before);
    // Starting a known activity is fine in group mode.
    run = quorvel({QStringLiteral("start"), QStringLiteral("Gardening")},
                  QStringLiteral("2026-11-21T10:30:00"));
    QCOMPARE(run.exitCode, 0);
}

void TestCli::refusesBeforeTheFirstStart()
{
    TestEnvironment::wipe();
    const Run run = quorvel({QStringLiteral("start"), QStringLiteral("Anything")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: Quorvel is not set up yet: run “quorvel setup "
                                 "personal” (or “quorvel setup group --server ADDRESS --user "
                                 "ID”), or start it once without a command and choose how you "
                                 "use it.\n"));
    QVERIFY(!QFileInfo::exists(QuorvelDocument::dataFilePath()));
}

void TestCli::setupWritesWhatTheFirstStartWrites_data()
{
    QTest::addColumn<QByteArray>("radio");
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("personal, sample")
        << QByteArray("radPersonalInit")
        << QStringList{QStringLiteral("personal"), QStringLiteral("--sample")};
    QTest::newRow("personal, empty")
        << QByteArray("radPersonalNoInit") << QStringList{QStringLiteral("personal")};
    QTest::newRow("group") << QByteArray("radGroup")
                           << QStringList{QStringLiteral("group"), QStringLiteral("--server"),
                                          QStringLiteral("sync.example.org:8080"),
                                          QStringLiteral("--user"), QStringLiteral("alice")};
}

void TestCli::setupWritesWhatTheFirstStartWrites()
{
    QFETCH(QByteArray, radio);
    QFETCH(QStringList, arguments);
    // The window's first start, with the same choice.
    TestEnvironment::wipe();
    Clock::setFixed(at(21, 9, 30));
    {
        ModalAnswers answers;
        answers.add(ModalAnswers::chooseInitialMode(radio.constData()));
        if (radio == "radGroup") {
            answers.add([](QWidget *widget) {
                auto *dialog = qobject_cast<OperatingMode *>(widget);
                QVERIFY(dialog);
                dialog->txtServer->setText(QStringLiteral("sync.example.org:8080"));
                dialog->txtUserID->setText(QStringLiteral("alice"));
                dialog->txtPassword->setText(QStringLiteral("pässword"));
                dialog->accept();
            });
        }
        QuorvelMainWindow window;
        QCOMPARE(answers.remaining(), 0);
        // The password reaches its store once the keyring has answered.
        QTRY_COMPARE(ServerPassword(Configuration()).read(),
                     radio == "radGroup" ? QStringLiteral("pässword") : QString());
    }
    const QByteArray windowSettings = settingsFile();
    const QByteArray windowData = dataFile();
    QVERIFY(!windowSettings.isEmpty());
    QVERIFY(!windowData.isEmpty());

    TestEnvironment::wipe();
    const Run run
        = quorvelWithInput(QStringList(QStringLiteral("setup")) + arguments, "pässword\n");
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.exitCode, 0);
    // The same settings, but for the balloon tip the window has shown since: the command
    // line has shown none, so every one is still to be shown.
    // The window's place on the screen, kept when it closes, is no choice of the first start.
    const auto without = [](const QByteArray &settings, const char *group) {
        const qsizetype start = settings.indexOf(group);
        const qsizetype end = settings.indexOf("\n\n", start);
        return start < 0 || end < 0 ? settings : settings.left(start) + settings.mid(end + 2);
    };
    const auto withoutTips = [&without](const QByteArray &settings) {
        return without(without(settings, "[BalloonTips]\n"), "[Desktop]\n");
    };
    const QByteArray settings = settingsFile();
    QCOMPARE(QString::fromUtf8(withoutTips(settings)),
             QString::fromUtf8(withoutTips(windowSettings)));
    QVERIFY(settings.startsWith("[BalloonTips]\nactivities=0\nadditionalHelp=0\ncategories=0\n"
                                "groupMode=0\nnewTask=0\nshortcutButtons=0\nstartHere=0\n"
                                "taskList=0\n\n"));
    QCOMPARE(dataFile(), windowData);
    QCOMPARE(run.out,
             radio == "radPersonalInit"
                 ? QByteArray("Quorvel is set up for personal mode, with the sample "
                              "activities.\n")
             : radio == "radPersonalNoInit"
                 ? QByteArray("Quorvel is set up for personal mode.\n")
                 : QByteArray("Quorvel is set up for group mode with the server "
                              "sync.example.org:8080 as alice. Synchronize with Server in the "
                              "window brings the team's activities.\n"));
}

void TestCli::setupRefusals()
{
    TestEnvironment::wipe();
    const auto usage = [](const QStringList &arguments, const QByteArray &message) {
        const Run run = quorvel(QStringList(QStringLiteral("setup")) + arguments);
        QCOMPARE(run.exitCode, 2);
        QCOMPARE(run.err, "quorvel setup: " + message + "\nTry “quorvel help setup”.\n");
    };
    usage({}, "say personal or group.");
    usage({QStringLiteral("team")}, "say personal or group, not “team”.");
    usage({QStringLiteral("personal"), QStringLiteral("--user"), QStringLiteral("bob")},
          "--server and --user are for group mode.");
    usage({QStringLiteral("group"), QStringLiteral("--server"), QStringLiteral("h:8080")},
          "group mode needs --server and --user.");
    usage({QStringLiteral("group"), QStringLiteral("--sample"), QStringLiteral("--server"),
           QStringLiteral("h"), QStringLiteral("--user"), QStringLiteral("u")},
          "--sample is for personal mode.");
    QVERIFY(settingsFile().isEmpty());

    // Group mode with standard input closed: no password, nothing written.
    Run run = quorvelWithInput({QStringLiteral("setup"), QStringLiteral("group"),
                                QStringLiteral("--server"), QStringLiteral("h:8080"),
                                QStringLiteral("--user"), QStringLiteral("bob")},
                               QByteArray());
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: no password was given; nothing was changed.\n"));
    QCOMPARE(Configuration().mode(), Configuration::Unset);
    QVERIFY(!QFileInfo::exists(QuorvelDocument::dataFilePath()));

    // Once set up, only --force sets it up again.
    run = quorvel({QStringLiteral("setup"), QStringLiteral("personal")});
    QVERIFY2(run.exitCode == 0, run.err.constData());
    run = quorvel(
        {QStringLiteral("setup"), QStringLiteral("personal"), QStringLiteral("--sample")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: Quorvel is already set up for personal mode; add "
                                 "--force to set it up again.\n"));
    run = quorvel({QStringLiteral("setup"), QStringLiteral("personal"), QStringLiteral("--sample"),
                   QStringLiteral("--force")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(loaded()->activities.size(), 5);
    run = quorvelWithInput({QStringLiteral("setup"), QStringLiteral("group"),
                            QStringLiteral("--server"), QStringLiteral("h:8080"),
                            QStringLiteral("--user"), QStringLiteral("bob"),
                            QStringLiteral("--force"), QStringLiteral("--yes")},
                           "secret\n");
    QCOMPARE(run.exitCode, 0);
    run = quorvel({QStringLiteral("setup"), QStringLiteral("personal")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: Quorvel is already set up for group mode with the "
                                 "server h:8080; add --force to set it up again.\n"));

    // While the window is open, it is where the mode is chosen.
    quietWindowSettings();
    WindowProcess window(QStringLiteral(QUORVEL_GUI),
                         processEnvironment(QStringLiteral("2026-11-21T09:30:00")));
    QVERIFY(window.start(QFileInfo(QuorvelDocument::dataFilePath()).absolutePath()
                         + QStringLiteral("/quorvel.socket")));
    run = quorvel({QStringLiteral("setup"), QStringLiteral("personal"), QStringLiteral("--force")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: Quorvel's window is open: choose the mode there "
                                 "(Settings → Operating Mode), or close it first.\n"));
    QCOMPARE(Configuration().mode(), Configuration::Group);
}

void TestCli::setupKeepsTheDataItReplaces()
{
    writeHistory();
    const QByteArray before = dataFile();
    // Data would be emptied: without a terminal to ask on, only --yes goes on.
    Run run
        = quorvel({QStringLiteral("setup"), QStringLiteral("personal"), QStringLiteral("--force")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: setting up empties the local data (4 tasks, and the "
                                 "activities and categories); nothing was changed. Add --yes to "
                                 "go on.\n"));
    QCOMPARE(dataFile(), before);
    QCOMPARE(Configuration().mode(), Configuration::Personal);

    run = quorvel({QStringLiteral("setup"), QStringLiteral("personal"), QStringLiteral("--force"),
                   QStringLiteral("--yes")});
    QCOMPARE(run.exitCode, 0);
    const QString kept
        = QuorvelDocument::dataFilePath() + QStringLiteral(".replaced-20261121093000");
    QCOMPARE(run.out,
             ("The data file has been kept as " + kept + "\nQuorvel is set up for personal mode.\n")
                 .toUtf8());
    QFile copy(kept);
    QVERIFY(copy.open(QIODevice::ReadOnly));
    QCOMPARE(copy.readAll(), before);
    QCOMPARE(copy.permissions() & (QFileDevice::ReadOther | QFileDevice::ReadGroup),
             QFileDevice::Permissions());
    QVERIFY(loaded()->tasks.isEmpty());
    QVERIFY(loaded()->activities.isEmpty());

    // Not set up, with a data file: kept aside as the first start keeps it, without a question
    // when it holds nothing.
    TestEnvironment::wipe();
    QuorvelDocument empty;
    QVERIFY(empty.save());
    run = quorvel({QStringLiteral("setup"), QStringLiteral("personal")});
    QCOMPARE(run.exitCode, 0);
    QVERIFY(run.out.startsWith("The data file has been kept as "));
}

void TestCli::noDisplayIsSaid()
{
    // Both the command line and the window's program say the same line and end with 1 (they
    // said different things, with 127 and the toolkit's abort): also when a display is named
    // that nothing answers on.
    const QByteArray expected = "Quorvel needs a graphical session; use `quorvel help` for the "
                                "command line\n";
    const QString socketless = TestEnvironment::instance()->documentsDir();
    const QList<QPair<QString, QString>> displays = {
        {QString(), QString()},
        {QStringLiteral(":4711"), QString()},
        {QString(), QStringLiteral("no-such-wayland-display")},
    };
    for (const QString &program : {QStringLiteral(QUORVEL_CLI), QStringLiteral(QUORVEL_GUI)}) {
        for (const auto &[display, wayland] : displays) {
            QProcessEnvironment env = processEnvironment(QStringLiteral("2026-11-21T09:30:00"));
            for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
                env.remove(QLatin1String(name));
            if (!display.isEmpty())
                env.insert(QStringLiteral("DISPLAY"), display);
            if (!wayland.isEmpty()) {
                env.insert(QStringLiteral("WAYLAND_DISPLAY"), wayland);
                env.insert(QStringLiteral("XDG_RUNTIME_DIR"), socketless);
            }
            QProcess process;
            process.setProcessEnvironment(env);
            process.start(program, {});
            const Run run = finished(process);
            const QByteArray where = (program + QLatin1Char(' ') + display + wayland).toUtf8();
            QVERIFY2(run.exitCode == 1, where.constData());
            QVERIFY2(run.err == expected, (where + ": " + run.err).constData());
            QVERIFY(run.out.isEmpty());
        }
    }
}

void TestCli::stopRefusals()
{
    writeHistory();
    Run run = quorvel({QStringLiteral("stop")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: no task is running.\n"));

    writeHistory(true);
    const QByteArray before = dataFile();
    run = quorvel({QStringLiteral("stop"), QStringLiteral("--at"), QStringLiteral("08:00")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    // A stop before the start is neither "now" nor "in the future": it says what it is.
    QCOMPARE(run.err, QByteArray("quorvel: “Project Alpha Development” cannot stop at 11/21/26 "
                                 "8:00 AM, before it started (11/21/26 8:15 AM).\n"));
    QCOMPARE(dataFile(), before);

    // A task started by hand before a recorded one cannot stop after that one began.
    writeHistory();
    run = quorvel({QStringLiteral("start"), QStringLiteral("Home Project Beta"),
                   QStringLiteral("--at"), QStringLiteral("2026-11-19 08:00")});
    QCOMPARE(run.exitCode, 0);
    const QByteArray started = dataFile();
    run = quorvel(
        {QStringLiteral("stop"), QStringLiteral("--at"), QStringLiteral("thursday 9:30")});
    QCOMPARE(run.exitCode, 1);
    // The refusal names the latest minute that works, and the command that takes it.
    QCOMPARE(run.err, QByteArray("quorvel: “Home Project Beta” cannot stop at 11/19/26 9:30 AM: "
                                 "it would overlap the task after it.\n"
                                 "It can stop at 11/19/26 9:00 AM, where the next task starts: "
                                 "quorvel stop 'Home Project Beta' --at 2026-11-19T09:00\n"));
    QCOMPARE(dataFile(), started);
}

void TestCli::startRefusedByTheRunningTask()
{
    // The running task began at 8:15 today: a start at 8:00 would have to stop it before that.
    writeHistory(true);
    QByteArray before = dataFile();
    Run run = quorvel({QStringLiteral("start"), QStringLiteral("Home Project Beta"),
                       QStringLiteral("--at"), QStringLiteral("08:00")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    QCOMPARE(run.err, QByteArray("quorvel: “Home Project Beta” cannot start at 11/21/26 8:00 AM: "
                                 "the running “Project Alpha Development” would have to stop "
                                 "then, before it started (11/21/26 8:15 AM).\n"));
    QCOMPARE(dataFile(), before);

    // Started by hand on the 19th before a recorded task, it cannot stop now for another.
    writeHistory();
    run = quorvel({QStringLiteral("start"), QStringLiteral("Home Project Beta"),
                   QStringLiteral("--at"), QStringLiteral("2026-11-19 08:00")});
    QCOMPARE(run.exitCode, 0);
    before = dataFile();
    run = quorvel({QStringLiteral("start"), QStringLiteral("caf")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: “Café, \"Ölbaum\"” cannot start at 11/21/26 9:30 AM: "
                                 "the running “Home Project Beta” would have to stop then, and "
                                 "would overlap another task.\n"));
    QCOMPARE(dataFile(), before);
}

void TestCli::trappedTaskStopsWithTheOfferedAt()
{
    // Started by hand on the 19th before two recorded tasks, it runs on into today.
    writeHistory();
    Run run = quorvel({QStringLiteral("start"), QStringLiteral("caf"), QStringLiteral("--at"),
                       QStringLiteral("2026-11-19 08:30")});
    QCOMPARE(run.exitCode, 0);
    run = quorvel({QStringLiteral("stop")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    const QByteArray offered = "quorvel stop 'Café, \"Ölbaum\"' --at 2026-11-19T09:00";
    QCOMPARE(run.err, QByteArray("quorvel: “Café, \"Ölbaum\"” cannot stop at 11/21/26 9:30 AM: "
                                 "it would overlap the task after it.\n"
                                 "It can stop at 11/19/26 9:00 AM, where the next task starts: ")
                          + offered + '\n');

    // The command as a shell reads it.
    QProcessEnvironment env = processEnvironment(QStringLiteral("2026-11-21T09:30:00"));
    env.insert(QStringLiteral("QUORVEL"), QStringLiteral(QUORVEL_CLI));
    QProcess shell;
    shell.setProcessEnvironment(env);
    shell.start(QStringLiteral("sh"),
                {QStringLiteral("-c"), QStringLiteral("quorvel() { \"$QUORVEL\" \"$@\"; }; ")
                                           + QString::fromUtf8(offered)});
    QVERIFY(shell.waitForStarted());
    QVERIFY(shell.waitForFinished(60000));
    QCOMPARE(shell.readAllStandardError(), QByteArray());
    QCOMPARE(shell.exitCode(), 0);
    QCOMPARE(shell.readAllStandardOutput(),
             QByteArray("Stopped “Café, \"Ölbaum\"” at 11/19/26 9:00 AM (0:30).\n"));
    const auto doc = loaded();
    QVERIFY(doc);
    QCOMPARE(doc->tasks.at(0)->activityName(), QStringLiteral("Café, \"Ölbaum\""));
    QCOMPARE(doc->tasks.at(0)->start(), at(19, 8, 30));
    QCOMPARE(doc->tasks.at(0)->stop(), at(19, 9, 0));
}

void TestCli::stopWithinTheMinuteDeletesTheTask()
{
    writeHistory(true);
    const Run run = quorvel({QStringLiteral("stop")}, QStringLiteral("2026-11-21T08:15:50"));
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Deleted “Project Alpha Development”: tasks of less than 1 "
                                 "minute duration are not logged.\n"));
    const auto doc = loaded();
    QVERIFY(doc);
    QCOMPARE(doc->tasks.size(), 4);
    QVERIFY(!doc->activeTasks());
}

void TestCli::stopNamedActivity()
{
    writeHistory(true);
    Run run = quorvel({QStringLiteral("stop"), QStringLiteral("Home")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: no running activity is called “Home”. Running:\n"
                                 "  Project Alpha Development (Bill rate 1)\n"));
    run = quorvel({QStringLiteral("stop"), QStringLiteral("project"), QStringLiteral("--at"),
                   QStringLiteral("9:05")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out,
             QByteArray("Stopped “Project Alpha Development” at 11/21/26 9:05 AM (0:50).\n"));
    const auto doc = loaded();
    QVERIFY(doc);
    QCOMPARE(doc->tasks.last()->stop(), at(21, 9, 5));
}

void TestCli::list()
{
    writeHistory(true);
    Run run = quorvel({QStringLiteral("list")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("11/19/26 9:00 AM   11/19/26 10:30 AM  Project Alpha "
                                 "Development\n"
                                 "11/19/26 10:30 AM  11/19/26 11:15 AM  Project Alpha "
                                 "Documentation\n"
                                 "11/20/26 6:00 PM   11/20/26 7:05 PM   Home Project Beta\n"
                                 "11/20/26 8:00 PM   11/20/26 8:20 PM   Café, \"Ölbaum\"\n"
                                 "11/21/26 8:15 AM                      Project Alpha "
                                 "Development\n"));
    run = quorvel({QStringLiteral("list"), QStringLiteral("--from"), QStringLiteral("friday"),
                   QStringLiteral("--to"), QStringLiteral("2026-11-20")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("11/20/26 6:00 PM  11/20/26 7:05 PM  Home Project Beta\n"
                                 "11/20/26 8:00 PM  11/20/26 8:20 PM  Café, \"Ölbaum\"\n"));
}

// A task whose stop lies before its start (a clock set wrong) is listed by its start like any
// other, with or without days asked for; the window's running document answers the same.
void TestCli::listAsTheWindowShowsIt()
{
    TestEnvironment::wipe();
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *home = build.category(QStringLiteral("Private"));
    Activity *dev = build.activity(QStringLiteral("Project Alpha Development"),
                                   build.category(QStringLiteral("Bill rate 1")));
    Activity *beta = build.activity(QStringLiteral("Home Project Beta"), home);
    Activity *cafe = build.activity(QStringLiteral("Café, \"Ölbaum\""), home);
    build.task(beta, at(18, 18, 0), at(18, 19, 0));
    build.task(dev, at(19, 9, 0), at(19, 10, 30));
    build.task(beta, at(20, 10, 0), at(19, 9, 0));
    build.task(cafe, at(20, 20, 0), at(20, 20, 20));
    build.task(dev, at(21, 8, 15), QDateTime());
    build.sortAll();
    QVERIFY(doc.save());

    const QStringList all = {QStringLiteral("list")};
    const QStringList friday
        = {QStringLiteral("list"), QStringLiteral("--from"), QStringLiteral("2026-11-20"),
           QStringLiteral("--to"), QStringLiteral("2026-11-20")};
    Run run = quorvel(all);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.out, QByteArray("11/18/26 6:00 PM   11/18/26 7:00 PM   Home Project Beta\n"
                                 "11/19/26 9:00 AM   11/19/26 10:30 AM  Project Alpha "
                                 "Development\n"
                                 "11/20/26 10:00 AM  11/19/26 9:00 AM   Home Project Beta\n"
                                 "11/20/26 8:00 PM   11/20/26 8:20 PM   Café, \"Ölbaum\"\n"
                                 "11/21/26 8:15 AM                      Project Alpha "
                                 "Development\n"));
    QCOMPARE(Commands::run(*loaded(), all, QDir::currentPath()).out, run.out);

    run = quorvel(friday);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("11/20/26 10:00 AM  11/19/26 9:00 AM  Home Project Beta\n"
                                 "11/20/26 8:00 PM   11/20/26 8:20 PM  Café, \"Ölbaum\"\n"));
    QCOMPARE(Commands::run(*loaded(), friday, QDir::currentPath()).out, run.out);

    // Nothing within the days asked for: nothing at all, not even a blank line.
    run = quorvel({QStringLiteral("list"), QStringLiteral("--from"), QStringLiteral("2026-11-22")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray());
}

// A time sheet over centuries, or with a row for each of many activities on each of many
// days, would be gigabytes of text: refused in words before any of it is built.
void TestCli::reportsRefuseGigabytesOfText()
{
    TestEnvironment::wipe();
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    for (int i = 0; i < 30; ++i)
        build.activity(QStringLiteral("Activity %1").arg(i, 2, 10, QLatin1Char('0')), nullptr);
    build.task(doc.activities.first(), at(19, 9, 0), at(19, 10, 30));
    build.sortAll();
    QVERIFY(doc.save());

    Run run = quorvel({QStringLiteral("report"), QStringLiteral("timesheet"),
                       QStringLiteral("--from"), QStringLiteral("1926-11-19"),
                       QStringLiteral("--to"), QStringLiteral("2026-11-19")});
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(run.out, QByteArray());
    QCOMPARE(QString::fromUtf8(run.err),
             QString::fromUtf8(
                 "quorvel report: a time sheet covers at most 36525 days; choose a shorter "
                 "period.\nTry “quorvel help report”.\n"));

    // 36 525 days less one, so 36 525 days with a row for each of the 30 activities.
    const QStringList longest
        = {QStringLiteral("report"),     QStringLiteral("timesheet"), QStringLiteral("--from"),
           QStringLiteral("1926-11-20"), QStringLiteral("--to"),      QStringLiteral("2026-11-19")};
    run = quorvel(longest + QStringList{QStringLiteral("--zero")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    QCOMPARE(QString::fromUtf8(run.err),
             QString::fromUtf8(
                 "quorvel: the time sheet of that period would have 1095750 rows, more than the "
                 "1000000 a report writes; choose a shorter period, or leave out --zero.\n"));

    // Without --zero only the day with time has a row.
    run = quorvel(longest + QStringList{QStringLiteral("--format"), QStringLiteral("csv")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Date,Activity,Category,Minutes\r\n"
                                 "2026-11-19,Activity 00,,90\r\n"));
}

void TestCli::reportsEqualTheReportMenu()
{
    writeHistory(true);
    QuorvelDocument doc;
    QVERIFY(doc.load());
    const QDate from(2026, 11, 16);
    const QDate to(2026, 11, 21);
    Run run
        = quorvel({QStringLiteral("report"), QStringLiteral("summary"), QStringLiteral("--from"),
                   QStringLiteral("monday"), QStringLiteral("--to"), QStringLiteral("today")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(QString::fromUtf8(run.out),
             ReportText::periodSummary(doc, from, to, false, false) + QLatin1Char('\n'));
    QVERIFY(run.out.contains("There are <i>active</i> tasks"));

    run = quorvel({QStringLiteral("report"), QStringLiteral("timesheet"), QStringLiteral("--from"),
                   QStringLiteral("2026-11-19"), QStringLiteral("--to"),
                   QStringLiteral("2026-11-20"), QStringLiteral("--zero"),
                   QStringLiteral("--decimal")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(QString::fromUtf8(run.out),
             ReportText::periodTimeSheet(doc, QDate(2026, 11, 19), QDate(2026, 11, 20), true, true)
                 + QLatin1Char('\n'));

    run = quorvel({QStringLiteral("report"), QStringLiteral("summary"), QStringLiteral("--from"),
                   QStringLiteral("2026-11-19"), QStringLiteral("--to"),
                   QStringLiteral("2026-11-20"), QStringLiteral("--format"),
                   QStringLiteral("csv")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Activity,Category,Minutes,Hours\r\n"
                                 "\"Café, \"\"Ölbaum\"\"\",Private,20,0.3333\r\n"
                                 "Home Project Beta,Private,65,1.0833\r\n"
                                 "Project Alpha Development,Bill rate 1,90,1.5000\r\n"
                                 "Project Alpha Documentation,Bill rate 1,45,0.7500\r\n"));

    run = quorvel({QStringLiteral("report"), QStringLiteral("timesheet"), QStringLiteral("--from"),
                   QStringLiteral("2026-11-19"), QStringLiteral("--to"),
                   QStringLiteral("2026-11-19"), QStringLiteral("--format"),
                   QStringLiteral("text")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(QString::fromUtf8(run.out),
             ReportText::periodTimeSheetText(doc, QDate(2026, 11, 19), QDate(2026, 11, 19), false,
                                             false));
    QVERIFY(run.out.contains("Project Alpha Documentation  Bill rate 1"));
}

// A long export goes out in pieces as it is made; a data file that fails to read after the
// first piece leaves what went out, said to be incomplete.
// A data file may hold times that are no times (a 13th month) or lie past the year 9999. The
// export checks those, rather than writing their numbers as they stand: a start that is no
// time is left empty, a year past 9999 written whole.
void TestCli::exportOfTimesOffThePlainYears()
{
    TestEnvironment::wipe();
    Configuration().setMode(Configuration::Personal);
    QByteArray bytes;
    {
        QuorvelDocument doc;
        DocumentBuilder build(doc);
        Activity *coding
            = build.activity(QStringLiteral("Coding"), build.category(QStringLiteral("Work")));
        build.task(coding, at(17, 9, 0), at(17, 10, 0));
        build.task(coding, at(18, 9, 0), at(18, 10, 0));
        build.task(coding, at(19, 9, 0), at(19, 10, 30));
        build.sortAll();
        bytes = doc.getDocumentBytes();
    }
    // The 18th starts in a 13th month; the 19th's task lies in the year 12026.
    const auto replaceOnce = [&bytes](const QByteArray &from, const QByteArray &to) {
        QCOMPARE(bytes.count(from), 1);
        bytes.replace(from, to);
    };
    replaceOnce("\n2026\n11\n18\n9\n0\n", "\n2026\n13\n18\n9\n0\n");
    replaceOnce("\n2026\n11\n19\n9\n0\n2026\n11\n19\n10\n30\n",
                "\n12026\n11\n19\n9\n0\n12026\n11\n19\n10\n30\n");
    writeFile(QuorvelDocument::dataFilePath(), bytes);

    Run run = quorvel({QStringLiteral("export")});
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Activity,Category,Start,Stop,Minutes\r\n"
                                 "Coding,Work,2026-11-17T09:00,2026-11-17T10:00,60\r\n"
                                 "Coding,Work,,2026-11-18T10:00,0\r\n"
                                 "Coding,Work,12026-11-19T09:00,12026-11-19T10:30,90\r\n"));
    run = quorvel({QStringLiteral("export"), QStringLiteral("--format"), QStringLiteral("json")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out,
             QByteArray("[\n"
                        "{\"activity\":\"Coding\",\"category\":\"Work\",\"start\":"
                        "\"2026-11-17T09:00\",\"stop\":\"2026-11-17T10:00\",\"minutes\":60},\n"
                        "{\"activity\":\"Coding\",\"category\":\"Work\",\"start\":"
                        "\"\",\"stop\":\"2026-11-18T10:00\",\"minutes\":0},\n"
                        "{\"activity\":\"Coding\",\"category\":\"Work\",\"start\":"
                        "\"12026-11-19T09:00\",\"stop\":\"12026-11-19T10:30\",\"minutes\":90}\n"
                        "]\n"));
}

void TestCli::longExportIsWrittenAsItIsMade()
{
    TestEnvironment::wipe();
    Configuration().setMode(Configuration::Personal);
    const int count = 12000;
    QByteArray expected = "Activity,Category,Start,Stop,Minutes\r\n";
    {
        QuorvelDocument doc;
        DocumentBuilder build(doc);
        Activity *writing
            = build.activity(QStringLiteral("Writing"), build.category(QStringLiteral("Work")));
        for (int i = 0; i < count; ++i) {
            const QDateTime start(QDate(2020, 1, 1).addDays(i / 8), QTime(8 + i % 8, 0));
            build.task(writing, start, start.addSecs(50 * 60));
            expected += "Writing,Work," + start.toString(Qt::ISODate).left(16).toUtf8() + ','
                        + start.addSecs(50 * 60).toString(Qt::ISODate).left(16).toUtf8()
                        + ",50\r\n";
        }
        build.sortAll();
        QVERIFY(doc.save());
    }
    QVERIFY(expected.size() > 512 * 1024);
    const Run whole = quorvel({QStringLiteral("export")});
    QCOMPARE(whole.exitCode, 0);
    QCOMPARE(whole.err, QByteArray());
    QCOMPARE(whole.out, expected);

    // Without its end marker the file cannot be read, which shows only at its end.
    QByteArray damaged = dataFile();
    QVERIFY(damaged.endsWith("--end--\n"));
    damaged.chop(8);
    writeFile(QuorvelDocument::dataFilePath(), damaged);
    const Run cut = quorvel({QStringLiteral("export")});
    QCOMPARE(cut.exitCode, 1);
    QCOMPARE(cut.err, "quorvel: the data file " + QuorvelDocument::dataFilePath().toUtf8()
                          + " cannot be read past the part written above, which is therefore "
                            "incomplete; the file is left as it is. Start Quorvel without a "
                            "command to deal with it.\n");
    QVERIFY(cut.out.size() >= 256 * 1024);
    QVERIFY(cut.out.size() < expected.size());
    QVERIFY(expected.startsWith(cut.out));
    QCOMPARE(dataFile(), damaged);
}

void TestCli::exportCsvAndJson()
{
    writeHistory(true);
    Run run = quorvel({QStringLiteral("export")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, HistoryCsv + "Project Alpha Development,Bill rate 1,2026-11-21T08:15,,\r\n");

    run = quorvel({QStringLiteral("export"), QStringLiteral("--format"), QStringLiteral("json"),
                   QStringLiteral("--from"), QStringLiteral("2026-11-20")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("[\n"
                                 "{\"activity\":\"Home Project Beta\",\"category\":\"Private\","
                                 "\"start\":\"2026-11-20T18:00\",\"stop\":\"2026-11-20T19:05\","
                                 "\"minutes\":65},\n"
                                 "{\"activity\":\"Café, \\\"Ölbaum\\\"\",\"category\":"
                                 "\"Private\",\"start\":\"2026-11-20T20:00\",\"stop\":"
                                 "\"2026-11-20T20:20\",\"minutes\":20},\n"
                                 "{\"activity\":\"Project Alpha Development\",\"category\":"
                                 "\"Bill rate 1\",\"start\":\"2026-11-21T08:15\",\"stop\":null,"
                                 "\"minutes\":null}\n"
                                 "]\n"));
    QVERIFY(QJsonDocument::fromJson(run.out).isArray());
}

void TestCli::dataFileCutShortWhileRead_data()
{
    QTest::addColumn<qint64>("written");
    QTest::addColumn<qint64>("keptBytes");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("before any answer, file emptied")
        << qint64(0) << qint64(0) << QByteArray("nothing written\n");
    QTest::newRow("before any answer, file halved")
        << qint64(0) << qint64(96 * 1024) << QByteArray("nothing written\n");
    QTest::newRow("after part of the answer")
        << qint64(4096) << qint64(0) << QByteArray("part written\n");
}

// Another program cuts the mapped data file short while a command reads it: the command ends
// with its prepared refusal and exit status 1, not with a crash.
void TestCli::dataFileCutShortWhileRead()
{
    QFETCH(qint64, written);
    QFETCH(qint64, keptBytes);
    QFETCH(QByteArray, expected);
    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    const QString path = folder.filePath(QStringLiteral("app105.txt"));
    const QByteArray content(256 * 1024, 'x');
    writeFile(path, content);

    MappedFile file(path);
    QCOMPARE(file.state(), MappedFile::State::Mapped);
    QCOMPARE(file.size(), content.size());
    QCOMPARE(QByteArray(file.data(), file.size()), content);
    file.onLostPages("nothing written\n", "part written\n", &written);

    int errors[2];
    QCOMPARE(::pipe(errors), 0);
    const QByteArray name = QFile::encodeName(path);
    const pid_t child = ::fork();
    QVERIFY(child >= 0);
    if (child == 0) {
        // Only calls that are safe after fork() here.
        ::dup2(errors[1], STDERR_FILENO);
        if (::truncate(name.constData(), keptBytes) != 0)
            ::_exit(3);
        const volatile char last = file.data()[file.size() - 1];
        ::_exit(last == 'x' ? 4 : 5);
    }
    ::close(errors[1]);
    QByteArray said;
    char buffer[256];
    ssize_t got;
    while ((got = ::read(errors[0], buffer, sizeof buffer)) > 0)
        said.append(buffer, got);
    ::close(errors[0]);
    int status = 0;
    QCOMPARE(::waitpid(child, &status, 0), child);
    QVERIFY2(
        WIFEXITED(status),
        qPrintable(
            QStringLiteral("ended by signal %1").arg(WIFSIGNALED(status) ? WTERMSIG(status) : 0)));
    QCOMPARE(WEXITSTATUS(status), 1);
    QCOMPARE(said, expected);
}

// SIGBUS sent by another program is not a page of the file lost: it keeps its usual effect.
void TestCli::busSignalFromElsewhereKeepsItsEffect()
{
    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    const QString path = folder.filePath(QStringLiteral("app105.txt"));
    writeFile(path, QByteArray(8192, 'x'));
    MappedFile file(path);
    QCOMPARE(file.state(), MappedFile::State::Mapped);
    const qint64 written = 0;
    const QByteArray before("nothing written\n");
    const QByteArray after("part written\n");
    const pid_t child = ::fork();
    QVERIFY(child >= 0);
    if (child == 0) {
        // As in a process of its own, where the signal's effect is the default one, rather
        // than that of the test's crash handler.
        struct sigaction plain;
        std::memset(&plain, 0, sizeof plain);
        plain.sa_handler = SIG_DFL;
        ::sigaction(SIGBUS, &plain, nullptr);
        file.onLostPages(before, after, &written);
        ::raise(SIGBUS);
        ::_exit(0);
    }
    int status = 0;
    QCOMPARE(::waitpid(child, &status, 0), child);
    QVERIFY(WIFSIGNALED(status));
    QCOMPARE(WTERMSIG(status), SIGBUS);
}

namespace {

// The resident KiB of the mapping that holds address, from /proc/self/smaps; -1 if none does.
int residentKiB(const void *address)
{
    QFile smaps(QStringLiteral("/proc/self/smaps"));
    if (!smaps.open(QIODevice::ReadOnly | QIODevice::Text))
        return -1;
    const auto at = quintptr(address);
    bool inside = false;
    for (const QByteArray &line : smaps.readAll().split('\n')) {
        const int dash = line.indexOf('-');
        const int space = line.indexOf(' ');
        if (dash > 0 && space > dash) {
            bool first = false;
            bool second = false;
            const quintptr low = line.left(dash).toULongLong(&first, 16);
            const quintptr high = line.mid(dash + 1, space - dash - 1).toULongLong(&second, 16);
            if (first && second) {
                inside = at >= low && at < high;
                continue;
            }
        }
        if (inside && line.startsWith("Rss:"))
            return line.mid(4).trimmed().split(' ').value(0).toInt();
    }
    return -1;
}

} // namespace

// What a reader has passed leaves the process's resident memory, whole pages only and never
// ahead of it, and reads back the same should anything look there again.
void TestCli::passedPagesLeaveResidentMemory()
{
    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    const QString path = folder.filePath(QStringLiteral("app105.txt"));
    QByteArray content(300 * 1024 + 123, '\0');
    for (int i = 0; i < content.size(); ++i)
        content[i] = char('a' + (i * 7 + i / 4096) % 26);
    writeFile(path, content);

    MappedFile file(path);
    QCOMPARE(file.state(), MappedFile::State::Mapped);
    QCOMPARE(QByteArray(file.data(), file.size()), content);
    const int all = residentKiB(file.data());
    QCOMPARE(all, 304); // every page read, the last one in part

    file.letGo(file.data() + 100 * 1024 + 10);
    QCOMPARE(residentKiB(file.data()), all - 100);
    // Behind what has gone already, or within the page it stands in: nothing more goes.
    file.letGo(file.data() + 50 * 1024);
    file.letGo(file.data() + 100 * 1024 + 4000);
    QCOMPARE(residentKiB(file.data()), all - 100);
    // Past the end: up to the last whole page.
    file.letGo(file.data() + file.size() + 5000);
    QCOMPARE(residentKiB(file.data()), 4);
    QCOMPARE(QByteArray(file.data(), file.size()), content);
    QCOMPARE(residentKiB(file.data()), all);
    // Read again from the beginning: what the new reading has passed goes again.
    file.letGo(file.data() + 60 * 1024);
    QCOMPARE(residentKiB(file.data()), all - 60);
    QCOMPARE(QByteArray(file.data(), file.size()), content);
}

// The export and the list straight from a mapped data file let go of the pages they have read
// as they go (the list reads the file twice, for its widths and then its rows): each time, all
// that stays resident lies ahead of the reader. What they write is what the whole file gives.
void TestCli::readingLetsGoOfWhatItHasRead()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    Activity *coding
        = build.activity(QStringLiteral("Coding"), build.category(QStringLiteral("Work")));
    Activity *reading = build.activity(QStringLiteral("Reading"), nullptr);
    const QDateTime first(QDate(2024, 1, 1), QTime(8, 0));
    for (int i = 0; i < 12000; ++i) {
        const QDateTime start = first.addSecs(qint64(i) * 3 * 3600);
        build.task(i % 3 ? coding : reading, start, start.addSecs(60 * (5 + i % 50)));
    }
    build.sortAll();
    const QByteArray bytes = doc.getDocumentBytes();
    QVERIFY(bytes.size() > 8 * DocumentFormat::PassingStep);
    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    const QString path = folder.filePath(QStringLiteral("app105.txt"));
    writeFile(path, bytes);

    struct Watch
    {
        const MappedFile *file;
        DocumentFormat::Passing letGo;
        int told = 0;
        int residentBehind = 0; // the most KiB found resident behind the reader
    };
    const auto watch = [](const char *upTo, void *context) {
        auto *w = static_cast<Watch *>(context);
        w->letGo.passed(upTo, w->letGo.context);
        ++w->told;
        // The page the reader stands in stays, and the pages ahead may have come already.
        const int ahead = int((w->file->data() + w->file->size() - upTo) / 1024) + 4;
        w->residentBehind = std::max(w->residentBehind, residentKiB(w->file->data()) - ahead);
    };
    const QList<QStringList> commands = {
        {QStringLiteral("export"), QStringLiteral("--format"), QStringLiteral("json")},
        {QStringLiteral("export"), QStringLiteral("--format"), QStringLiteral("csv")},
        {QStringLiteral("list")},
        {QStringLiteral("report"), QStringLiteral("timesheet"), QStringLiteral("--from"),
         QStringLiteral("2024-01-01"), QStringLiteral("--to"), QStringLiteral("2028-12-31")},
    };
    for (const QStringList &arguments : commands) {
        Commands::Result whole;
        QVERIFY(Commands::runOnRecords(bytes.constData(), int(bytes.size()), arguments, &whole));
        if (arguments.first() == QLatin1String("report"))
            QVERIFY(whole.out.contains("<br>2025</td>") && whole.out.contains("<br>2028</td>"));
        else
            QVERIFY(whole.out.count('\n') >= 12000);
        QVERIFY(whole.out.size() > 4 * CommandParts::StreamPiece);

        MappedFile file(path);
        QCOMPARE(file.state(), MappedFile::State::Mapped);
        Watch w{&file, file.passing()};
        const DocumentFormat::Passing passing{watch, &w};
        // Written out in pieces as it goes, as to a terminal.
        std::unique_ptr<std::FILE, int (*)(std::FILE *)> stream(std::tmpfile(), &std::fclose);
        QVERIFY(stream);
        Commands::Result mapped;
        mapped.stream = stream.get();
        QVERIFY(Commands::runOnRecords(file.data(), file.size(), arguments, &mapped, &passing));
        QVERIFY(mapped.streamed > 0);
        QCOMPARE(std::ftell(stream.get()), long(mapped.streamed));
        std::rewind(stream.get());
        QByteArray written(int(mapped.streamed), '\0');
        QCOMPARE(std::fread(written.data(), 1, size_t(written.size()), stream.get()),
                 size_t(written.size()));
        QCOMPARE(written + mapped.out, whole.out);
        // Never more than a piece held at a time.
        QVERIFY2(mapped.out.size() <= CommandParts::StreamPiece,
                 qPrintable(QString::number(mapped.out.size())));
        const int readings = arguments.first() == QLatin1String("list") ? 2 : 1;
        QVERIFY2(w.told >= readings * (int(bytes.size() / DocumentFormat::PassingStep) - 2),
                 qPrintable(QString::number(w.told)));
        QVERIFY2(w.residentBehind <= 0, qPrintable(QString::number(w.residentBehind)));
    }
}

void TestCli::dataFileOfAnotherKind()
{
    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    QCOMPARE(MappedFile(folder.filePath(QStringLiteral("none"))).state(),
             MappedFile::State::Missing);
    QCOMPARE(MappedFile(folder.filePath(QStringLiteral("none/deeper"))).state(),
             MappedFile::State::Missing);
    // A folder where the file should be is there but cannot be read as one.
    QCOMPARE(MappedFile(folder.path()).state(), MappedFile::State::Unreadable);
    const QString empty = folder.filePath(QStringLiteral("empty"));
    writeFile(empty, QByteArray());
    const MappedFile nothing(empty);
    QCOMPARE(nothing.state(), MappedFile::State::Mapped);
    QCOMPARE(nothing.size(), 0);
    QVERIFY(nothing.data());
}

void TestCli::importRoundTrip()
{
    writeHistory(true);
    const Run exported = quorvel({QStringLiteral("export")});
    const Run exportedJson
        = quorvel({QStringLiteral("export"), QStringLiteral("--format"), QStringLiteral("json")});
    writeFile(inDocuments(QStringLiteral("history.csv")), exported.out);
    writeFile(inDocuments(QStringLiteral("history.json")), exportedJson.out);

    // Into an empty history: every task comes back, with its activities and categories.
    TestEnvironment::wipe();
    Configuration().setMode(Configuration::Personal);
    Run run = quorvel({QStringLiteral("import"), QStringLiteral("history.csv")});
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Created the activity “Project Alpha Development” in “Bill "
                                 "rate 1”.\n"
                                 "Created the activity “Project Alpha Documentation” in “Bill "
                                 "rate 1”.\n"
                                 "Created the activity “Home Project Beta” in “Private”.\n"
                                 "Created the activity “Café, \"Ölbaum\"” in “Private”.\n"
                                 "Imported 5 tasks from “history.csv”.\n"));
    QCOMPARE(quorvel({QStringLiteral("export")}).out, exported.out);
    QCOMPARE(quorvel({QStringLiteral("status")}).out,
             QByteArray("Project Alpha Development\t1:15\n"));

    // Again, and from the JSON export: everything is already there.
    run = quorvel({QStringLiteral("import"), QStringLiteral("history.json")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Imported 0 tasks from “history.json”.\n"
                                 "5 tasks were already recorded.\n"));
    QCOMPARE(quorvel({QStringLiteral("export")}).out, exported.out);
}

void TestCli::csvNamesNeverRunAsFormulas()
{
    TestEnvironment::wipe();
    Configuration().setMode(Configuration::Personal);
    {
        QuorvelDocument doc;
        DocumentBuilder build(doc);
        Activity *link = build.activity(QStringLiteral("=HYPERLINK(\"http://x\")"),
                                        build.category(QStringLiteral("-Minus")));
        Activity *quoted
            = build.activity(QStringLiteral("'=quoted"), build.category(QStringLiteral("Plain")));
        build.task(link, at(19, 9, 0), at(19, 10, 0));
        build.task(quoted, at(19, 10, 0), at(19, 10, 30));
        build.sortAll();
        QVERIFY(doc.save());
    }
    const Run exported = quorvel({QStringLiteral("export")});
    QCOMPARE(exported.exitCode, 0);
    QCOMPARE(exported.out, QByteArray("Activity,Category,Start,Stop,Minutes\r\n"
                                      "\"'=HYPERLINK(\"\"http://x\"\")\",'-Minus,2026-11-19T09:00,"
                                      "2026-11-19T10:00,60\r\n"
                                      "''=quoted,Plain,2026-11-19T10:00,2026-11-19T10:30,30\r\n"));
    const Run report = quorvel({QStringLiteral("report"), QStringLiteral("summary"),
                                QStringLiteral("--from"), QStringLiteral("2026-11-19"),
                                QStringLiteral("--to"), QStringLiteral("2026-11-19"),
                                QStringLiteral("--format"), QStringLiteral("csv")});
    QCOMPARE(report.out, QByteArray("Activity,Category,Minutes,Hours\r\n"
                                    "''=quoted,Plain,30,0.5000\r\n"
                                    "\"'=HYPERLINK(\"\"http://x\"\")\",'-Minus,60,1.0000\r\n"));

    // Imported again, the names are as they were.
    writeFile(inDocuments(QStringLiteral("names.csv")), exported.out);
    TestEnvironment::wipe();
    Configuration().setMode(Configuration::Personal);
    const Run imported = quorvel({QStringLiteral("import"), QStringLiteral("names.csv")});
    QCOMPARE(imported.err, QByteArray());
    QCOMPARE(imported.out,
             QByteArray("Created the activity “=HYPERLINK(\"http://x\")” in “-Minus”.\n"
                        "Created the activity “'=quoted” in “Plain”.\n"
                        "Imported 2 tasks from “names.csv”.\n"));
    QCOMPARE(quorvel({QStringLiteral("export")}).out, exported.out);
}

void TestCli::importTimewarrior()
{
    writeHistory();
    // What "timew export" writes: UTC times, tags, an annotation, one interval still open.
    writeFile(inDocuments(QStringLiteral("timew.json")),
              "[\n"
              "{\"id\":5,\"start\":\"20261118T080000Z\",\"end\":\"20261118T090000Z\","
              "\"tags\":[\"Bill rate 1\",\"Project Alpha Development\"]},\n"
              "{\"id\":4,\"start\":\"20261118T091500Z\",\"end\":\"20261118T094510Z\","
              "\"tags\":[\"Private\",\"Gardening\"],\"annotation\":\"weeds\"},\n"
              "{\"id\":3,\"start\":\"20261118T100000Z\",\"end\":\"20261118T100030Z\","
              "\"tags\":[\"Private\",\"Reading\"]},\n"
              "{\"id\":2,\"start\":\"20261118T110000Z\",\"end\":\"20261118T120000Z\"},\n"
              "{\"id\":1,\"start\":\"20261121T090000Z\",\"tags\":[\"Private\",\"Gardening\"]}\n"
              "]\n");
    // The option's earlier name still works the same.
    for (const char *option : {"--category-from-first-sorted-tag", "--category-from-first-tag"}) {
        writeHistory();
        Run run = quorvel(
            {QStringLiteral("import"), QStringLiteral("timew.json"), QLatin1String(option)});
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.out, QByteArray("Created the activity “Gardening” in “Private”.\n"
                                     "Imported 3 tasks from “timew.json”.\n"));
        QCOMPARE(run.err, QByteArray("Skipped 2 tasks:\n"
                                     "  timew.json, line 4: it is shorter than a minute\n"
                                     "  timew.json, line 5: no tags\n"));
        run = quorvel({QStringLiteral("list"), QStringLiteral("--from"),
                       QStringLiteral("2026-11-18"), QStringLiteral("--to"),
                       QStringLiteral("2026-11-18")});
        QCOMPARE(run.out, QByteArray("11/18/26 8:00 AM  11/18/26 9:00 AM  Project Alpha "
                                     "Development\n"
                                     "11/18/26 9:15 AM  11/18/26 9:45 AM  Gardening\n"));
        QCOMPARE(quorvel({QStringLiteral("status")}).out, QByteArray("Gardening\t0:30\n"));
    }

    // Without the option, the tags together name the activity, in the category given.
    writeHistory();
    const Run run = quorvel({QStringLiteral("import"), QStringLiteral("timew.json"),
                             QStringLiteral("--category"), QStringLiteral("Imported")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray("Created the activity “Bill rate 1 Project Alpha Development” "
                                 "in “Imported”.\n"
                                 "Created the activity “Private Gardening” in “Imported”.\n"
                                 "Imported 3 tasks from “timew.json”.\n"));
}

void TestCli::importNamesTheLinesOfTheFile()
{
    writeHistory();
    // Written by a pretty-printer: each task over several lines, a tag with a bracket and a
    // quote in it.
    writeFile(inDocuments(QStringLiteral("pretty.json")),
              "[\n"
              "  {\n"
              "    \"start\": \"20261118T080000Z\",\n"
              "    \"end\": \"20261118T080020Z\",\n"
              "    \"tags\": [\n"
              "      \"Reading ] \\\"notes\\\" {\"\n"
              "    ]\n"
              "  },\n"
              "  {\n"
              "    \"start\": \"20261118T090000Z\",\n"
              "    \"end\": \"20261118T100000Z\",\n"
              "    \"tags\": [\"Private\", \"Gardening\"]\n"
              "  },\n"
              "  {\n"
              "    \"start\": \"20261118T110000Z\",\n"
              "    \"end\": \"20261118T120000Z\"\n"
              "  }\n"
              "]\n");
    Run run = quorvel({QStringLiteral("import"), QStringLiteral("pretty.json"),
                       QStringLiteral("--category-from-first-sorted-tag")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray("Created the activity “Gardening” in “Private”.\n"
                                 "Imported 1 task from “pretty.json”.\n"));
    QCOMPARE(run.err, QByteArray("Skipped 2 tasks:\n"
                                 "  pretty.json, line 2: it is shorter than a minute\n"
                                 "  pretty.json, line 14: no tags\n"));

    // All on one line: the tasks are told apart by their place in the file. A file name with
    // a placeholder of its own is shown as it is.
    writeHistory();
    writeFile(inDocuments(QStringLiteral("one %2 line.json")),
              "[{\"start\":\"20261118T080000Z\",\"end\":\"20261118T090000Z\","
              "\"tags\":[\"Home Project Beta\"]},"
              "{\"start\":\"20261118T090000Z\",\"end\":\"20261118T093000Z\",\"tags\":[]},"
              "{\"start\":\"20261118T083000Z\",\"end\":\"20261118T093000Z\","
              "\"tags\":[\"Home Project Beta\"]}]");
    run = quorvel({QStringLiteral("import"), QStringLiteral("one %2 line.json"),
                   QStringLiteral("--category"), QStringLiteral("Private")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray("Imported 1 task from “one %2 line.json”.\n"));
    QCOMPARE(run.err, QByteArray("Skipped 2 tasks:\n"
                                 "  one %2 line.json, line 1, task 2 of the file: no tags\n"
                                 "  one %2 line.json, line 1, task 3 of the file: it overlaps a "
                                 "recorded task\n"));
}

void TestCli::importRefusesOverlaps()
{
    writeHistory();
    writeFile(inDocuments(QStringLiteral("more.csv")),
              "Activity,Category,Start,Stop,Minutes\n"
              "Home Project Beta,Private,2026-11-19T10:00,2026-11-19T10:45,45\n"
              "Home Project Beta,Private,2026-11-19T12:00,2026-11-19T12:30,30\n"
              "Home Project Beta,Private,2026-11-19T12:15,2026-11-19T12:45,30\n"
              "Home Project Beta,Private,yesterday,2026-11-19T12:45,30\n"
              "Home Project Beta,Private,2026-11-19T14:00,2026-11-19T13:00,\n");
    Run run = quorvel({QStringLiteral("import"), QStringLiteral("more.csv")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray("Imported 1 task from “more.csv”.\n"));
    QCOMPARE(run.err, QByteArray("Skipped 4 tasks:\n"
                                 "  more.csv, line 2: it overlaps a recorded task\n"
                                 "  more.csv, line 4: it overlaps a recorded task\n"
                                 "  more.csv, line 5: “yesterday” is not a start time\n"
                                 "  more.csv, line 6: it stops before it starts\n"));

    // With concurrent tasks allowed, overlaps are what the person wants.
    Configuration().setAllowConcurrentTasks(true);
    run = quorvel({QStringLiteral("import"), QStringLiteral("more.csv")});
    QCOMPARE(run.out, QByteArray("Imported 2 tasks from “more.csv”.\n"
                                 "1 task was already recorded.\n"));
    // A long task recorded then, and a short one within it.
    writeFile(inDocuments(QStringLiteral("long.csv")),
              "Activity,Category,Start,Stop,Minutes\n"
              "Home Project Beta,Private,2026-11-18T08:00,2026-11-18T18:00,600\n"
              "Home Project Beta,Private,2026-11-18T09:00,2026-11-18T09:30,30\n");
    run = quorvel({QStringLiteral("import"), QStringLiteral("long.csv")});
    QCOMPARE(run.out, QByteArray("Imported 2 tasks from “long.csv”.\n"));
    Configuration().setAllowConcurrentTasks(false);

    // Without concurrent tasks, a row overlaps the long task although the task that starts
    // last before it is the short one; a row that begins as the long task ends does not.
    writeFile(inDocuments(QStringLiteral("within.csv")),
              "Activity,Category,Start,Stop,Minutes\n"
              "Project Alpha Development,Bill rate 1,2026-11-18T12:00,2026-11-18T12:30,30\n"
              "Project Alpha Development,Bill rate 1,2026-11-18T18:00,2026-11-18T18:30,30\n"
              "Project Alpha Development,Bill rate 1,2026-11-18T07:30,2026-11-18T08:00,30\n"
              "Project Alpha Development,Bill rate 1,2026-11-18T18:15,2026-11-18T18:45,30\n");
    run = quorvel({QStringLiteral("import"), QStringLiteral("within.csv")});
    QCOMPARE(run.out, QByteArray("Imported 2 tasks from “within.csv”.\n"));
    QCOMPARE(run.err, QByteArray("Skipped 2 tasks:\n"
                                 "  within.csv, line 2: it overlaps a recorded task\n"
                                 "  within.csv, line 5: it overlaps a recorded task\n"));

    run = quorvel({QStringLiteral("import"), QStringLiteral("missing.csv")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: cannot read “missing.csv”: it does not exist\n"));
}

// A Timewarrior export of as many half-hour tasks of "Home Project Beta", one an hour from
// 1 January 2024 on, long before the history's tasks.
QByteArray timewarriorTasks(int count)
{
    QByteArray json = "[\n";
    const QDateTime first(QDate(2024, 1, 1), QTime(0, 0), Qt::UTC);
    for (int i = 0; i < count; ++i) {
        const QDateTime start = first.addSecs(3600 * qint64(i));
        json += "{\"id\":" + QByteArray::number(count - i) + ",\"start\":\""
                + start.toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'")).toLatin1()
                + "\",\"end\":\""
                + start.addSecs(1800).toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'")).toLatin1()
                + "\",\"tags\":[\"Home Project Beta\"]}" + (i + 1 < count ? ",\n" : "\n");
    }
    return json + "]\n";
}

void TestCli::importProgressOnlyOnATerminal()
{
    writeFile(inDocuments(QStringLiteral("three.json")), timewarriorTasks(3));
    writeFile(inDocuments(QStringLiteral("many.json")), timewarriorTasks(20000));
    const QStringList three = {QStringLiteral("import"), QStringLiteral("three.json"),
                               QStringLiteral("--category"), QStringLiteral("Private")};
    const QStringList many = {QStringLiteral("import"), QStringLiteral("many.json"),
                              QStringLiteral("--category"), QStringLiteral("Private")};

    // For a script, standard error holds nothing but what the command has to say.
    writeHistory();
    Run run = quorvel(many);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Imported 20000 tasks from “many.json”.\n"));
    QCOMPARE(run.err, QByteArray());

    // On a terminal: one line, written over, and taken away at the end.
    writeHistory();
    run = quorvelOnTerminal(three);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Imported 3 tasks from “three.json”.\n"));
    QCOMPARE(run.err, QByteArray("\rImporting tasks… 0 of 3\rImporting tasks… 3 of 3\r"
                                 + QByteArray(23, ' ') + "\r"));
    QCOMPARE(loaded()->tasks.size(), 7);
    // Refusals come after the line is gone (the terminal ends its lines with CR LF).
    writeFile(inDocuments(QStringLiteral("untagged.json")),
              "[\n{\"start\":\"20240101T000000Z\",\"end\":\"20240101T003000Z\"}\n]\n");
    run = quorvelOnTerminal({QStringLiteral("import"), QStringLiteral("untagged.json")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray("Imported 0 tasks from “untagged.json”.\n"));
    QCOMPARE(run.err,
             QByteArray("\rImporting tasks… 0 of 1\rImporting tasks… 1 of 1\r" + QByteArray(23, ' ')
                        + "\rSkipped 1 task:\r\n  untagged.json, line 2: no tags\r\n"));

    // A large file moves it on a few times a second, from the first task to the last.
    writeHistory();
    run = quorvelOnTerminal(many);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Imported 20000 tasks from “many.json”.\n"));
    QVERIFY2(run.err.startsWith("\rImporting tasks… 0 of 20,000\r"), run.err.constData());
    QVERIFY2(run.err.endsWith("\rImporting tasks… 20,000 of 20,000\r" + QByteArray(33, ' ') + "\r"),
             run.err.constData());
    QList<QByteArray> steps = run.err.split('\r');
    QCOMPARE(steps.takeFirst(), QByteArray());
    QCOMPARE(steps.takeLast(), QByteArray());
    QCOMPARE(steps.takeLast(), QByteArray(33, ' '));
    const QRegularExpression step(QStringLiteral("^Importing tasks… ([\\d,]+) of 20,000 *$"));
    qlonglong previous = -1;
    for (const QByteArray &text : std::as_const(steps)) {
        const QRegularExpressionMatch match = step.match(QString::fromUtf8(text));
        QVERIFY2(match.hasMatch(), text.constData());
        QVERIFY(match.captured(1).remove(u',').toLongLong() > previous);
        previous = match.captured(1).remove(u',').toLongLong();
    }
    QCOMPARE(previous, 20000);

    // In German, with German numbers.
    writeHistory();
    QProcessEnvironment german = processEnvironment(QStringLiteral("2026-11-21T09:30:00"));
    german.insert(QStringLiteral("LC_ALL"), QStringLiteral("de_DE.UTF-8"));
    german.insert(QStringLiteral("LANG"), QStringLiteral("de_DE.UTF-8"));
    german.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("default.warning=false"));
    QVERIFY(quorvel(three).exitCode == 0);
    run = quorvelOnTerminal(many, german);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("19997 Aufgaben aus „many.json“ importiert.\n"
                                 "3 Aufgaben waren bereits erfasst.\n"));
    QVERIFY2(run.err.startsWith("\rAufgaben werden importiert … 0 von 20.000\r"),
             run.err.constData());
    QVERIFY2(run.err.endsWith("\rAufgaben werden importiert … 20.000 von 20.000\r"
                              + QByteArray(46, ' ') + "\r"),
             run.err.constData());
}

void TestCli::refusalsNameTheReason()
{
    writeHistory();
    const QByteArray before = dataFile();
    QVERIFY(QDir().mkpath(inDocuments(QStringLiteral("folder.csv"))));
    Run run = quorvel({QStringLiteral("import"), QStringLiteral("folder.csv")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: cannot read “folder.csv”: it is a folder\n"));

    writeFile(inDocuments(QStringLiteral("cut.json")),
              "[{\"activity\": \"Home Project Beta\", \"category\": \"Private\", \"start\": "
              "\"2026-11-19T10:00\", \"stop\": \"2026-11-19T10:45\"}, {\"activity\": \"Ho");
    run = quorvel({QStringLiteral("import"), QStringLiteral("cut.json")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    QCOMPARE(
        run.err,
        QByteArray("quorvel: cut.json: The JSON text ends too early: the file is cut short.\n"));
    QCOMPARE(dataFile(), before);
}

void TestCli::longNamesAreRefused()
{
    writeHistory();
    const QByteArray before = dataFile();
    const QString longName(10000, QLatin1Char('x'));
    const QByteArray refusal = "“" + QByteArray(39, 'x')
                               + "…” is too long for a name: it has 10000 characters, and a name "
                                 "has at most 1000.\n";
    Run run = quorvel({QStringLiteral("start"), longName, QStringLiteral("--category"),
                       QStringLiteral("Private")});
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(run.out, QByteArray());
    QCOMPARE(run.err, "quorvel start: " + refusal + "Try “quorvel help start”.\n");
    run = quorvel(
        {QStringLiteral("start"), QStringLiteral("New"), QStringLiteral("--category"), longName});
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(run.err, "quorvel start: " + refusal + "Try “quorvel help start”.\n");
    run = quorvel({QStringLiteral("stop"), longName});
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(run.err, "quorvel stop: " + refusal + "Try “quorvel help stop”.\n");
    // A thousand characters are still a name.
    run = quorvel({QStringLiteral("start"), QString(1000, QLatin1Char('y')),
                   QStringLiteral("--category"), QStringLiteral("Private")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.err, QByteArray());
    writeFile(QuorvelDocument::dataFilePath(), before);

    // An import takes no name longer either, however long the field, and says which row.
    QByteArray csv = "Activity,Category,Start,Stop,Minutes\n";
    csv += QByteArray(10 << 20, 'z') + ",Private,2026-11-19T10:00,2026-11-19T10:45,45\n";
    csv += "Home Project Beta," + QByteArray(1001, 'c') + ",2026-11-19T11:00,2026-11-19T11:45,45\n";
    csv += "Home Project Beta,Private,2026-11-19T12:00,2026-11-19T12:30,30\n";
    writeFile(inDocuments(QStringLiteral("long.csv")), csv);
    run = quorvel({QStringLiteral("import"), QStringLiteral("long.csv")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray("Imported 1 task from “long.csv”.\n"));
    QCOMPARE(run.err, QByteArray("Skipped 2 tasks:\n"
                                 "  long.csv, line 2: a name in it has more than 1000 characters\n"
                                 "  long.csv, line 3: a name in it has more than 1000 "
                                 "characters\n"));
    QVERIFY(dataFile().size() < before.size() + 1000);
}

void TestCli::badUsage()
{
    writeHistory();
    const QByteArray before = dataFile();
    struct Case
    {
        QStringList arguments;
        QByteArray err;
    };
    const QList<Case> cases = {
        {{QStringLiteral("list"), QStringLiteral("--from"), QStringLiteral("someday")},
         "quorvel list: --from: “someday” is not a date: use 2026-11-21, today, yesterday or a "
         "day of the week such as monday\nTry “quorvel help list”.\n"},
        {{QStringLiteral("start"), QStringLiteral("Home"), QStringLiteral("--at"),
          QStringLiteral("25:00")},
         "quorvel start: --at: “25:00” is not a time: use 09:30, 2026-11-21T09:30 or a day and "
         "a time such as yesterday 17:00\nTry “quorvel help start”.\n"},
        {{QStringLiteral("start")},
         "quorvel start: name the activity to start.\nTry “quorvel help start”.\n"},
        {{QStringLiteral("report"), QStringLiteral("summary")},
         "quorvel report: --from and --to are needed.\nTry “quorvel help report”.\n"},
        {{QStringLiteral("report"), QStringLiteral("weekly"), QStringLiteral("--from"),
          QStringLiteral("today"), QStringLiteral("--to"), QStringLiteral("today")},
         "quorvel report: say summary or timesheet, not “weekly”.\nTry “quorvel help "
         "report”.\n"},
        {{QStringLiteral("report"), QStringLiteral("summary"), QStringLiteral("--from"),
          QStringLiteral("today"), QStringLiteral("--to"), QStringLiteral("yesterday")},
         "quorvel report: --from is after --to.\nTry “quorvel help report”.\n"},
        {{QStringLiteral("status"), QStringLiteral("--format"), QStringLiteral("xml")},
         "quorvel status: --format must be text or json, not “xml”.\nTry “quorvel help "
         "status”.\n"},
        {{QStringLiteral("stop"), QStringLiteral("A"), QStringLiteral("B")},
         "quorvel stop: unexpected argument “B”.\nTry “quorvel help stop”.\n"},
        {{QStringLiteral("export"), QStringLiteral("--colour")},
         "quorvel export: Unknown option 'colour'.\nTry “quorvel help export”.\n"},
        {{QStringLiteral("stat")}, "quorvel: “stat” is not a command.\nTry “quorvel --help”.\n"},
    };
    for (const Case &c : cases) {
        const Run run = quorvel(c.arguments);
        QCOMPARE(run.exitCode, 2);
        QCOMPARE(run.out, QByteArray());
        QCOMPARE(run.err, c.err);
    }
    QCOMPARE(dataFile(), before);
}

void TestCli::atFarAheadNeedsForce()
{
    writeHistory();
    const QByteArray before = dataFile();
    // A year ahead is a slip of the keyboard more often than a plan.
    Run run = quorvel({QStringLiteral("start"), QStringLiteral("Home Project Beta"),
                       QStringLiteral("--at"), QStringLiteral("2027-11-21T09:30")});
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(run.err, QByteArray("quorvel start: --at: 2027-11-21 09:30 is more than a day ahead; "
                                 "add --force if you mean it.\nTry “quorvel help start”.\n"));
    QCOMPARE(dataFile(), before);
    // Tomorrow morning is near enough.
    run = quorvel({QStringLiteral("start"), QStringLiteral("Home Project Beta"),
                   QStringLiteral("--at"), QStringLiteral("2026-11-22T09:00")});
    QVERIFY2(run.exitCode == 0, run.err.constData());
    run = quorvel(
        {QStringLiteral("stop"), QStringLiteral("--at"), QStringLiteral("2027-11-21T09:30")});
    QCOMPARE(run.exitCode, 2);
    run = quorvel({QStringLiteral("stop"), QStringLiteral("--at"),
                   QStringLiteral("2027-11-21T09:30"), QStringLiteral("--force")});
    QVERIFY2(run.exitCode == 0, run.err.constData());
    QCOMPARE(loaded()->tasks.last()->stop(), QDateTime(QDate(2027, 11, 21), QTime(9, 30)));
}

void TestCli::help()
{
    Run run = quorvel({QStringLiteral("help"), QStringLiteral("stop")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Usage: quorvel stop [ACTIVITY] [--at TIME] [--force]\n\n"
                                 "Stop the running tasks, or those of the activity.\n\n"
                                 "Options:\n"
                                 "  --at TIME                       the moment instead of now: "
                                 "09:30, 2026-11-21T09:30 or yesterday 17:00\n"
                                 "  --force                         take an --at more than a day "
                                 "ahead\n"
                                 "  -h, --help                      show this help\n"));
    // A long option keeps its description apart; the option's earlier name is not shown.
    run = quorvel({QStringLiteral("help"), QStringLiteral("import")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Usage: quorvel import FILE [--format FORMAT] [--category "
                                 "CATEGORY] [--category-from-first-sorted-tag]\n\n"
                                 "Add the tasks of an export, or of a Timewarrior export (timew "
                                 "export).\n\n"
                                 "Options:\n"
                                 "  --format FORMAT                 csv or json (by default told "
                                 "from the contents)\n"
                                 "  --category CATEGORY             the category of Timewarrior's "
                                 "tasks (Timewarrior unless given)\n"
                                 "  --category-from-first-sorted-tag  a Timewarrior task's "
                                 "alphabetically first tag is its category\n"
                                 "  -h, --help                      show this help\n"));
    // Every command answers --help the same way.
    for (const char *command :
         {"start", "stop", "status", "list", "activities", "report", "export", "import", "setup"}) {
        run = quorvel({QLatin1String(command), QStringLiteral("--help")});
        QCOMPARE(run.exitCode, 0);
        QVERIFY(run.out.startsWith("Usage: quorvel " + QByteArray(command)));
        QCOMPARE(run.out, quorvel({QStringLiteral("help"), QLatin1String(command)}).out);
    }
    run = quorvel({QStringLiteral("--help")});
    QCOMPARE(run.exitCode, 0);
    QVERIFY(run.out.startsWith("Usage: quorvel [FILE.qvreport]\n       quorvel COMMAND "));
    QVERIFY(run.out.endsWith("\nA command the running window carries out can be taken back "
                             "there with\nEdit → Undo; one carried out without a window has no "
                             "undo.\n\n“quorvel help COMMAND” or “quorvel COMMAND --help” tells "
                             "more.\nExit status: 0 done, 1 refused, 2 bad usage.\n"));
    QCOMPARE(quorvel({QStringLiteral("help")}).out, run.out);
    QVERIFY(run.out.contains("\n  import FILE                 Add the tasks of an export"));
    run = quorvel({QStringLiteral("--version")});
    QCOMPARE(run.out, QByteArray("quorvel 0.1.0\n"));
}

void TestCli::inGerman()
{
    writeHistory();
    const QByteArray before = dataFile();
    Run run = quorvelInGerman({QStringLiteral("help"), QStringLiteral("stop")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Aufruf: quorvel stop [TÄTIGKEIT] [--at ZEIT] [--force]\n\n"
                                 "Die laufenden Aufgaben anhalten, oder die der Tätigkeit.\n\n"
                                 "Optionen:\n"
                                 "  --at ZEIT                       der Zeitpunkt statt jetzt: "
                                 "09:30, 2026-11-21T09:30 oder yesterday 17:00\n"
                                 "  --force                         ein --at nehmen, das mehr als "
                                 "einen Tag voraus liegt\n"
                                 "  -h, --help                      diese Hilfe anzeigen\n"));
    run = quorvelInGerman({QStringLiteral("--help")});
    QCOMPARE(run.exitCode, 0);
    QVERIFY(run.out.startsWith("Aufruf: quorvel [DATEI.qvreport]\n"
                               "        quorvel BEFEHL [OPTIONEN]\n\n"
                               "Ohne Befehl öffnet sich das Fenster (und der gespeicherte Bericht "
                               "DATEI).\n\nBefehle:\n"
                               "  start TÄTIGKEIT             Eine Aufgabe der Tätigkeit "
                               "starten, wie es ihre Schnellstart-Taste tut.\n"));
    QVERIFY(run.out.endsWith("\n„quorvel help BEFEHL“ oder „quorvel BEFEHL --help“ sagt mehr.\n"
                             "Exit-Status: 0 erledigt, 1 abgelehnt, 2 falscher Aufruf.\n"));

    run = quorvelInGerman({QStringLiteral("stop")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err, QByteArray("quorvel: keine Aufgabe läuft.\n"));
    run = quorvelInGerman({QStringLiteral("start"), QStringLiteral("Home Project Beta"),
                           QStringLiteral("--at"), QStringLiteral("2026-11-19T10:00")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    QCOMPARE(run.err, QByteArray("quorvel: „Home Project Beta“ kann nicht um 19.11.26 10:00 "
                                 "beginnen: die Aufgabe würde sich mit einer erfassten "
                                 "überschneiden.\n"));
    // Dates in the German form, the data file as always.
    run = quorvelInGerman(
        {QStringLiteral("list"), QStringLiteral("--from"), QStringLiteral("2026-11-20")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("20.11.26 18:00  20.11.26 19:05  Home Project Beta\n"
                                 "20.11.26 20:00  20.11.26 20:20  Café, \"Ölbaum\"\n"));
    QCOMPARE(dataFile(), before);
}

void TestCli::unreadableDataFileIsLeftAlone()
{
    writeHistory();
    const QByteArray damaged = "--start--\n105\n1000\n2\nBill rate";
    writeFile(QuorvelDocument::dataFilePath(), damaged);
    const QByteArray refusal = "quorvel: the data file " + QuorvelDocument::dataFilePath().toUtf8()
                               + " cannot be read; it is left as it is. Start Quorvel without a "
                                 "command to deal with it.\n";
    for (const QStringList &arguments :
         {QStringList{QStringLiteral("start"), QStringLiteral("Home")},
          QStringList{QStringLiteral("status")}, QStringList{QStringLiteral("export")}}) {
        const Run run = quorvel(arguments);
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.out, QByteArray());
        QCOMPARE(run.err, refusal);
    }
    QCOMPARE(dataFile(), damaged);
}

void TestCli::readingCommandsNeverWrite()
{
    writeHistory(true);
    const QString path = QuorvelDocument::dataFilePath();
    const QDateTime written = QFileInfo(path).lastModified();
    QFile::setPermissions(path, QFileDevice::ReadOwner);
    for (const QStringList &arguments :
         {QStringList{QStringLiteral("status")}, QStringList{QStringLiteral("list")},
          QStringList{QStringLiteral("activities")}, QStringList{QStringLiteral("export")},
          QStringList{QStringLiteral("report"), QStringLiteral("summary"), QStringLiteral("--from"),
                      QStringLiteral("monday"), QStringLiteral("--to"), QStringLiteral("today")}}) {
        const Run run = quorvel(arguments);
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.err, QByteArray());
    }
    QCOMPARE(QFileInfo(path).lastModified(), written);
    QVERIFY(!QFileInfo::exists(path + QStringLiteral(".new")));
    QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    QCOMPARE(quorvel({QStringLiteral("activities")}).out,
             QByteArray("Café, \"Ölbaum\"\nHome Project Beta\nProject Alpha Development\n"
                        "Project Alpha Documentation\n"));
}

void TestCli::twoStartsAtOnce()
{
    writeHistory();
    for (int round = 0; round < 12; ++round) {
        const QString now
            = at(21, 10, 0).addSecs(120 * round).toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss"));
        QProcess first;
        QProcess second;
        startCommand(first, {QStringLiteral("start"), QStringLiteral("Home Project Beta")}, now);
        startCommand(second, {QStringLiteral("start"), QStringLiteral("Project Alpha Dev")}, now);
        QVERIFY(first.waitForFinished(60000));
        QVERIFY(second.waitForFinished(60000));
        // Each is carried out whole, one after the other: the later one stops (here: deletes,
        // as it ran for no time) the earlier one.
        QCOMPARE(first.exitCode(), 0);
        QCOMPARE(second.exitCode(), 0);

        const auto doc = loaded();
        QVERIFY2(doc, "the data file no longer reads");
        int running = 0;
        for (const QVTask *task : doc->tasks) {
            running += task->isRunning() ? 1 : 0;
            const QDateTime stop = task->isRunning() ? task->start().addSecs(60) : task->stop();
            QCOMPARE(doc->validateTask(task->start(), stop, QDateTime(), task), 0);
        }
        QCOMPARE(running, 1);
        QCOMPARE(doc->tasks.size(), 5 + round);
    }
    QVERIFY(!QFileInfo::exists(QuorvelDocument::dataFilePath() + QStringLiteral(".new")));
}

QUORVEL_TEST_MAIN(TestCli)
#include "tst_cli.moc"
