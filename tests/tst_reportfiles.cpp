// SPDX-License-Identifier: GPL-3.0-or-later
// Saved reports of any size up to the load limit, opened by the window's own program: its
// memory stays within a bound, and it goes on answering the command line meanwhile.

#include "CommandRunner.h"
#include "TestEnvironment.h"

#include "app/SingleInstance.h"
#include "model/QuorvelDocument.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QtTest>

namespace {

#if defined(__SANITIZE_ADDRESS__)
// The sanitizer's own bookkeeping grows with every allocation, and laying out a page of a
// report takes several times as long.
constexpr qint64 MemoryBoundKiB = 768 * 1024;
constexpr qint64 AnswerBoundMs = 10000;
#else
constexpr qint64 MemoryBoundKiB = 256 * 1024;
constexpr qint64 AnswerBoundMs = 2000;
#endif

QString socketPath()
{
    return QFileInfo(QuorvelDocument::dataFilePath()).absolutePath()
           + QStringLiteral("/quorvel.socket");
}

QProcessEnvironment environment()
{
    QProcessEnvironment env = processEnvironment(QStringLiteral("2026-11-21T09:30:00"));
    // The window says which report it shows on a debug line, off unless switched on.
    env.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("quorvel.report.debug=true"));
    return env;
}

// Writes a file of about size bytes: a table of short rows, or one cell nested in another.
QString writeReport(const QString &name, qint64 size, bool nested)
{
    const QString path = TestEnvironment::instance()->documentsDir() + QLatin1Char('/') + name;
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return QString();
    QByteArray block;
    if (nested) {
        file.write("<qt>");
        while (block.size() < (1 << 20))
            block += "<table><tr><td><div>";
    } else {
        file.write("<qt><h1>Many Rows</h1><table border=1>\n");
        for (int row = 0; block.size() < (1 << 20); ++row)
            block += "<tr><td>" + QByteArray::number(row % 1000) + "</td><td>x</td></tr>\n";
    }
    while (file.size() < size) {
        if (file.write(block) != block.size())
            return QString();
    }
    return path;
}

// The most memory the process ever held, in KiB.
qint64 peakMemoryKiB(qint64 pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

// Runs one command of the command line and gives its answer.
CommandRunner::Answer run(const QStringList &arguments)
{
    CommandRunner runner(QStringLiteral(QUORVEL_CLI), environment());
    runner.run({arguments});
    waitUntil([&] { return runner.isFinished(); }, 120000);
    return runner.answers().value(0);
}

} // namespace

class TestReportFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void largeReportsKeepTheWindowAnswering_data();
    void largeReportsKeepTheWindowAnswering();

private:
    QString m_report;
};

void TestReportFiles::init()
{
    TestEnvironment::wipe();
    QVERIFY(writeWorkActivities({QStringLiteral("Alpha")}));
}

void TestReportFiles::cleanup()
{
    // A gigabyte is not left lying about for the next case.
    if (!m_report.isEmpty())
        QFile::remove(m_report);
    m_report.clear();
}

void TestReportFiles::largeReportsKeepTheWindowAnswering_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<bool>("nested");
    QTest::addColumn<bool>("handed");
    QTest::newRow("10 MB of rows") << qint64(10'000'000) << false << false;
    QTest::newRow("100 MB of rows") << qint64(100'000'000) << false << false;
    QTest::newRow("1 GiB of rows") << (qint64(1) << 30) - (2 << 20) << false << false;
    QTest::newRow("1 GiB of rows, handed to the running window")
        << (qint64(1) << 30) - (2 << 20) << false << true;
    QTest::newRow("100 MB of deep nesting") << qint64(100'000'000) << true << false;
}

void TestReportFiles::largeReportsKeepTheWindowAnswering()
{
    QFETCH(qint64, size);
    QFETCH(bool, nested);
    QFETCH(bool, handed);
    m_report = writeReport(QStringLiteral("Large.qvreport"), size, nested);
    QVERIFY(!m_report.isEmpty());

    WindowProcess gui(QStringLiteral(QUORVEL_GUI), environment());
    if (handed) {
        QVERIFY(gui.start(socketPath()));
        // A second start hands the file to the window and ends.
        const CommandRunner::Answer second = run({m_report});
        QCOMPARE(second.exitCode, 0);
    } else {
        QVERIFY(gui.start(socketPath(), {m_report}));
    }
    QVERIFY(
        gui.waitForOutput("quorvel.report: Showing saved report " + QFile::encodeName(m_report)));

    // While the report is open, and its pieces are being counted, the window answers a
    // command at once: asked over its channel from here, so that only the window is timed.
    const SingleInstance channel(QFileInfo(socketPath()).absolutePath());
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(channel.handCommand({QDir::currentPath(), QStringLiteral("status")}, 60000, &exitCode,
                                 &out, &err),
             SingleInstance::HandOver::Answered);
    const qint64 elapsed = clock.elapsed();
    QVERIFY2(elapsed < AnswerBoundMs, qPrintable(QString::number(elapsed)));
    QCOMPARE(exitCode, 1);
    QCOMPARE(err, QByteArray("No task is running.\n"));
    // And the command line's command that changes tasks is carried out there.
    const CommandRunner::Answer start = run({QStringLiteral("start"), QStringLiteral("Alpha")});
    QCOMPARE(start.err, QByteArray());
    QCOMPARE(start.out, QByteArray("Started “Alpha” at 11/21/26 9:30 AM.\n"));

    // Long enough for the pieces to be counted to the end of the file.
    QTest::qWait(1000);
    const qint64 peak = peakMemoryKiB(gui.processId());
    qInfo("Peak memory with a report of %lld bytes: %lld KiB", size, peak);
    QVERIFY(peak > 0);
    QVERIFY2(peak < MemoryBoundKiB, qPrintable(QString::number(peak)));
    QCOMPARE(gui.terminate(), 0);
}

QUORVEL_TEST_GUILESS_MAIN(TestReportFiles)
#include "tst_reportfiles.moc"
