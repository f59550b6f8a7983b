// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The data file when saving fails: a full disk (a file size limit stands in for it, in this
// process for the window and in the child for the command line), and the "<data file>.new"
// that a save cut short leaves, as the window and the command line find it at their start.

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestEnvironment.h"

#include "app/QuorvelMainWindow.h"
#include "dialogs/ChooseInitialMode.h"
#include "model/QuorvelDocument.h"
#include "platform/Clock.h"
#include "views/MainWidget.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QToolButton>
#include <QtTest>

#include <csignal>

#include <sys/resource.h>

namespace {

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(bytes), bytes.size());
}

void setModified(const QString &path, const QDateTime &when)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(when, QFileDevice::FileModificationTime));
}

QString dataFile()
{
    return QuorvelDocument::dataFilePath();
}

QString newFile()
{
    return QuorvelDocument::dataFilePath() + QStringLiteral(".new");
}

// Every write past `bytes` of a file fails with EFBIG, as a write to a full disk fails, while
// this lives. SIGXFSZ is ignored meanwhile: by default the limit would end the process.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        m_handler = std::signal(SIGXFSZ, SIG_IGN);
        const struct rlimit limit = {bytes, m_before.rlim_max};
        m_set = ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
    }
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }
    bool isSet() const { return m_set; }

private:
    struct rlimit m_before = {};
    void (*m_handler)(int) = SIG_DFL;
    bool m_set = false;
};

constexpr rlim_t FullAt = 1024;

// Personal mode, the sample activities and `taskCount` stopped tasks on 20 November, the last
// on shortcut button 1, as the data file. With 40 tasks it is larger than FullAt.
void prepareFile(int taskCount)
{
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    doc.createSampleData();
    DocumentBuilder build(doc);
    for (int i = 0; i < taskCount; ++i) {
        const QDateTime start = at(20, 0, 0).addSecs(i * 15 * 60);
        build.task(doc.activities.at(i % doc.activities.size()), start, start.addSecs(10 * 60),
                   i == taskCount - 1 ? 1 : 0);
    }
    doc.tasks.sort();
    QVERIFY(doc.save());
}

// The data file as it is, with one task more: what a later save would have written.
QByteArray laterVersion()
{
    QuorvelDocument doc;
    if (!doc.load())
        return QByteArray();
    DocumentBuilder(doc).task(doc.activities.first(), at(21, 7, 0), at(21, 8, 0));
    doc.tasks.sort();
    return doc.getDocumentBytes();
}

// The files beside the data file named "quorvelqpe.dat.recovered-*".
QStringList recoveredFiles()
{
    return QFileInfo(dataFile())
        .dir()
        .entryList({QStringLiteral("quorvelqpe.dat.recovered-*")}, QDir::Files, QDir::Name);
}

QString recoveredText(const QString &path)
{
    return QStringLiteral("A save was cut short and left data that may hold changes which are "
                          "not in the data file.\nIt has been kept as\n")
           + path;
}

struct Run
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// The quorvel command line on the test's data file, optionally with a full disk.
Run quorvel(const QStringList &arguments, bool diskFull = false)
{
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QUORVEL_FAKE_NOW"), QStringLiteral("2026-11-21T09:30:00"));
    env.insert(QStringLiteral("LC_ALL"), QStringLiteral("en_US.UTF-8"));
    env.insert(QStringLiteral("TZ"), QStringLiteral("UTC"));
    process.setProcessEnvironment(env);
    if (diskFull) {
        // In the child between fork and exec; an ignored signal stays ignored across exec.
        process.setChildProcessModifier([] {
            std::signal(SIGXFSZ, SIG_IGN);
            const struct rlimit limit = {FullAt, FullAt};
            ::setrlimit(RLIMIT_FSIZE, &limit);
        });
    }
    process.start(QStringLiteral(QUORVEL_CLI), arguments);
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

} // namespace

