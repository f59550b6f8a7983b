// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DocumentBuilder.h"
#include "TestEnvironment.h"

#include "app/QuorvelMainWindow.h"
#include "app/SingleInstance.h"
#include "model/QuorvelDocument.h"
#include "views/MainWidget.h"
#include "widgets/MessageBox.h"
#include "widgets/QuorvelApplication.h"
#include "widgets/Resource.h"

#include <QElapsedTimer>
#include <QLocalSocket>
#include <QProcess>
#include <QSaveFile>
#include <QTemporaryDir>
#include <QToolButton>
#include <QWidget>
#include <QtTest>

#include <csignal>
#include <cstdio>
#include <memory>

namespace {

// Gives the tests the handlers that platform events normally reach.
class TestApplication : public QuorvelApplication
{
public:
    using QuorvelApplication::onApplicationStateChanged;
    using QuorvelApplication::QuorvelApplication;
};

// A window whose flush() needs its own members, like the main window's, which are gone once
// its destructor has run.
class FlushingWindow : public QWidget
{
public:
    FlushingWindow()
        : m_saved(std::make_unique<QStringList>())
    {}
    ~FlushingWindow() override { m_saved.reset(); }

    void flush() { m_saved->append(QStringLiteral("saved")); }
    int flushes() const { return int(m_saved->size()); }

private:
    std::unique_ptr<QStringList> m_saved;
};

QuorvelApplication *app()
{
    return QuorvelApplication::instance();
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString &path, const QByteArray &contents)
{
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly | QIODevice::Truncate), qPrintable(path));
    QCOMPARE(file.write(contents), contents.size());
}

// Another program replacing the file as careful editors do: a temporary file, then a rename.
void replaceFile(const QString &path, const QByteArray &contents)
{
    QSaveFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(contents), contents.size());
    QVERIFY(file.commit());
}

// Runs the application's main loop until something ends it, or fails after five seconds.
int runMainLoop(bool *timedOut)
{
    *timedOut = false;
    QTimer safety;
    safety.setSingleShot(true);
    QObject::connect(&safety, &QTimer::timeout, [timedOut] {
        *timedOut = true;
        QCoreApplication::exit(99);
    });
    safety.start(5000);
    return QuorvelApplication::exec();
}

QStringList awkwardArguments()
{
    return {QStringLiteral("--open"),
            QStringLiteral("/home/ann/Quorvel Reports/Wochenbericht März – Zoë.qvreport"),
            QStringLiteral(""), QStringLiteral("日本語 ✓"), QStringLiteral("line\nbreak")};
}

// Child process modes, so the lock and the socket are exercised across processes.
//   --send FOLDER ARGS...: start a second instance that hands ARGS over; exit 3 when
//                          start() said another instance runs, 0 when it took the lock.
//   --hold FOLDER:         take the lock, print "holding" and wait to be killed.
int runChild(int argc, char *argv[])
{
    QCoreApplication core(argc, argv);
    QStringList arguments = QCoreApplication::arguments();
    const QString mode = arguments.value(1);
    const QString folder = arguments.value(2);
    arguments = arguments.mid(3);
    SingleInstance instance(folder);
    const bool first = instance.start(arguments);
    if (mode == QLatin1String("--send"))
        return first ? 0 : 3;
    if (!first)
        return 4;
    std::fputs("holding\n", stdout);
    std::fflush(stdout);
    return QCoreApplication::exec();
}

} // namespace

