// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Saving killed with SIGKILL at random moments, by running the helper crashsaver (which saves
// two versions, A and B, in turn) and killing it: the data file and a saved report are always
// whole, one version or the other, and what a killed save leaves beside the data file is
// either cleared away at the next start or kept as a whole version.

#include "TestEnvironment.h"

#include "model/QuorvelDocument.h"
#include "platform/DocLnk.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <algorithm>
#include <csignal>
#include <functional>

#include <fcntl.h>
#include <unistd.h>

namespace {

#if defined(__SANITIZE_ADDRESS__)
// The sanitizer build builds and saves the large document several times slower.
constexpr int Kills = 60;
#else
constexpr int Kills = 200;
#endif
// One kill in this many falls anywhere from the fork to the saver's first save.
constexpr int EarlyKillEvery = 10;

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString documentString(QByteArray bytes, bool *read)
{
    QuorvelDocument doc;
    *read = doc.populateFromByteArray(bytes.data(), int(bytes.size()));
    return doc.getDocumentString();
}

QString what(const QByteArray &bytes)
{
    return QStringLiteral("%1 bytes starting %2")
        .arg(bytes.size())
        .arg(QString::fromUtf8(bytes.left(24).toPercentEncoding()));
}

// The helper, and the saver it forks for each kill.
class Victim
{
public:
    explicit Victim(const QString &mode)
        : m_mode(mode)
    {}
    ~Victim()
    {
        m_process.closeWriteChannel();
        if (!m_process.waitForFinished(30000))
            m_process.kill();
    }

    bool start()
    {
        m_process.setProgram(QStringLiteral(CRASHSAVER));
        m_process.setArguments({m_mode});
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start();
        return m_process.waitForStarted(10000);
    }

    // Has the helper fork a new saver; false when it does not report one.
    bool fork()
    {
        m_lines.clear();
        m_child = 0;
        m_process.write("go\n");
        m_process.waitForBytesWritten(10000);
        if (!waitFor([this] { return childLine() >= 0; }))
            return false;
        m_forked.start();
        m_child = pid_t(m_lines.at(childLine()).mid(6).toInt());
        return m_child > 0;
    }

    // Waits until the saver has reported `count` saves; false when it does not within a
    // minute.
    bool waitForSaves(int count)
    {
        return waitFor([this, count] { return saves() >= count; });
    }

    // Kills the saver with SIGKILL after the given time, and waits until it has ended.
    bool killAfter(qint64 microseconds)
    {
        if (microseconds > 0)
            QThread::usleep(static_cast<unsigned long>(microseconds));
        ::kill(m_child, SIGKILL);
        return waitFor([this] { return !ending().isEmpty(); });
    }

    qint64 sinceForkUs() const { return m_forked.nsecsElapsed() / 1000; }
    // The saves the saver reported before it ended.
    int saves() const
    {
        return int(std::count_if(m_lines.begin(), m_lines.end(),
                                 [](const QByteArray &line) { return line.startsWith("saved "); }));
    }
    // True when the saver ended by the kill, not by itself.
    bool killed() const { return ending() == "ended signal 9"; }

private:
    bool waitFor(const std::function<bool()> &done)
    {
        QElapsedTimer waited;
        waited.start();
        takeLines();
        while (!done()) {
            if (waited.elapsed() > 60000 || m_process.state() != QProcess::Running)
                return false;
            m_process.waitForReadyRead(100);
            takeLines();
        }
        return true;
    }

    void takeLines()
    {
        m_pending += m_process.readAllStandardOutput();
        qsizetype end;
        while ((end = m_pending.indexOf('\n')) >= 0) {
            m_lines.append(m_pending.left(end));
            m_pending.remove(0, end + 1);
        }
    }

    int childLine() const
    {
        for (int i = 0; i < m_lines.size(); ++i) {
            if (m_lines.at(i).startsWith("child "))
                return i;
        }
        return -1;
    }

    QByteArray ending() const
    {
        for (const QByteArray &line : m_lines) {
            if (line.startsWith("ended "))
                return line;
        }
        return QByteArray();
    }

    QString m_mode;
    QProcess m_process;
    pid_t m_child = 0;
    QElapsedTimer m_forked;
    QByteArray m_pending;
    QList<QByteArray> m_lines;
};

// When to kill: the time from the start to the first reported save, and from one save to the
// next, as measured on a first run.
struct Timing
{
    qint64 firstSaveUs = 0;
    qint64 cycleUs = 0;
};

} // namespace