class TestDataFileSafety : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void fullDiskInTheWindowIsToldOncePerEpisode();
    void fullDiskInTheCommandLineRefuses();
    void failedRenameInTheCommandLineRefuses();
    void failedRenameInTheWindowCannotSave();

    void leftoverAtTheWindowsStart_data();
    void leftoverAtTheWindowsStart();
    void leftoverWithoutDataFileAtTheWindowsStart();
    void recoveredNeverReplacesAnEarlierOne();
    void leftoverAtTheCommandsStart_data();
    void leftoverAtTheCommandsStart();
    void leftoverWithoutDataFileAtTheCommandsStart();
};

void TestDataFileSafety::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    Clock::setFixed(at(21, 9, 30));
}

void TestDataFileSafety::fullDiskInTheWindowIsToldOncePerEpisode()
{
    prepareFile(40);
    const QByteArray before = readFile(dataFile());
    QVERIFY2(before.size() > qsizetype(FullAt), qPrintable(QString::number(before.size())));
    const QString cannotSave
        = QStringLiteral("Quorvel could not write its data file:\n") + dataFile()
          + QStringLiteral("\n\nYour changes are kept in the window; free some space and they "
                           "are written at the next save.");

    QuorvelMainWindow window;
    QToolButton *button = window.mainWidget()->button(1);
    QVERIFY(button->isEnabled());
    button->click();
    QVERIFY(window.document()->activeTasks());
    const QByteArray started = window.document()->getDocumentBytes();
    {
        FileSizeLimit full(FullAt);
        QVERIFY(full.isSet());
        window.flush();
        QCoreApplication::processEvents();
        // The autosave goes on trying while the disk stays full, without a box each time.
        window.flush();
        QCoreApplication::processEvents();
        window.flush();
        QCoreApplication::processEvents();
    }
    QCOMPARE(readFile(dataFile()), before);
    QVERIFY(!QFileInfo::exists(newFile()));
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Cannot Save"));
    QCOMPARE(MessageBox::shown().at(0).text, cannotSave);
    QCOMPARE(MessageBox::shown().at(0).icon, QMessageBox::Warning);

    // Space again: the next save writes what the window kept.
    window.flush();
    QCoreApplication::processEvents();
    QCOMPARE(readFile(dataFile()), started);
    QCOMPARE(MessageBox::shown().size(), 1);

    // After a save that worked, the next full disk is told again.
    DocumentBuilder(*window.document())
        .task(window.document()->activities.first(), at(21, 6, 0), at(21, 6, 30));
    window.document()->tasks.sort();
    {
        FileSizeLimit full(FullAt);
        QVERIFY(full.isSet());
        window.flush();
        QCoreApplication::processEvents();
    }
    QCOMPARE(readFile(dataFile()), started);
    QVERIFY(!QFileInfo::exists(newFile()));
    QCOMPARE(MessageBox::shown().size(), 2);
    QCOMPARE(MessageBox::shown().at(1).title, QStringLiteral("Cannot Save"));
    QCOMPARE(MessageBox::shown().at(1).text, cannotSave);

    window.flush();
    QCoreApplication::processEvents();
    QCOMPARE(readFile(dataFile()), window.document()->getDocumentBytes());
    QuorvelDocument check;
    QVERIFY(check.load());
    QCOMPARE(check.tasks.size(), 42);
    QCOMPARE(MessageBox::shown().size(), 2);
}

void TestDataFileSafety::fullDiskInTheCommandLineRefuses()
{
    prepareFile(40);
    const QByteArray before = readFile(dataFile());
    QVERIFY(before.size() > qsizetype(FullAt));

    const Run run = quorvel({QStringLiteral("start"), QStringLiteral("Home Project Beta")}, true);
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    QCOMPARE(run.err, "quorvel: the data file " + QFile::encodeName(dataFile())
                          + " could not be written (the file would grow beyond its size "
                            "limit); it holds what it held before.\n");
    QCOMPARE(readFile(dataFile()), before);
    QVERIFY(!QFileInfo::exists(newFile()));

    // The same command with space to write succeeds: it was the disk.
    const Run again = quorvel({QStringLiteral("start"), QStringLiteral("Home Project Beta")});
    QCOMPARE(again.exitCode, 0);
    QCOMPARE(again.err, QByteArray());
    QVERIFY(readFile(dataFile()) != before);
}