class TestApplicationObject : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void autosaveFlushesOnItsInterval();
    void autosaveCanBeSwitchedOff();

    void terminationSignalFlushesAndQuits_data();
    void terminationSignalFlushesAndQuits();
    void terminationSignalBeforeTheMainLoopEndsItAtOnce();
    void terminationSignalEndsADialogBeforeTheMainLoop();
    void terminationSignalWritesTheWindowsChange_data();
    void terminationSignalWritesTheWindowsChange();

    void leavingTheActiveStateFlushes_data();
    void leavingTheActiveStateFlushes();
    void hidingTheLastWindowFlushes();
    void minimisingTheLastWindowFlushes();
    void destroyingAVisibleWindowDoesNotFlushIntoIt();

    void foreignWriteEmitsReload();
    void foreignReplaceEmitsReload();
    void sameContentsDoNotReload();
    void removedFileDoesNotReloadButItsReturnDoes();
    void fileCreatedAtWatchedPathReloads();
    void ownSaveDoesNotReload_data();
    void ownSaveDoesNotReload();
    void foreignWriteRightAfterOwnSaveReloads_data();
    void foreignWriteRightAfterOwnSaveReloads();

    void messageFramingRoundTrips_data();
    void messageFramingRoundTrips();
    void firstStartTakesTheLock();
    void secondStartHandsArgumentsToTheFirst_data();
    void secondStartHandsArgumentsToTheFirst();
    void secondProcessHandsArgumentsToTheFirst();
    void lockIsFreeAfterTheFirstIsDestroyed();
    void oldLockOfARunningInstanceHolds();
    void lockOfAKilledInstanceIsTakenOver();
    void malformedMessagesAreDropped();

    void bundledIconsWithoutATheme_data();
    void bundledIconsWithoutATheme();
    void unknownIconIsNull();
    void ownIconByIdThenOldName();

private:
    QString freshFolder();

    std::unique_ptr<QTemporaryDir> m_folders;
    int m_folderCount = 0;
};

void TestApplicationObject::initTestCase()
{
    QVERIFY(app());
    QCOMPARE(app()->autosaveInterval(), QuorvelApplication::DefaultAutosaveInterval);
    app()->installSignalHandlers();
    app()->installSignalHandlers(); // a second call changes nothing
    // Each test that wants the timer turns it on; no stray flush disturbs the others.
    app()->setAutosaveInterval(0);
    m_folders = std::make_unique<QTemporaryDir>(TestEnvironment::instance()->dataHome()
                                                + QStringLiteral("/folders-XXXXXX"));
    QVERIFY(m_folders->isValid());
}

void TestApplicationObject::cleanup()
{
    app()->setAutosaveInterval(0);
    app()->watchDataFile(QString());
}

QString TestApplicationObject::freshFolder()
{
    const QString folder = m_folders->filePath(QStringLiteral("f%1").arg(++m_folderCount));
    QDir().mkpath(folder);
    return folder;
}

void TestApplicationObject::autosaveFlushesOnItsInterval()
{
    QSignalSpy flushes(app(), &QuorvelApplication::flush);
    QElapsedTimer elapsed;
    elapsed.start();
    app()->setAutosaveInterval(50);
    QCOMPARE(app()->autosaveInterval(), 50);
    QTRY_VERIFY_WITH_TIMEOUT(flushes.count() >= 3, 5000);
    // Three ticks of a 50 ms timer cannot come sooner than 150 ms (a little slack for timer
    // coalescing).
    QVERIFY2(elapsed.elapsed() >= 140, qPrintable(QString::number(elapsed.elapsed())));
}

void TestApplicationObject::autosaveCanBeSwitchedOff()
{
    app()->setAutosaveInterval(30);
    QSignalSpy flushes(app(), &QuorvelApplication::flush);
    QTRY_VERIFY(flushes.count() >= 1);
    app()->setAutosaveInterval(0);
    QCOMPARE(app()->autosaveInterval(), 0);
    flushes.clear();
    QTest::qWait(300);
    QCOMPARE(flushes.count(), 0);
}

void TestApplicationObject::terminationSignalFlushesAndQuits_data()
{
    QTest::addColumn<int>("signalNumber");
    QTest::newRow("SIGTERM") << int(SIGTERM);
    QTest::newRow("SIGINT") << int(SIGINT);
    QTest::newRow("SIGHUP") << int(SIGHUP);
}