class TestCrash : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void killedWhileSavingTheDataFile();
    void killedWhileSavingReports();

private:
    // Kills times: the helper forks a saver, which is killed at a random moment, then check().
    void killRepeatedly(const QString &mode, const std::function<void(const Victim &)> &check);
    void checkDataFile(const Victim &victim);
    void checkReports(const Victim &victim);

    QByteArray m_a;
    QByteArray m_b;
    QString m_aText;
    QString m_bText;
    QByteArray m_reportA;
    QByteArray m_reportB;
    bool m_unnamedFiles = false;

    bool m_savedEver = false;
    int m_leftovers = 0;
    int m_emptyLeftovers = 0;
    int m_recovered = 0;
    int m_withoutSave = 0;
    int m_twoReports = 0;
    int m_hiddenLeftovers = 0;
};

void TestCrash::initTestCase()
{
    QTemporaryDir expected;
    QVERIFY(expected.isValid());
    QProcess helper;
    helper.setProcessChannelMode(QProcess::ForwardedChannels);
    helper.start(QStringLiteral(CRASHSAVER), {QStringLiteral("expected"), expected.path()});
    QVERIFY(helper.waitForFinished(120000));
    QCOMPARE(helper.exitCode(), 0);
    m_a = readFile(expected.filePath(QStringLiteral("A")));
    m_b = readFile(expected.filePath(QStringLiteral("B")));
    m_reportA = readFile(expected.filePath(QStringLiteral("reportA")));
    m_reportB = readFile(expected.filePath(QStringLiteral("reportB")));

    // The versions are large and differ, and each reads back as itself.
    QVERIFY2(m_a.size() > 4000000, qPrintable(QString::number(m_a.size())));
    QVERIFY(m_a != m_b);
    bool read = false;
    m_aText = documentString(m_a, &read);
    QVERIFY(read);
    QCOMPARE(m_aText.toUtf8(), m_a);
    m_bText = documentString(m_b, &read);
    QVERIFY(read);
    QCOMPARE(m_bText.toUtf8(), m_b);
    QVERIFY2(m_reportA.size() > 3000000, qPrintable(QString::number(m_reportA.size())));
    QVERIFY(m_reportA != m_reportB);

    const QString reports = FileManager::folderFor(FileManager::reportType());
    QVERIFY(QDir().mkpath(reports));
    const int probe = ::open(QFile::encodeName(reports).constData(), O_TMPFILE | O_WRONLY, 0600);
    m_unnamedFiles = probe >= 0;
    if (probe >= 0)
        ::close(probe);
}

void TestCrash::init()
{
    TestEnvironment::wipe();
    QDir(FileManager::folderFor(FileManager::reportType())).removeRecursively();
    m_savedEver = false;
}

void TestCrash::killRepeatedly(const QString &mode,
                               const std::function<void(const Victim &)> &check)
{
    QElapsedTimer elapsed;
    elapsed.start();
    Victim victim(mode);
    QVERIFY(victim.start());

    // A first saver, killed at no particular moment, measures the pace.
    Timing timing;
    QVERIFY(victim.fork());
    QVERIFY2(victim.waitForSaves(1), "the saver reported no save");
    timing.firstSaveUs = victim.sinceForkUs();
    QElapsedTimer cycles;
    cycles.start();
    QVERIFY(victim.waitForSaves(5));
    timing.cycleUs = qMax<qint64>(cycles.nsecsElapsed() / 4000, 1000);
    QVERIFY(victim.killAfter(0));
    QVERIFY(victim.killed());
    check(victim);
    if (QTest::currentTestFailed())
        return;

    QRandomGenerator *random = QRandomGenerator::global();
    for (int kill = 0; kill < Kills; ++kill) {
        QVERIFY(victim.fork());
        if (kill % EarlyKillEvery == 0) {
            const qint64 at = qint64(random->bounded(quint64(timing.firstSaveUs)));
            QVERIFY(victim.killAfter(at - victim.sinceForkUs()));
        } else {
            // Anywhere in the next two and a half save cycles after a save was reported.
            QVERIFY2(victim.waitForSaves(1), "the saver reported no save");
            QVERIFY(victim.killAfter(qint64(random->bounded(quint64(timing.cycleUs * 5 / 2)))));
        }
        QVERIFY2(victim.killed(), "the saver ended before it was killed");
        check(victim);
        if (QTest::currentTestFailed()) {
            qInfo("failed after kill %d of %d", kill + 1, Kills);
            return;
        }
    }
    qInfo("%s: %d kills (first save %lld ms after the fork, then one every %lld ms) in %lld s",
          qPrintable(mode), Kills, timing.firstSaveUs / 1000, timing.cycleUs / 1000,
          elapsed.elapsed() / 1000);
}

