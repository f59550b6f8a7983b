// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DocumentBuilder.h"
#include "TestEnvironment.h"
#include "keyring/ServerPassword.h"

#include "model/Configuration.h"
#include "model/QuorvelDocument.h"
#include "platform/Config.h"
#include "platform/DocLnk.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtTest>

#include <sys/stat.h>
#include <utime.h>

namespace {

// The permission bits of path, without following a last symbolic link; -1 when it is not there.
int modeOf(const QString &path)
{
    struct stat info;
    if (::lstat(QFile::encodeName(path).constData(), &info) != 0)
        return -1;
    return int(info.st_mode & 07777);
}

QString octal(int mode)
{
    return QString::number(mode, 8);
}

void setMode(const QString &path, int mode)
{
    QCOMPARE(::chmod(QFile::encodeName(path).constData(), mode_t(mode)), 0);
}

void writeFile(const QString &path, const QByteArray &contents)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(contents), qint64(contents.size()));
}

QString dataFolder()
{
    return QFileInfo(QuorvelDocument::dataFilePath()).absolutePath();
}

} // namespace

// Files of the person's data, settings and reports are readable by their owner only, and the
// folders Quorvel makes for them are the owner's only. The umask is 0 throughout, so that any
// mode left to it would show as readable by everyone.
class TestFileModes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void settingsFileAndFolder();
    void settingsFileFromBeforeIsTightened();
    void missingFoldersAboveAreMadePrivate();
    void dataFileNoteAndFolder();
    void dataFilesFromBeforeAreTightened();
    void recoveredCopy();
    void savedReport();

private:
    mode_t m_umask = 0;
};

void TestFileModes::initTestCase()
{
    m_umask = ::umask(0);
}

void TestFileModes::cleanupTestCase()
{
    ::umask(m_umask);
}

void TestFileModes::init()
{
    TestEnvironment::wipe();
}

void TestFileModes::settingsFileAndFolder()
{
    Configuration().setMode(Configuration::Personal);
    const QString file = Config::filePath(Configuration::storeName());
    QCOMPARE(octal(modeOf(file)), QStringLiteral("600"));
    QCOMPARE(octal(modeOf(QFileInfo(file).absolutePath())), QStringLiteral("700"));
    QCOMPARE(QFileInfo(file).absolutePath(),
             TestEnvironment::instance()->configHome() + QStringLiteral("/Quorvel"));
    // The folder above is the person's, and left as it was.
    QCOMPARE(octal(modeOf(TestEnvironment::instance()->configHome())), QStringLiteral("777"));

    // Another store, and the scrambled password.
    ServerPassword(Configuration()).write(QStringLiteral("tea-time"));
    QCOMPARE(octal(modeOf(file)), QStringLiteral("600"));
    {
        Config qpe(QStringLiteral("qpe"));
        qpe.setGroup(QStringLiteral("Time"));
        qpe.writeEntry(QStringLiteral("AMPM"), true);
    }
    QCOMPARE(octal(modeOf(Config::filePath(QStringLiteral("qpe")))), QStringLiteral("600"));
    QCOMPARE(Configuration().mode(), Configuration::Personal);
}

void TestFileModes::settingsFileFromBeforeIsTightened()
{
    const QString file = Config::filePath(Configuration::storeName());
    const QString folder = QFileInfo(file).absolutePath();
    QVERIFY(QDir().mkpath(folder));
    writeFile(file, "[LocalSettings]\nmode=2\n");
    setMode(folder, 0755);
    setMode(file, 0644);

    // Reading changes nothing.
    QCOMPARE(Configuration().mode(), Configuration::Group);
    QCOMPARE(octal(modeOf(file)), QStringLiteral("644"));

    Configuration().setAllowConcurrentTasks(true);
    QCOMPARE(octal(modeOf(file)), QStringLiteral("600"));
    QCOMPARE(octal(modeOf(folder)), QStringLiteral("700"));
    QCOMPARE(Configuration().mode(), Configuration::Group);
    QCOMPARE(Configuration().allowConcurrentTasks(), true);
}

void TestFileModes::missingFoldersAboveAreMadePrivate()
{
    const QString configHome = TestEnvironment::instance()->configHome();
    const QString dataHome = TestEnvironment::instance()->dataHome();
    QVERIFY(QDir(configHome).removeRecursively());
    QVERIFY(QDir(dataHome).removeRecursively());

    Configuration().setMode(Configuration::Personal);
    QCOMPARE(octal(modeOf(configHome)), QStringLiteral("700"));
    QCOMPARE(octal(modeOf(configHome + QStringLiteral("/Quorvel"))), QStringLiteral("700"));

    QuorvelDocument doc;
    QVERIFY(doc.save());
    QCOMPARE(octal(modeOf(dataHome)), QStringLiteral("700"));
    QCOMPARE(octal(modeOf(dataHome + QStringLiteral("/quorvelqpe"))), QStringLiteral("700"));
    QCOMPARE(octal(modeOf(QuorvelDocument::dataFilePath())), QStringLiteral("600"));
}