namespace {

// Makes the data file immutable while it lives, so that no rename can replace it: only where
// the file system and the privileges allow (ext4 and root, as in CI).
class Immutable
{
public:
    explicit Immutable(const QString &path)
        : m_path(path)
    {
        m_set = QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("+i"), m_path}) == 0;
    }
    ~Immutable() { release(); }
    Immutable(const Immutable &) = delete;
    Immutable &operator=(const Immutable &) = delete;
    bool isSet() const { return m_set; }
    void release()
    {
        if (m_set)
            QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("-i"), m_path});
        m_set = false;
    }

private:
    QString m_path;
    bool m_set = false;
};

} // namespace

void TestDataFileSafety::failedRenameInTheCommandLineRefuses()
{
    prepareFile(40);
    const QByteArray before = readFile(dataFile());
    Immutable immutable(dataFile());
    if (!immutable.isSet())
        QSKIP("SKIPPED LOUDLY: this file system or user cannot make a file immutable (chattr +i "
              "needs root on ext4); the failed rename is not tested here");

    const Run run = quorvel({QStringLiteral("start"), QStringLiteral("Home Project Beta")});
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    QCOMPARE(run.err, "quorvel: the data file " + QFile::encodeName(dataFile())
                          + " could not be replaced by its new contents (permission denied); it "
                            "holds what it held before, and the new contents are kept in "
                          + QFile::encodeName(newFile()) + ".\n");
    QCOMPARE(readFile(dataFile()), before);
    QVERIFY(QFileInfo::exists(newFile()));

    // Once the file can be replaced again, the next command keeps the new contents for the
    // person to look at, as after any save cut short, and is carried out.
    immutable.release();
    const Run again = quorvel({QStringLiteral("status")});
    QCOMPARE(again.exitCode, 1);
    const Run next = quorvel({QStringLiteral("start"), QStringLiteral("Home Project Beta")});
    QCOMPARE(next.exitCode, 0);
    QVERIFY2(next.err.startsWith("quorvel: a save was cut short and left data that may hold "
                                 "changes which are not in the data file; it has been kept as "),
             next.err.constData());
    QCOMPARE(recoveredFiles().size(), 1);
    QVERIFY(readFile(dataFile()) != before);
}

void TestDataFileSafety::failedRenameInTheWindowCannotSave()
{
    prepareFile(40);
    const QByteArray before = readFile(dataFile());
    QuorvelMainWindow window;
    window.mainWidget()->button(1)->click();
    QVERIFY(window.document()->activeTasks());
    const QByteArray started = window.document()->getDocumentBytes();
    {
        Immutable immutable(dataFile());
        if (!immutable.isSet())
            QSKIP("SKIPPED LOUDLY: this file system or user cannot make a file immutable "
                  "(chattr +i needs root on ext4); the failed rename is not tested here");
        QVERIFY(!window.flush());
        QCoreApplication::processEvents();
        QVERIFY(!window.flush());
        QCoreApplication::processEvents();
        QCOMPARE(readFile(dataFile()), before);
    }
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Cannot Save"));
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("Quorvel could not write its data file:\n") + dataFile()
                 + QStringLiteral("\n\nThe reason: permission denied.\n\nYour changes are kept "
                                  "in the window and written at the next save that succeeds."));
    QCOMPARE(MessageBox::shown().at(0).icon, QMessageBox::Warning);

    // Nothing was lost: the next save writes what the window kept.
    QVERIFY(window.flush());
    QCOMPARE(readFile(dataFile()), started);
    QCOMPARE(MessageBox::shown().size(), 1);
}

void TestDataFileSafety::leftoverAtTheWindowsStart_data()
{
    QTest::addColumn<QString>("leftover");
    QTest::addColumn<bool>("kept");
    QTest::newRow("cut off while written") << QStringLiteral("partial") << false;
    QTest::newRow("whole but older") << QStringLiteral("older") << false;
    QTest::newRow("newer, same bytes") << QStringLiteral("same") << false;
    QTest::newRow("whole and newer") << QStringLiteral("newer") << true;
    QTest::newRow("not a plain file") << QStringLiteral("folder") << false;
}

