// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The quorvel program itself, run as a separate process on the offscreen platform: how it
// ends, and that one instance per user runs.

#include "DocumentBuilder.h"
#include "TestEnvironment.h"

#include "model/QuorvelDocument.h"
#include "platform/Config.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QtTest>

#include <csignal>

namespace {

QString lockFile()
{
    return QFileInfo(QuorvelDocument::dataFilePath()).absolutePath()
           + QStringLiteral("/quorvel.lock");
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Starts quorvel and waits until it holds the lock and has had time to build its window.
bool startProgram(QProcess &process, const QStringList &arguments = {},
                  QProcess::ProcessChannelMode mode = QProcess::ForwardedErrorChannel)
{
    process.setProgram(QStringLiteral(QUORVEL_BINARY));
    process.setArguments(arguments);
    process.setProcessChannelMode(mode);
    process.start();
    if (!process.waitForStarted(10000))
        return false;
    QElapsedTimer waited;
    waited.start();
    while (!QFile::exists(lockFile()) && waited.elapsed() < 20000)
        QTest::qWait(20);
    QTest::qWait(1000);
    return QFile::exists(lockFile()) && process.state() == QProcess::Running;
}

int terminate(QProcess &process)
{
    ::kill(pid_t(process.processId()), SIGTERM);
    if (!process.waitForFinished(20000)) {
        process.kill();
        process.waitForFinished();
        return -1;
    }
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

// Waits until the program has written line to its error output (where its debug lines go).
bool waitForLine(QProcess &process, QByteArray &output, const QByteArray &line)
{
    QElapsedTimer waited;
    waited.start();
    while (waited.elapsed() < 20000) {
        output += process.readAllStandardError();
        if (output.split('\n').contains(line))
            return true;
        process.waitForReadyRead(100);
    }
    return false;
}

QString savedReport(const QByteArray &content)
{
    const QString folder
        = TestEnvironment::instance()->documentsDir() + QStringLiteral("/Quorvel Reports");
    QDir().mkpath(folder);
    const QString path = folder + QStringLiteral("/Summary 11-21-26.qvreport");
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        return QString();
    return path;
}

void preparePersonalData()
{
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    doc.createSampleData();
    QVERIFY(doc.save());
}

} // namespace

class TestProgram : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void signalDuringFirstStartEndsLikeCancel();
    void runningInstanceEndsCleanlyOnSigterm();
    void secondStartHandsOverAndEnds();
    void savedReportOpensFromTheCommandLine();
    void relativePathOpensFromTheWorkingFolder();
    void secondStartHandsItsReportOver();
    void commandsGoToTheRunningProgram();
    void signalWritesWhatIsNotOnDisk_data();
    void signalWritesWhatIsNotOnDisk();
};

void TestProgram::initTestCase()
{
    // The program says which report it shows on a debug line of its category, off unless
    // switched on; the programs started here inherit the rule.
    qputenv("QT_LOGGING_RULES", "quorvel.report.debug=true");
}

void TestProgram::init()
{
    TestEnvironment::wipe();
}

void TestProgram::signalDuringFirstStartEndsLikeCancel()
{
    QProcess program;
    QVERIFY(startProgram(program));
    // The first-start dialog is up; the signal ends it as a cancel would.
    QCOMPARE(terminate(program), 0);
    QCOMPARE(Configuration().mode(), Configuration::Unset);
    QVERIFY(!QFile::exists(QuorvelDocument::dataFilePath()));
}

void TestProgram::runningInstanceEndsCleanlyOnSigterm()
{
    Configuration().setMode(Configuration::Personal);
    {
        QuorvelDocument doc;
        doc.createSampleData();
        DocumentBuilder(doc).task(doc.activities.first(), at(21, 8, 0), QDateTime(), 1);
        QVERIFY(doc.save());
    }
    const QByteArray before = readFile(QuorvelDocument::dataFilePath());

    QProcess program;
    QVERIFY(startProgram(program));
    QCOMPARE(terminate(program), 0);
    QCOMPARE(readFile(QuorvelDocument::dataFilePath()), before);
    QVERIFY(!QFile::exists(lockFile()));
}

void TestProgram::secondStartHandsOverAndEnds()
{
    Configuration().setMode(Configuration::Personal);
    {
        QuorvelDocument doc;
        doc.createSampleData();
        QVERIFY(doc.save());
    }
    QProcess first;
    QVERIFY(startProgram(first));

    QProcess second;
    second.setProgram(QStringLiteral(QUORVEL_BINARY));
    second.setArguments({QStringLiteral("/tmp/some report.qvreport")});
    second.start();
    QVERIFY(second.waitForFinished(20000));
    QCOMPARE(second.exitStatus(), QProcess::NormalExit);
    QCOMPARE(second.exitCode(), 0);
    QCOMPARE(first.state(), QProcess::Running);

    QCOMPARE(terminate(first), 0);
}

void TestProgram::savedReportOpensFromTheCommandLine()
{
    preparePersonalData();
    const QString path = savedReport("<qt><p>Saved summary</p></qt>");
    QVERIFY(!path.isEmpty());
    QProcess program;
    QVERIFY(startProgram(program, {path}, QProcess::SeparateChannels));
    QByteArray output;
    QVERIFY2(waitForLine(program, output, "quorvel.report: Showing saved report " + path.toUtf8()),
             output.constData());
    // Ending while the report is open ends the program as usual.
    QCOMPARE(terminate(program), 0);
}

void TestProgram::relativePathOpensFromTheWorkingFolder()
{
    preparePersonalData();
    const QString path = savedReport("<qt>x</qt>");
    QProcess program;
    program.setWorkingDirectory(QFileInfo(path).absolutePath());
    QVERIFY(startProgram(program, {QFileInfo(path).fileName()}, QProcess::SeparateChannels));
    QByteArray output;
    QVERIFY2(waitForLine(program, output, "quorvel.report: Showing saved report " + path.toUtf8()),
             output.constData());
    QCOMPARE(terminate(program), 0);
}

void TestProgram::secondStartHandsItsReportOver()
{
    preparePersonalData();
    const QString path = savedReport("<qt>x</qt>");
    QProcess first;
    QVERIFY(startProgram(first, {}, QProcess::SeparateChannels));

    // Started from another folder with a relative path: the first instance gets the whole path.
    QProcess second;
    second.setProgram(QStringLiteral(QUORVEL_BINARY));
    second.setWorkingDirectory(QFileInfo(path).absolutePath());
    second.setArguments({QFileInfo(path).fileName()});
    second.start();
    QVERIFY(second.waitForFinished(20000));
    QCOMPARE(second.exitCode(), 0);

    QByteArray output;
    QVERIFY2(waitForLine(first, output, "quorvel.report: Showing saved report " + path.toUtf8()),
             output.constData());
    QCOMPARE(terminate(first), 0);
}

void TestProgram::commandsGoToTheRunningProgram()
{
    preparePersonalData();
    QProcess program;
    QVERIFY(startProgram(program));

    QProcess command;
    command.setProgram(QStringLiteral(QUORVEL_BINARY));
    command.setArguments({QStringLiteral("start"), QStringLiteral("home project beta")});
    command.start();
    QVERIFY(command.waitForFinished(20000));
    QCOMPARE(command.exitCode(), 0);
    QVERIFY(command.readAllStandardOutput().startsWith("Started “Home Project Beta” at "));
    // The window carried it out and wrote it: the file holds the task at once.
    {
        QuorvelDocument doc;
        QVERIFY(doc.load());
        QCOMPARE(doc.tasks.size(), 1);
        QCOMPARE(doc.tasks.first()->activityName(), QStringLiteral("Home Project Beta"));
        QVERIFY(doc.tasks.first()->isRunning());
    }
    QCOMPARE(terminate(program), 0);
    QuorvelDocument doc;
    QVERIFY(doc.load());
    QCOMPARE(doc.tasks.size(), 1);
    QVERIFY(doc.tasks.first()->isRunning());
}

void TestProgram::signalWritesWhatIsNotOnDisk_data()
{
    QTest::addColumn<int>("signalNumber");
    QTest::newRow("SIGTERM") << int(SIGTERM);
    QTest::newRow("SIGINT") << int(SIGINT);
    QTest::newRow("SIGHUP") << int(SIGHUP);
}

void TestProgram::signalWritesWhatIsNotOnDisk()
{
    QFETCH(int, signalNumber);
    Configuration().setMode(Configuration::Personal);
    {
        QuorvelDocument doc;
        doc.createSampleData();
        DocumentBuilder build(doc);
        build.task(doc.activities.at(1), at(20, 14, 0), at(20, 15, 10), 2);
        build.task(doc.activities.first(), at(21, 8, 0), QDateTime(), 1);
        doc.tasks.sort();
        QVERIFY(doc.save());
    }
    const QString path = QuorvelDocument::dataFilePath();
    const QByteArray before = readFile(path);

    QProcess program;
    QVERIFY(startProgram(program));
    // The file goes from under the running program: its document is now held nowhere else,
    // as an unsaved change is, and a vanished file is nothing to read again. Only a write of
    // the program's own brings it back.
    QVERIFY(QFile::remove(path));
    QTest::qWait(1000);
    QVERIFY(!QFile::exists(path));
    QCOMPARE(program.state(), QProcess::Running);

    ::kill(pid_t(program.processId()), signalNumber);
    QVERIFY(program.waitForFinished(20000));
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 0);
    QCOMPARE(readFile(path), before);
    QVERIFY(!QFile::exists(lockFile()));
}

QUORVEL_TEST_GUILESS_MAIN(TestProgram)
#include "tst_program.moc"