void TestApplicationObject::terminationSignalFlushesAndQuits()
{
    QFETCH(int, signalNumber);
    QSignalSpy flushes(app(), &QuorvelApplication::flush);
    QSignalSpy quitting(app(), &QCoreApplication::aboutToQuit);
    // The flush must come before the loop ends, so the main window still exists to save.
    bool loopRunningAtFlush = false;
    const QMetaObject::Connection probe
        = connect(app(), &QuorvelApplication::flush, this,
                  [&loopRunningAtFlush] { loopRunningAtFlush = true; });

    QCOMPARE(std::raise(signalNumber), 0);
    bool timedOut = false;
    const int code = runMainLoop(&timedOut);
    disconnect(probe);

    QVERIFY2(!timedOut, "the signal did not end the main loop");
    QCOMPARE(code, 0);
    QCOMPARE(flushes.count(), 1);
    QVERIFY(loopRunningAtFlush);
    QCOMPARE(quitting.count(), 1);
}

void TestApplicationObject::terminationSignalBeforeTheMainLoopEndsItAtOnce()
{
    QSignalSpy flushes(app(), &QuorvelApplication::flush);
    QCOMPARE(std::raise(SIGTERM), 0);
    // Handled by whatever loop runs first, here the test's own event processing.
    QTRY_COMPARE(flushes.count(), 1);

    bool timedOut = false;
    QSignalSpy quitting(app(), &QCoreApplication::aboutToQuit);
    QElapsedTimer elapsed;
    elapsed.start();
    QCOMPARE(runMainLoop(&timedOut), 0);
    QVERIFY(!timedOut);
    QVERIFY(elapsed.elapsed() < 1000);
    QCOMPARE(flushes.count(), 1);
    QCOMPARE(quitting.count(), 1);

    // The request is used up: the next main loop runs until it is ended.
    QTimer::singleShot(100, [] { QCoreApplication::exit(7); });
    QCOMPARE(runMainLoop(&timedOut), 7);
    QVERIFY(!timedOut);
}

void TestApplicationObject::terminationSignalEndsADialogBeforeTheMainLoop()
{
    // Like the first-run dialog, which runs its own loop before the main loop starts.
    QSignalSpy flushes(app(), &QuorvelApplication::flush);
    QEventLoop dialogLoop;
    QTimer::singleShot(5000, &dialogLoop, [&dialogLoop] { dialogLoop.exit(99); });
    QTimer::singleShot(50, [] { std::raise(SIGTERM); });
    QCOMPARE(dialogLoop.exec(), 0);
    QCOMPARE(flushes.count(), 1);

    bool timedOut = false;
    QCOMPARE(runMainLoop(&timedOut), 0);
    QVERIFY(!timedOut);
    QCOMPARE(flushes.count(), 1);
}

void TestApplicationObject::terminationSignalWritesTheWindowsChange_data()
{
    terminationSignalFlushesAndQuits_data();
}

void TestApplicationObject::terminationSignalWritesTheWindowsChange()
{
    QFETCH(int, signalNumber);
    const QString path = QuorvelDocument::dataFilePath();
    Configuration().setMode(Configuration::Personal);
    {
        QuorvelDocument doc;
        doc.createSampleData();
        DocumentBuilder(doc).task(doc.activities.first(), at(20, 8, 0), at(20, 9, 0), 1);
        QVERIFY(doc.save());
    }
    const QByteArray before = readFile(path);

    QByteArray changed;
    {
        QuorvelMainWindow window;
        connect(app(), &QuorvelApplication::flush, &window, &QuorvelMainWindow::flush);
        // Starting a task with its shortcut button is a change the window has not written.
        QToolButton *button = window.mainWidget()->button(1);
        QVERIFY(button->isEnabled());
        button->click();
        QVERIFY(window.document()->activeTasks());
        changed = window.document()->getDocumentBytes();
        QVERIFY(changed != before);
        QCoreApplication::processEvents();
        QCOMPARE(readFile(path), before);

        QSignalSpy flushes(app(), &QuorvelApplication::flush);
        QCOMPARE(std::raise(signalNumber), 0);
        bool timedOut = false;
        QCOMPARE(runMainLoop(&timedOut), 0);
        QVERIFY(!timedOut);
        QCOMPARE(flushes.count(), 1);
        // Written by the signal's flush, while the window still stands.
        QCOMPARE(readFile(path), changed);
    }
    QuorvelDocument check;
    QVERIFY(check.load());
    QCOMPARE(check.tasks.size(), 2);
    QVERIFY(check.tasks.last()->isRunning());
    QCOMPARE(check.tasks.last()->activityName(), check.tasks.first()->activityName());
    QVERIFY(QFile::remove(path));
}