// Writes the leftover of the given kind beside the prepared data file: modified an hour
// after the data file, or an hour before for "older".
void writeLeftover(const QString &kind, const QByteArray &later)
{
    const QDateTime dataFileTime = QDateTime::currentDateTime().addSecs(-7200);
    setModified(dataFile(), dataFileTime);
    if (kind == QLatin1String("folder")) {
        QVERIFY(QDir().mkpath(newFile()));
        return;
    }
    if (kind == QLatin1String("partial"))
        writeFile(newFile(), later.left(later.size() / 2));
    else if (kind == QLatin1String("same"))
        writeFile(newFile(), readFile(dataFile()));
    else
        writeFile(newFile(), later);
    setModified(newFile(), dataFileTime.addSecs(kind == QLatin1String("older") ? -3600 : 3600));
}

void TestDataFileSafety::leftoverAtTheWindowsStart()
{
    QFETCH(QString, leftover);
    QFETCH(bool, kept);
    prepareFile(3);
    const QByteArray before = readFile(dataFile());
    const QByteArray later = laterVersion();
    QVERIFY(!later.isEmpty() && later != before);
    writeLeftover(leftover, later);
    if (QTest::currentTestFailed())
        return;

    const QString keptPath = dataFile() + QStringLiteral(".recovered-20261121093000");
    {
        QuorvelMainWindow window;
        QVERIFY(!window.quitRequested());
        // The window shows the data file, whatever was kept beside it.
        QCOMPARE(window.document()->getDocumentBytes(), before);
        if (kept) {
            QCOMPARE(MessageBox::shown().size(), 1);
            QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Recovered Data"));
            QCOMPARE(MessageBox::shown().at(0).text, recoveredText(keptPath));
            QCOMPARE(MessageBox::shown().at(0).icon, QMessageBox::Information);
        } else {
            QCOMPARE(MessageBox::shown().size(), 0);
        }
    }
    QCOMPARE(readFile(dataFile()), before);
    if (leftover == QLatin1String("folder")) {
        QVERIFY(QFileInfo(newFile()).isDir());
        QVERIFY(QDir(newFile()).removeRecursively());
    } else {
        QVERIFY(!QFileInfo::exists(newFile()));
    }
    if (kept) {
        QCOMPARE(recoveredFiles(), QStringList{QFileInfo(keptPath).fileName()});
        QCOMPARE(readFile(keptPath), later);
    } else {
        QCOMPARE(recoveredFiles(), QStringList());
    }
}

void TestDataFileSafety::leftoverWithoutDataFileAtTheWindowsStart()
{
    // A first save killed between its write and its rename.
    prepareFile(3);
    const QByteArray written = readFile(dataFile());
    QVERIFY(QFile::rename(dataFile(), newFile()));

    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        QVERIFY(qobject_cast<ChooseInitialMode *>(widget));
        static_cast<QDialog *>(widget)->reject();
    });
    const QString keptPath = dataFile() + QStringLiteral(".recovered-20261121093000");
    {
        QuorvelMainWindow window;
        // Told before the first start's question, which comes as there is no data file.
        QCOMPARE(answers.seen(), QStringList{QStringLiteral("ChooseInitialMode")});
        QVERIFY(window.quitRequested());
        QCOMPARE(MessageBox::shown().size(), 1);
        QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Recovered Data"));
        QCOMPARE(MessageBox::shown().at(0).text, recoveredText(keptPath));
    }
    QVERIFY(!QFileInfo::exists(newFile()));
    QVERIFY(!QFileInfo::exists(dataFile()));
    QCOMPARE(readFile(keptPath), written);
}