void TestFileModes::dataFileNoteAndFolder()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    build.task(build.activity(QStringLiteral("Writing"), nullptr), at(21, 8, 0), QDateTime());
    QVERIFY(doc.save());
    QCOMPARE(octal(modeOf(QuorvelDocument::dataFilePath())), QStringLiteral("600"));
    QCOMPARE(octal(modeOf(QuorvelDocument::runningNotePath())), QStringLiteral("600"));
    QCOMPARE(octal(modeOf(dataFolder())), QStringLiteral("700"));
    QCOMPARE(dataFolder(), TestEnvironment::instance()->dataHome() + QStringLiteral("/quorvelqpe"));
    QVERIFY(!QFileInfo::exists(QuorvelDocument::dataFilePath() + QStringLiteral(".new")));
    QVERIFY(doc.loadRunningNote());
}

void TestFileModes::dataFilesFromBeforeAreTightened()
{
    const QString data = QuorvelDocument::dataFilePath();
    QuorvelDocument doc;
    QVERIFY(doc.save());
    setMode(data, 0644);
    setMode(QuorvelDocument::runningNotePath(), 0644);
    setMode(dataFolder(), 0755);
    // A new file left by a save cut short in an older version, readable by everyone.
    writeFile(data + QStringLiteral(".new"), "left over");
    setMode(data + QStringLiteral(".new"), 0666);
    writeFile(QuorvelDocument::runningNotePath() + QStringLiteral(".new"), "left over");
    setMode(QuorvelDocument::runningNotePath() + QStringLiteral(".new"), 0666);

    QVERIFY(doc.save());
    QCOMPARE(octal(modeOf(data)), QStringLiteral("600"));
    QCOMPARE(octal(modeOf(QuorvelDocument::runningNotePath())), QStringLiteral("600"));
    QCOMPARE(octal(modeOf(dataFolder())), QStringLiteral("700"));
}

void TestFileModes::recoveredCopy()
{
    QuorvelDocument doc;
    QVERIFY(doc.save());
    const QString data = QuorvelDocument::dataFilePath();
    // A complete new file that an older version left readable, newer than the data file.
    QuorvelDocument newer;
    DocumentBuilder(newer).category(QStringLiteral("Clients"));
    writeFile(data + QStringLiteral(".new"), newer.getDocumentBytes());
    setMode(data + QStringLiteral(".new"), 0644);
    struct utimbuf times = {0, 0};
    QCOMPARE(::utime(QFile::encodeName(data).constData(), &times), 0);

    const QString kept = QuorvelDocument::recoverInterruptedSave();
    QCOMPARE(kept, QuorvelDocument::besideDataFile(QStringLiteral("recovered")));
    QCOMPARE(octal(modeOf(kept)), QStringLiteral("600"));
}

void TestFileModes::savedReport()
{
    const QString documents = TestEnvironment::instance()->documentsDir();
    const QString folder = documents + QStringLiteral("/Quorvel Reports");
    const int documentsMode = modeOf(documents);
    // Saves a report of the same name each time; its file, or nothing when it was not saved.
    const auto save = [](const QString &text) {
        DocLnk link;
        link.setName(QStringLiteral("Hours of November"));
        link.setType(FileManager::reportType());
        return FileManager().saveFile(link, text) ? link.file() : QString();
    };

    const QString first = save(QStringLiteral("<p>report</p>"));
    QCOMPARE(first, folder + QStringLiteral("/Hours of November.qvreport"));
    QCOMPARE(octal(modeOf(first)), QStringLiteral("600"));
    QCOMPARE(octal(modeOf(folder)), QStringLiteral("700"));
    // The documents folder is the person's and keeps its mode.
    QCOMPARE(modeOf(documents), documentsMode);

    // A folder from an older version is tightened when a report is saved into it.
    setMode(folder, 0755);
    const QString second = save(QStringLiteral("<p>again</p>"));
    QCOMPARE(second, folder + QStringLiteral("/Hours of November (2).qvreport"));
    QCOMPARE(octal(modeOf(second)), QStringLiteral("600"));
    QCOMPARE(octal(modeOf(folder)), QStringLiteral("700"));
}

QUORVEL_TEST_GUILESS_MAIN(TestFileModes)
#include "tst_filemodes.moc"