void TestApplicationObject::leavingTheActiveStateFlushes_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<int>("expectedFlushes");
    QTest::newRow("active") << int(Qt::ApplicationActive) << 0;
    QTest::newRow("inactive") << int(Qt::ApplicationInactive) << 1;
    QTest::newRow("hidden") << int(Qt::ApplicationHidden) << 1;
    QTest::newRow("suspended") << int(Qt::ApplicationSuspended) << 1;
}

void TestApplicationObject::leavingTheActiveStateFlushes()
{
    QFETCH(int, state);
    QFETCH(int, expectedFlushes);
    QSignalSpy flushes(app(), &QuorvelApplication::flush);
    static_cast<TestApplication *>(app())->onApplicationStateChanged(Qt::ApplicationState(state));
    QTest::qWait(50);
    QCOMPARE(flushes.count(), expectedFlushes);
}

void TestApplicationObject::hidingTheLastWindowFlushes()
{
    // Windows that never take focus, so the application state stays as it is and only the
    // hiding is seen.
    QWidget first;
    QWidget second;
    for (QWidget *w : {&first, &second}) {
        w->setAttribute(Qt::WA_ShowWithoutActivating);
        w->setWindowFlag(Qt::WindowDoesNotAcceptFocus);
        w->resize(120, 80);
    }
    QSignalSpy flushes(app(), &QuorvelApplication::flush);
    first.show();
    second.show();
    QVERIFY(QTest::qWaitForWindowExposed(&first));
    QVERIFY(QTest::qWaitForWindowExposed(&second));
    QCOMPARE(flushes.count(), 0);

    first.hide();
    QTest::qWait(50);
    QCOMPARE(flushes.count(), 0);

    second.hide();
    QTRY_COMPARE(flushes.count(), 1);

    // Showing a window again arms it for the next time.
    first.show();
    first.close();
    QTRY_COMPARE(flushes.count(), 2);
    QTest::qWait(50);
    QCOMPARE(flushes.count(), 2);
}

void TestApplicationObject::minimisingTheLastWindowFlushes()
{
    QWidget window;
    window.setAttribute(Qt::WA_ShowWithoutActivating);
    window.setWindowFlag(Qt::WindowDoesNotAcceptFocus);
    window.resize(120, 80);
    QSignalSpy flushes(app(), &QuorvelApplication::flush);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QCOMPARE(flushes.count(), 0);
    window.setWindowState(Qt::WindowMinimized);
    QTRY_COMPARE(flushes.count(), 1);
}

void TestApplicationObject::destroyingAVisibleWindowDoesNotFlushIntoIt()
{
    // After a termination signal the main loop ends with the main window still shown; its
    // destruction hides it, and that must not call its flush() half-way through.
    QSignalSpy flushes(app(), &QuorvelApplication::flush);
    auto *window = new FlushingWindow;
    window->setAttribute(Qt::WA_ShowWithoutActivating);
    window->setWindowFlag(Qt::WindowDoesNotAcceptFocus);
    connect(app(), &QuorvelApplication::flush, window, &FlushingWindow::flush);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    QCOMPARE(window->flushes(), 0);
    delete window;
    QTest::qWait(50);
    // The flush still happens, only not into the destroyed window.
    QCOMPARE(flushes.count(), 1);
}

void TestApplicationObject::foreignWriteEmitsReload()
{
    const QString path = freshFolder() + QStringLiteral("/data.dat");
    writeFile(path, "first\n");
    app()->watchDataFile(path);
    QSignalSpy reloads(app(), &QuorvelApplication::reload);

    writeFile(path, "second\n");
    QTRY_COMPARE_WITH_TIMEOUT(reloads.count(), 1, 5000);
    // One change, one reload.
    QTest::qWait(500);
    QCOMPARE(reloads.count(), 1);

    // The watch survives and sees the next write too.
    writeFile(path, "third\n");
    QTRY_COMPARE_WITH_TIMEOUT(reloads.count(), 2, 5000);
}