void TestCrash::checkDataFile(const Victim &victim)
{
    const QString path = QuorvelDocument::dataFilePath();
    if (!QFileInfo::exists(path)) {
        QVERIFY2(!m_savedEver && victim.saves() == 0, "the data file is gone after a save");
        ++m_withoutSave;
    } else {
        const QByteArray bytes = readFile(path);
        QVERIFY2(bytes == m_a || bytes == m_b, qPrintable(what(bytes)));
        QuorvelDocument doc;
        QVERIFY(doc.load());
        const QByteArray text = doc.getDocumentBytes();
        QVERIFY(text == m_a || text == m_b);
    }
    m_savedEver = m_savedEver || victim.saves() > 0;

    // What the next start of the window or of a command finds beside the data file.
    const QString newPath = path + QStringLiteral(".new");
    if (!QFileInfo::exists(newPath))
        return;
    ++m_leftovers;
    if (QFileInfo(newPath).size() == 0)
        ++m_emptyLeftovers;
    const QString kept = QuorvelDocument::recoverInterruptedSave();
    QVERIFY(!QFileInfo::exists(newPath));
    if (kept.isEmpty())
        return;
    ++m_recovered;
    // Only a whole version is kept, and only one the data file does not hold.
    const QByteArray keptBytes = readFile(kept);
    bool read = false;
    const QString keptText = documentString(keptBytes, &read);
    QVERIFY(read);
    QVERIFY2(keptText == m_aText || keptText == m_bText, qPrintable(what(keptBytes)));
    QVERIFY(keptBytes != readFile(path));
    QVERIFY(QFile::remove(kept));
}

void TestCrash::killedWhileSavingTheDataFile()
{
    m_leftovers = m_emptyLeftovers = m_recovered = m_withoutSave = 0;
    killRepeatedly(QStringLiteral("data"), [this](const Victim &victim) { checkDataFile(victim); });
    if (QTest::currentTestFailed())
        return;
    qInfo("%d kills left a .new beside the data file: %d empty, %d whole (kept), the others "
          "partial",
          m_leftovers, m_emptyLeftovers, m_recovered);
    // The kills did fall inside saves.
    QVERIFY(m_leftovers > 0);
}

void TestCrash::checkReports(const Victim &victim)
{
    const QString folder = FileManager::folderFor(FileManager::reportType());
    const QFileInfoList entries = QDir(folder).entryInfoList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    int reports = 0;
    for (const QFileInfo &entry : entries) {
        if (entry.fileName() == QLatin1String("Crash Report.qvreport")
            || entry.fileName() == QLatin1String("Crash Report (2).qvreport")) {
            const QByteArray bytes = readFile(entry.filePath());
            QVERIFY2(bytes == m_reportA || bytes == m_reportB,
                     qPrintable(entry.fileName() + QLatin1Char(' ') + what(bytes)));
            ++reports;
        } else if (!m_unnamedFiles
                   && entry.fileName().startsWith(QLatin1String(".quorvel-report-"))) {
            // Where the file system has no unnamed files, a kill while writing leaves the
            // hidden temporary file.
            ++m_hiddenLeftovers;
        } else {
            QFAIL(qPrintable(QStringLiteral("left behind: ") + entry.fileName()));
        }
        QVERIFY(QFile::remove(entry.filePath()));
    }
    // The helper removes the older report after each save: one or two stand after a save,
    // and at most the one being named before the first was reported.
    if (victim.saves() == 0) {
        QVERIFY2(reports <= 1, qPrintable(QString::number(reports)));
        if (reports == 0)
            ++m_withoutSave;
    } else {
        QVERIFY2(reports == 1 || reports == 2, qPrintable(QString::number(reports)));
    }
    if (reports == 2)
        ++m_twoReports;
}

void TestCrash::killedWhileSavingReports()
{
    m_withoutSave = m_twoReports = m_hiddenLeftovers = 0;
    killRepeatedly(QStringLiteral("report"),
                   [this](const Victim &victim) { checkReports(victim); });
    if (QTest::currentTestFailed())
        return;
    qInfo("%d kills came before any report was saved, %d between a save and the removal of "
          "the report before; %d hidden temporary files left",
          m_withoutSave, m_twoReports, m_hiddenLeftovers);
}

QUORVEL_TEST_GUILESS_MAIN(TestCrash)
#include "tst_crash.moc"