void TestDataFileSafety::recoveredNeverReplacesAnEarlierOne()
{
    prepareFile(3);
    const QByteArray later = laterVersion();
    const QString first = dataFile() + QStringLiteral(".recovered-20261121093000");
    writeFile(first, QByteArrayLiteral("kept before"));
    writeLeftover(QStringLiteral("newer"), later);
    if (QTest::currentTestFailed())
        return;

    QCOMPARE(QuorvelDocument::recoverInterruptedSave(), first + QStringLiteral("-2"));
    QCOMPARE(readFile(first), QByteArrayLiteral("kept before"));
    QCOMPARE(readFile(first + QStringLiteral("-2")), later);
    QVERIFY(!QFileInfo::exists(newFile()));
    // Nothing left: nothing to do.
    QCOMPARE(QuorvelDocument::recoverInterruptedSave(), QString());
}

void TestDataFileSafety::leftoverAtTheCommandsStart_data()
{
    QTest::addColumn<QString>("leftover");
    QTest::addColumn<bool>("kept");
    QTest::newRow("cut off while written") << QStringLiteral("partial") << false;
    QTest::newRow("whole but older") << QStringLiteral("older") << false;
    QTest::newRow("whole and newer") << QStringLiteral("newer") << true;
}

void TestDataFileSafety::leftoverAtTheCommandsStart()
{
    QFETCH(QString, leftover);
    QFETCH(bool, kept);
    prepareFile(3);
    const QByteArray later = laterVersion();
    writeLeftover(leftover, later);
    if (QTest::currentTestFailed())
        return;

    const Run run = quorvel({QStringLiteral("start"), QStringLiteral("Home Project Beta")});
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.out, QByteArray("Started “Home Project Beta” at 11/21/26 9:30 AM.\n"));
    QVERIFY(!QFileInfo::exists(newFile()));
    const QStringList recovered = recoveredFiles();
    if (kept) {
        // The command's clock runs on from 09:30:00, so the stamp is read off the name.
        QCOMPARE(recovered.size(), 1);
        QVERIFY2(
            recovered.first().startsWith(QLatin1String("quorvelqpe.dat.recovered-202611210930")),
            qPrintable(recovered.first()));
        const QString keptPath = QFileInfo(dataFile()).dir().filePath(recovered.first());
        QCOMPARE(run.err, "quorvel: a save was cut short and left data that may hold changes "
                          "which are not in the data file; it has been kept as "
                              + QFile::encodeName(keptPath) + '\n');
        QCOMPARE(readFile(keptPath), later);
    } else {
        QCOMPARE(recovered, QStringList());
        QCOMPARE(run.err, QByteArray());
    }
    // The command itself went on from the data file.
    QuorvelDocument check;
    QVERIFY(check.load());
    QCOMPARE(check.tasks.size(), 4);
    QVERIFY(check.tasks.last()->isRunning());
    QCOMPARE(check.tasks.last()->activityName(), QStringLiteral("Home Project Beta"));
}

void TestDataFileSafety::leftoverWithoutDataFileAtTheCommandsStart()
{
    prepareFile(3);
    const QByteArray written = readFile(dataFile());
    QVERIFY(QFile::rename(dataFile(), newFile()));

    const Run run = quorvel({QStringLiteral("start"), QStringLiteral("Home Project Beta")});
    const QStringList recovered = recoveredFiles();
    QCOMPARE(recovered.size(), 1);
    const QString keptPath = QFileInfo(dataFile()).dir().filePath(recovered.first());
    QCOMPARE(readFile(keptPath), written);
    QVERIFY(!QFileInfo::exists(newFile()));
    // The command goes on as without a data file, which has no activity yet.
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.out, QByteArray());
    QCOMPARE(run.err, "quorvel: a save was cut short and left data that may hold changes which "
                      "are not in the data file; it has been kept as "
                          + QFile::encodeName(keptPath)
                          + "\nquorvel: no activity is called “Home Project Beta”, and there are "
                            "none yet.\n");
    QVERIFY(!QFileInfo::exists(dataFile()));
}

QUORVEL_TEST_MAIN(TestDataFileSafety)
#include "tst_datafilesafety.moc"