void TestApplicationObject::foreignReplaceEmitsReload()
{
    const QString path = freshFolder() + QStringLiteral("/data.dat");
    writeFile(path, "first\n");
    app()->watchDataFile(path);
    QSignalSpy reloads(app(), &QuorvelApplication::reload);

    replaceFile(path, "second\n");
    QTRY_COMPARE_WITH_TIMEOUT(reloads.count(), 1, 5000);
    // The replace dropped the old file's watch; the new file is watched again.
    replaceFile(path, "third\n");
    QTRY_COMPARE_WITH_TIMEOUT(reloads.count(), 2, 5000);
    writeFile(path, "fourth\n");
    QTRY_COMPARE_WITH_TIMEOUT(reloads.count(), 3, 5000);
}

void TestApplicationObject::sameContentsDoNotReload()
{
    const QString path = freshFolder() + QStringLiteral("/data.dat");
    writeFile(path, "same\n");
    app()->watchDataFile(path);
    QSignalSpy reloads(app(), &QuorvelApplication::reload);

    writeFile(path, "same\n");
    replaceFile(path, "same\n");
    writeFile(path + QStringLiteral(".other"), "a neighbour changes\n");
    QTest::qWait(1000);
    QCOMPARE(reloads.count(), 0);
}

void TestApplicationObject::removedFileDoesNotReloadButItsReturnDoes()
{
    const QString path = freshFolder() + QStringLiteral("/data.dat");
    writeFile(path, "first\n");
    app()->watchDataFile(path);
    QSignalSpy reloads(app(), &QuorvelApplication::reload);

    QVERIFY(QFile::remove(path));
    QTest::qWait(800);
    QCOMPARE(reloads.count(), 0);

    writeFile(path, "back with news\n");
    QTRY_COMPARE_WITH_TIMEOUT(reloads.count(), 1, 5000);
}

void TestApplicationObject::fileCreatedAtWatchedPathReloads()
{
    const QString path = freshFolder() + QStringLiteral("/data.dat");
    app()->watchDataFile(path);
    QSignalSpy reloads(app(), &QuorvelApplication::reload);
    replaceFile(path, "new\n");
    QTRY_COMPARE_WITH_TIMEOUT(reloads.count(), 1, 5000);
}

void TestApplicationObject::ownSaveDoesNotReload_data()
{
    QTest::addColumn<bool>("announceFinish");
    QTest::newRow("with ownWriteFinished") << true;
    QTest::newRow("expectOwnWrite only") << false;
}

void TestApplicationObject::ownSaveDoesNotReload()
{
    QFETCH(bool, announceFinish);
    TestEnvironment::wipe();
    QuorvelDocument document;
    document.createSampleData();
    QVERIFY(document.save());
    app()->watchDataFile(QuorvelDocument::dataFilePath());
    QSignalSpy reloads(app(), &QuorvelApplication::reload);

    for (int round = 0; round < 3; ++round) {
        document.nextId += 10; // different contents on every save
        app()->expectOwnWrite();
        QVERIFY(document.save());
        if (announceFinish)
            app()->ownWriteFinished();
        QTest::qWait(round == 0 ? 1500 : 400);
        QCOMPARE(reloads.count(), 0);
    }

    // The same watch still reports a write by somebody else.
    writeFile(QuorvelDocument::dataFilePath(), "--start--\n105\n1\n0\n0\n0\n0\n--end--\n");
    QTRY_COMPARE_WITH_TIMEOUT(reloads.count(), 1, 5000);
}

void TestApplicationObject::foreignWriteRightAfterOwnSaveReloads_data()
{
    QTest::addColumn<bool>("replace");
    QTest::newRow("written in place") << false;
    QTest::newRow("replaced") << true;
}

void TestApplicationObject::foreignWriteRightAfterOwnSaveReloads()
{
    QFETCH(bool, replace);
    TestEnvironment::wipe();
    QuorvelDocument document;
    document.createSampleData();
    QVERIFY(document.save());
    const QString path = QuorvelDocument::dataFilePath();
    app()->watchDataFile(path);
    QSignalSpy reloads(app(), &QuorvelApplication::reload);

    document.nextId += 1;
    app()->expectOwnWrite();
    QVERIFY(document.save());
    app()->ownWriteFinished();
    const QByteArray foreign = "--start--\n105\n2000\n0\n0\n0\n0\n--end--\n";
    if (replace)
        replaceFile(path, foreign);
    else
        writeFile(path, foreign);
    QTRY_COMPARE_WITH_TIMEOUT(reloads.count(), 1, 5000);
    QTest::qWait(300);
    QCOMPARE(reloads.count(), 1);
}

void TestApplicationObject::messageFramingRoundTrips_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("none") << QStringList();
    QTest::newRow("one empty") << QStringList{QString()};
    QTest::newRow("two empty") << QStringList{QString(), QString()};
    QTest::newRow("awkward") << awkwardArguments();
}

void TestApplicationObject::messageFramingRoundTrips()
{
    QFETCH(QStringList, arguments);
    const QByteArray message = SingleInstance::encodeMessage(arguments);
    QVERIFY(message.size() >= 4);
    const quint32 length = (quint32(quint8(message[0])) << 24) | (quint32(quint8(message[1])) << 16)
                           | (quint32(quint8(message[2])) << 8) | quint32(quint8(message[3]));
    QCOMPARE(qsizetype(length), message.size() - 4);
    QCOMPARE(SingleInstance::decodePayload(message.mid(4)), arguments);
}

void TestApplicationObject::firstStartTakesTheLock()
{
    const QString folder = freshFolder() + QStringLiteral("/not yet there");
    SingleInstance instance(folder);
    QCOMPARE(instance.lockFilePath(), folder + QStringLiteral("/quorvel.lock"));
    QVERIFY(instance.start({}));
    QVERIFY(QFile::exists(folder + QStringLiteral("/quorvel.lock")));
    // Starting again changes nothing.
    QVERIFY(instance.start({}));

    // Another folder is another user's world: its own lock and its own socket.
    SingleInstance elsewhere(freshFolder());
    QVERIFY(elsewhere.serverName() != instance.serverName());
    QVERIFY(elsewhere.start({}));
}

void TestApplicationObject::secondStartHandsArgumentsToTheFirst_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("none") << QStringList();
    QTest::newRow("report with spaces and accents") << awkwardArguments();
}

void TestApplicationObject::secondStartHandsArgumentsToTheFirst()
{
    QFETCH(QStringList, arguments);
    const QString folder = freshFolder();
    SingleInstance first(folder);
    QVERIFY(first.start({QStringLiteral("ignored")}));
    QSignalSpy received(&first, &SingleInstance::messageReceived);

    SingleInstance second(folder);
    QCOMPARE(second.serverName(), first.serverName());
    QVERIFY(!second.start(arguments));

    QTRY_COMPARE_WITH_TIMEOUT(received.count(), 1, 5000);
    QCOMPARE(received.at(0).at(0).toStringList(), arguments);
    QTest::qWait(100);
    QCOMPARE(received.count(), 1);
}

void TestApplicationObject::secondProcessHandsArgumentsToTheFirst()
{
    const QString folder = freshFolder();
    SingleInstance first(folder);
    QVERIFY(first.start({}));
    QSignalSpy received(&first, &SingleInstance::messageReceived);

    QProcess child;
    QSignalSpy finished(&child, &QProcess::finished);
    child.start(QCoreApplication::applicationFilePath(),
                QStringList{QStringLiteral("--send"), folder} + awkwardArguments());
    // The event loop must run meanwhile: the first instance serves the child.
    QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 10000);
    QCOMPARE(child.exitStatus(), QProcess::NormalExit);
    QCOMPARE(child.exitCode(), 3);
    QTRY_COMPARE_WITH_TIMEOUT(received.count(), 1, 5000);
    QCOMPARE(received.at(0).at(0).toStringList(), awkwardArguments());
}

void TestApplicationObject::lockIsFreeAfterTheFirstIsDestroyed()
{
    const QString folder = freshFolder();
    auto first = std::make_unique<SingleInstance>(folder);
    QVERIFY(first->start({}));
    first.reset();
    QVERIFY(!QFile::exists(folder + QStringLiteral("/quorvel.lock")));

    SingleInstance next(folder);
    QVERIFY(next.start({}));
    QSignalSpy received(&next, &SingleInstance::messageReceived);

    // And the new one is reachable.
    SingleInstance later(folder);
    QVERIFY(!later.start({QStringLiteral("again")}));
    QTRY_COMPARE_WITH_TIMEOUT(received.count(), 1, 5000);
    QCOMPARE(received.at(0).at(0).toStringList(), QStringList{QStringLiteral("again")});
}

void TestApplicationObject::oldLockOfARunningInstanceHolds()
{
    // A session runs for hours; its lock file's age must not make it look abandoned.
    const QString folder = freshFolder();
    SingleInstance first(folder);
    QVERIFY(first.start({}));
    QFile lock(first.lockFilePath());
    QVERIFY(lock.open(QIODevice::ReadWrite));
    QVERIFY(lock.setFileTime(QDateTime::currentDateTimeUtc().addSecs(-6 * 3600),
                             QFileDevice::FileModificationTime));
    lock.close();

    SingleInstance second(folder);
    QVERIFY(!second.start({}));
    QVERIFY(QFile::exists(first.lockFilePath()));
}

void TestApplicationObject::lockOfAKilledInstanceIsTakenOver()
{
    const QString folder = freshFolder();
    QProcess holder;
    holder.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--hold"), folder});
    QVERIFY(holder.waitForStarted(5000));
    QByteArray output;
    QTRY_VERIFY_WITH_TIMEOUT((output += holder.readAllStandardOutput()).contains("holding"), 10000);
    QVERIFY(QFile::exists(folder + QStringLiteral("/quorvel.lock")));

    holder.kill();
    QVERIFY(holder.waitForFinished(5000));
    // A crash leaves the lock file and the socket behind.
    QVERIFY(QFile::exists(folder + QStringLiteral("/quorvel.lock")));

    SingleInstance successor(folder);
    QVERIFY(successor.start({}));
    QSignalSpy received(&successor, &SingleInstance::messageReceived);
    SingleInstance second(folder);
    QVERIFY(!second.start({QStringLiteral("hello")}));
    QTRY_COMPARE_WITH_TIMEOUT(received.count(), 1, 5000);
}

void TestApplicationObject::malformedMessagesAreDropped()
{
    const QString folder = freshFolder();
    SingleInstance first(folder);
    QVERIFY(first.start({}));
    QSignalSpy received(&first, &SingleInstance::messageReceived);

    // Announces far more than the limit: dropped at once.
    QLocalSocket huge;
    huge.connectToServer(first.serverName());
    QVERIFY(huge.waitForConnected(2000));
    huge.write(QByteArray("\x7f\xff\xff\xff", 4) + QByteArray(100, 'x'));
    QVERIFY(huge.waitForBytesWritten(2000));
    QTRY_COMPARE_WITH_TIMEOUT(huge.state(), QLocalSocket::UnconnectedState, 5000);

    // Sends more bytes than it announced.
    QLocalSocket overlong;
    overlong.connectToServer(first.serverName());
    QVERIFY(overlong.waitForConnected(2000));
    overlong.write(QByteArray("\0\0\0\2", 4) + QByteArray("ab\0cd\0", 6));
    QVERIFY(overlong.waitForBytesWritten(2000));
    QTRY_COMPARE_WITH_TIMEOUT(overlong.state(), QLocalSocket::UnconnectedState, 5000);

    // Gives up halfway through.
    QLocalSocket partial;
    partial.connectToServer(first.serverName());
    QVERIFY(partial.waitForConnected(2000));
    partial.write(QByteArray("\0\0\0\x10", 4) + QByteArray("half", 4));
    QVERIFY(partial.waitForBytesWritten(2000));
    partial.disconnectFromServer();
    QTest::qWait(300);
    QCOMPARE(received.count(), 0);

    // A proper message still gets through.
    SingleInstance second(folder);
    QVERIFY(!second.start({QStringLiteral("fine")}));
    QTRY_COMPARE_WITH_TIMEOUT(received.count(), 1, 5000);
    QCOMPARE(received.at(0).at(0).toStringList(), QStringList{QStringLiteral("fine")});
}

void TestApplicationObject::bundledIconsWithoutATheme_data()
{
    QTest::addColumn<QString>("name");
    for (const char *name : {"new", "edit", "trash", "editdelete", "repeat", "quorvel"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void TestApplicationObject::bundledIconsWithoutATheme()
{
    QFETCH(QString, name);
    QIcon::setThemeSearchPaths({});
    QIcon::setThemeName(QStringLiteral("quorvel-no-such-theme"));

    const QIcon icon = Resource::loadIcon(name);
    QVERIFY(!icon.isNull());
    const QPixmap pixmap = icon.pixmap(22, 22);
    QVERIFY(!pixmap.isNull());
    QCOMPARE(pixmap.deviceIndependentSize().toSize(), QSize(22, 22));

    // A real picture, not an empty square: some pixels drawn, most of the corners clear.
    const QImage image = pixmap.toImage().convertToFormat(QImage::Format_ARGB32);
    int drawn = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(image.pixel(x, y)) > 128)
                ++drawn;
        }
    }
    QVERIFY2(drawn > 30, qPrintable(QString::number(drawn)));
    QVERIFY2(drawn < image.width() * image.height() * 9 / 10, qPrintable(QString::number(drawn)));
}

void TestApplicationObject::unknownIconIsNull()
{
    QVERIFY(Resource::loadIcon(QStringLiteral("no-such-icon")).isNull());
}

void TestApplicationObject::ownIconByIdThenOldName()
{
    // Two themes: one as an older installation left it, with the icon under its old name
    // only, and one with both names.
    QTemporaryDir themes;
    QVERIFY(themes.isValid());
    const auto makeTheme = [&themes](const QString &theme, const QStringList &icons) {
        const QString folder = themes.filePath(theme + QStringLiteral("/scalable/apps"));
        QVERIFY(QDir().mkpath(folder));
        QFile index(themes.filePath(theme + QStringLiteral("/index.theme")));
        QVERIFY(index.open(QIODevice::WriteOnly));
        index.write("[Icon Theme]\nName=Test\nDirectories=scalable/apps\n\n"
                    "[scalable/apps]\nSize=48\nMinSize=8\nMaxSize=512\nType=Scalable\n");
        index.close();
        for (const QString &icon : icons)
            QVERIFY(QFile::copy(QStringLiteral(":/icons/org.quorvel.Quorvel.svg"),
                                folder + QLatin1Char('/') + icon + QStringLiteral(".svg")));
    };
    // The bundled copy is there once Resource has loaded any icon.
    QVERIFY(!Resource::loadIcon(QStringLiteral("new")).isNull());
    makeTheme(QStringLiteral("old-only"), {QStringLiteral("quorvel")});
    makeTheme(QStringLiteral("both"),
              {QStringLiteral("quorvel"), QStringLiteral("org.quorvel.Quorvel")});
    QIcon::setThemeSearchPaths({themes.path()});

    QIcon::setThemeName(QStringLiteral("old-only"));
    QCOMPARE(Resource::loadIcon(QStringLiteral("quorvel")).name(), QStringLiteral("quorvel"));
    QIcon::setThemeName(QStringLiteral("both"));
    QCOMPARE(Resource::loadIcon(QStringLiteral("quorvel")).name(),
             QStringLiteral("org.quorvel.Quorvel"));
    QIcon::setThemeName(QStringLiteral("quorvel-no-such-theme"));
    const QIcon bundled = Resource::loadIcon(QStringLiteral("quorvel"));
    QCOMPARE(bundled.name(), QString());
    QVERIFY(!bundled.pixmap(22, 22).isNull());
}

int main(int argc, char *argv[])
{
    if (argc >= 3 && (qstrcmp(argv[1], "--send") == 0 || qstrcmp(argv[1], "--hold") == 0))
        return runChild(argc, argv);

    TestEnvironment environment;
    TestApplication application(argc, argv);
    MessageBox::setTesting(true);
    TestApplicationObject tc;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&tc, argc, argv);
}

#include "tst_application.moc"
