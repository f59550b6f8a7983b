// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The idle time sources against real services that the test runs itself: GNOME's idle monitor
// and the freedesktop screen saver as fakes on a private session bus (on a thread of their
// own, since find() waits for their answers), Xvfb with pointer motion through XTest, and a
// small Wayland compositor with the idle notifier. Which source find() picks in which session,
// and when each says that the person went idle and came back.

#include "PrivateBus.h"
#include "TestEnvironment.h"
#include "idle/FakeCompositor.h"
#include "idle/VirtualDisplay.h"

#include "platform/idle/IdleSource.h"
#include "platform/idle/PollingIdleSource.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QLocalServer>
#include <QSignalSpy>
#include <QThread>
#include <QtTest>

#include <atomic>

namespace {

const QString MutterService = QStringLiteral("org.gnome.Mutter.IdleMonitor");
const QString MutterPath = QStringLiteral("/org/gnome/Mutter/IdleMonitor/Core");
const QString ScreenSaverService = QStringLiteral("org.freedesktop.ScreenSaver");
const QString ScreenSaverPath = QStringLiteral("/org/freedesktop/ScreenSaver");
const QString OldScreenSaverPath = QStringLiteral("/ScreenSaver");

const QString MutterName = QStringLiteral("GNOME's idle monitor");
const QString ScreenSaverName = QStringLiteral("the freedesktop screen saver");
const QString X11Name = QStringLiteral("the X11 screen saver extension");
const QString WaylandName = QStringLiteral("the Wayland idle notification");

const QString NoneReason = QStringLiteral(
    "This desktop session does not tell programs how long you have been away from the "
    "computer: it offers none of the Wayland idle notification, GNOME's idle monitor, the "
    "freedesktop screen saver and the X11 screen saver extension.");

// What both fake services share: the idle time the test sets, and how often they were asked.
class FakeIdleService : public QObject
{
public:
    std::atomic<qint64> idleMs{0};
    std::atomic<int> asked{0};
};

// Tells the idle time in milliseconds, as GNOME's idle monitor does; or, when silent, never
// answers.
class FakeMutter : public FakeIdleService, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.gnome.Mutter.IdleMonitor")

public:
    std::atomic<bool> silent{false};

public Q_SLOTS:
    qulonglong GetIdletime()
    {
        ++asked;
        if (silent)
            setDelayedReply(true);
        return qulonglong(idleMs);
    }
};

// Tells the idle time in whole seconds, as a freedesktop screen saver does; or, like many
// desktops, answers that it does not.
class FakeScreenSaver : public FakeIdleService, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.ScreenSaver")

public:
    std::atomic<bool> supported{true};

public Q_SLOTS:
    uint GetSessionIdleTime()
    {
        ++asked;
        if (!supported)
            sendErrorReply(QDBusError::NotSupported, QStringLiteral("Not supported here"));
        return uint(idleMs / 1000);
    }
};

// Waits until the fake has been asked `more` more times, so that readings have happened.
template<typename Fake>
bool waitForQuestions(const Fake &fake, int more)
{
    const int target = fake.asked + more;
    return QTest::qWaitFor([&fake, target] { return fake.asked >= target; }, 5000);
}

} // namespace

class TestIdleSources : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void nothingAnswers();
    void goesIdleOnceAndComesBack_data();
    void goesIdleOnceAndComesBack();
    void newThresholdStartsOver();
    void screenSaverOnItsOldPath();
    void mutterBeforeScreenSaver();
    void silentServiceIsPassedOver();
    void x11SeesIdleTimeAndInput();
    void x11FirstWithoutWayland();
    void x11LastUnderWayland();
    void x11ServerGoingAwayEndsReadingsOnly();
    void waylandNotificationFollowsThreshold();
    void silentCompositorIsPassedOver();
    void compositorGoingAwayEndsNotificationsOnly();

private:
    struct Offered
    {
        QString connection;
        QString service;
        QString path;
    };

    // Puts a fake on the bus under service at paths, on a connection of its own.
    bool offer(QObject *fake, const QString &service, const QStringList &paths);
    // Takes the fakes off the bus, once the questions already on their way have arrived.
    void withdrawAll();
    IdleSource *find(QString *reason = nullptr);
    // The source's readings, every 50 ms instead of every 2 s.
    static bool pollQuickly(IdleSource *source);

    PrivateBus m_bus;
    VirtualDisplay m_x;
    QThread m_serviceThread;
    FakeMutter *m_mutter = nullptr;
    FakeScreenSaver *m_screenSaver = nullptr;
    QList<Offered> m_offered;
    QObject *m_owner = nullptr;
    QByteArray m_display;
    QByteArray m_waylandDisplay;
};

void TestIdleSources::initTestCase()
{
    QVERIFY2(m_bus.start(), qPrintable(m_bus.error()));
    QVERIFY2(m_x.start(), qPrintable(m_x.error()));
    m_display = qgetenv("DISPLAY");
    m_waylandDisplay = qgetenv("WAYLAND_DISPLAY");
    // The fakes answer on their own thread while find() waits on this one.
    m_mutter = new FakeMutter;
    m_screenSaver = new FakeScreenSaver;
    m_mutter->moveToThread(&m_serviceThread);
    m_screenSaver->moveToThread(&m_serviceThread);
    m_serviceThread.start();
}

void TestIdleSources::init()
{
    qunsetenv("DISPLAY");
    qunsetenv("WAYLAND_DISPLAY");
    m_mutter->idleMs = 0;
    m_mutter->asked = 0;
    m_mutter->silent = false;
    m_screenSaver->idleMs = 0;
    m_screenSaver->asked = 0;
    m_screenSaver->supported = true;
    m_owner = new QObject(this);
}

void TestIdleSources::cleanup()
{
    delete m_owner;
    m_owner = nullptr;
    withdrawAll();
}

void TestIdleSources::withdrawAll()
{
    // A question from this connection that a source sent just before it ended reaches the fake
    // before this one does, so the next test's counts start from nothing.
    m_mutter->silent = false;
    for (const Offered &offered : std::as_const(m_offered)) {
        const bool mutter = offered.service == MutterService;
        QDBusConnection::sessionBus().call(
            QDBusMessage::createMethodCall(offered.service, offered.path, offered.service,
                                           mutter ? QStringLiteral("GetIdletime")
                                                  : QStringLiteral("GetSessionIdleTime")),
            QDBus::Block, 5000);
        QDBusConnection connection(offered.connection);
        connection.unregisterService(offered.service);
        QDBusConnection::disconnectFromBus(offered.connection);
    }
    m_offered.clear();
}

void TestIdleSources::cleanupTestCase()
{
    m_serviceThread.quit();
    m_serviceThread.wait();
    delete m_mutter;
    delete m_screenSaver;
    m_x.stop();
    for (const auto &[variable, value] :
         {std::pair{"DISPLAY", m_display}, std::pair{"WAYLAND_DISPLAY", m_waylandDisplay}}) {
        if (value.isNull())
            qunsetenv(variable);
        else
            qputenv(variable, value);
    }
}

bool TestIdleSources::offer(QObject *fake, const QString &service, const QStringList &paths)
{
    const QString name = QStringLiteral("fake%1").arg(m_offered.size());
    QDBusConnection connection = QDBusConnection::connectToBus(m_bus.address(), name);
    m_offered.append({name, service, paths.value(0)});
    for (const QString &path : paths) {
        if (!connection.registerObject(path, fake, QDBusConnection::ExportAllSlots))
            return false;
    }
    return connection.registerService(service);
}

IdleSource *TestIdleSources::find(QString *reason)
{
    return IdleSource::find(m_owner, QDBusConnection::sessionBus(), reason);
}

bool TestIdleSources::pollQuickly(IdleSource *source)
{
    auto *polling = qobject_cast<PollingIdleSource *>(source);
    if (!polling || polling->pollInterval() != 2000)
        return false;
    polling->setPollInterval(50);
    return polling->pollInterval() == 50;
}

void TestIdleSources::nothingAnswers()
{
    QString reason = QStringLiteral("old");
    QCOMPARE(find(&reason), nullptr);
    QCOMPARE(reason, NoneReason);

    // A Wayland socket that is not there, and a screen saver that says it cannot tell, at
    // both of its paths.
    qputenv("WAYLAND_DISPLAY", "quorvel-no-such-compositor");
    m_screenSaver->supported = false;
    QVERIFY(offer(m_screenSaver, ScreenSaverService, {ScreenSaverPath, OldScreenSaverPath}));
    reason.clear();
    QCOMPARE(find(&reason), nullptr);
    QCOMPARE(reason, NoneReason);
    QCOMPARE(m_screenSaver->asked, 2);
}

void TestIdleSources::goesIdleOnceAndComesBack_data()
{
    QTest::addColumn<bool>("mutter");
    QTest::addColumn<QString>("name");
    // What the source reads when the fake has been idle for 4.5 seconds.
    QTest::addColumn<qint64>("fourAndAHalf");
    QTest::newRow("GNOME's idle monitor") << true << MutterName << qint64(4500);
    QTest::newRow("freedesktop screen saver") << false << ScreenSaverName << qint64(4000);
}

void TestIdleSources::goesIdleOnceAndComesBack()
{
    QFETCH(bool, mutter);
    QFETCH(QString, name);
    QFETCH(qint64, fourAndAHalf);
    FakeIdleService *fake = mutter ? static_cast<FakeIdleService *>(m_mutter) : m_screenSaver;
    QVERIFY(mutter ? offer(m_mutter, MutterService, {MutterPath})
                   : offer(m_screenSaver, ScreenSaverService, {ScreenSaverPath}));
    QString reason = QStringLiteral("old");
    IdleSource *source = find(&reason);
    QVERIFY(source);
    QCOMPARE(source->name(), name);
    QCOMPARE(source->parent(), m_owner);
    QCOMPARE(reason, QString());
    QVERIFY(pollQuickly(source));
    QSignalSpy went(source, &IdleSource::wentIdle);
    QSignalSpy back(source, &IdleSource::cameBack);

    // Not yet idle long enough.
    fake->idleMs = 2999;
    source->watch(3000);
    QVERIFY(waitForQuestions(*fake, 3));
    QCOMPARE(went.size(), 0);

    // Exactly the threshold.
    fake->idleMs = 3000;
    QTRY_COMPARE(went.size(), 1);
    QCOMPARE(went.at(0).at(0).toLongLong(), 3000);

    // Once only, however long it lasts.
    fake->idleMs = 60000;
    QVERIFY(waitForQuestions(*fake, 3));
    QCOMPARE(went.size(), 1);
    QCOMPARE(back.size(), 0);

    // Input: the idle time drops.
    fake->idleMs = 40;
    QTRY_COMPARE(back.size(), 1);
    QVERIFY(waitForQuestions(*fake, 3));
    QCOMPARE(back.size(), 1);
    QCOMPARE(went.size(), 1);

    // And again.
    fake->idleMs = 4500;
    QTRY_COMPARE(went.size(), 2);
    QCOMPARE(went.at(1).at(0).toLongLong(), fourAndAHalf);

    // A threshold of 0 ends the questions.
    source->watch(0);
    QTest::qWait(100);
    const int asked = fake->asked;
    QTest::qWait(300);
    QCOMPARE(fake->asked, asked);
    fake->idleMs = 10;
    QTest::qWait(200);
    QCOMPARE(back.size(), 1);
}

void TestIdleSources::newThresholdStartsOver()
{
    QVERIFY(offer(m_mutter, MutterService, {MutterPath}));
    IdleSource *source = find();
    QVERIFY(source);
    QVERIFY(pollQuickly(source));
    QSignalSpy went(source, &IdleSource::wentIdle);
    QSignalSpy back(source, &IdleSource::cameBack);

    m_mutter->idleMs = 5000;
    source->watch(5000);
    QTRY_COMPARE(went.size(), 1);

    // Still idle, but now under the threshold: no wentIdle until it is reached.
    source->watch(8000);
    m_mutter->idleMs = 7000;
    QVERIFY(waitForQuestions(*m_mutter, 3));
    QCOMPARE(went.size(), 1);
    m_mutter->idleMs = 8000;
    QTRY_COMPARE(went.size(), 2);
    QCOMPARE(went.at(1).at(0).toLongLong(), 8000);

    // The same threshold again changes nothing.
    source->watch(8000);
    m_mutter->idleMs = 9000;
    QVERIFY(waitForQuestions(*m_mutter, 3));
    QCOMPARE(went.size(), 2);
    QCOMPARE(back.size(), 0);
    m_mutter->idleMs = 0;
    QTRY_COMPARE(back.size(), 1);
}

void TestIdleSources::screenSaverOnItsOldPath()
{
    QVERIFY(offer(m_screenSaver, ScreenSaverService, {OldScreenSaverPath}));
    IdleSource *source = find();
    QVERIFY(source);
    QCOMPARE(source->name(), ScreenSaverName);
    QVERIFY(pollQuickly(source));
    QSignalSpy went(source, &IdleSource::wentIdle);
    m_screenSaver->idleMs = 2000;
    source->watch(2000);
    QTRY_COMPARE(went.size(), 1);
    QCOMPARE(went.at(0).at(0).toLongLong(), 2000);
}

void TestIdleSources::mutterBeforeScreenSaver()
{
    QVERIFY(offer(m_screenSaver, ScreenSaverService, {ScreenSaverPath}));
    QVERIFY(offer(m_mutter, MutterService, {MutterPath}));
    IdleSource *source = find();
    QVERIFY(source);
    QCOMPARE(source->name(), MutterName);
    QCOMPARE(m_screenSaver->asked, 0);

    // A screen saver that cannot tell leaves GNOME's monitor in charge too.
    delete source;
    m_screenSaver->supported = false;
    source = find();
    QVERIFY(source);
    QCOMPARE(source->name(), MutterName);
}

void TestIdleSources::silentServiceIsPassedOver()
{
    m_mutter->silent = true;
    QVERIFY(offer(m_mutter, MutterService, {MutterPath}));
    QVERIFY(offer(m_screenSaver, ScreenSaverService, {ScreenSaverPath}));
    QElapsedTimer waited;
    waited.start();
    IdleSource *source = find();
    // Half a second for the silent one, and some room for a busy machine; the bus's own
    // limit would be 25 seconds.
    QCOMPARE_LT(waited.elapsed(), 3000);
    QVERIFY(source);
    QCOMPARE(source->name(), ScreenSaverName);
    QCOMPARE(m_mutter->asked, 1);
}

void TestIdleSources::x11SeesIdleTimeAndInput()
{
    qputenv("DISPLAY", m_x.name().toLatin1());
    IdleSource *source = find();
    QVERIFY(source);
    QCOMPARE(source->name(), X11Name);
    QVERIFY(pollQuickly(source));
    QSignalSpy went(source, &IdleSource::wentIdle);
    QSignalSpy back(source, &IdleSource::cameBack);

    // Moving the pointer keeps the person present.
    QVERIFY(m_x.movePointer());
    source->watch(700);
    for (int i = 0; i < 15; ++i) {
        QVERIFY(m_x.movePointer());
        QTest::qWait(100);
    }
    QCOMPARE(went.size(), 0);

    // Still hands: idle.
    QTRY_COMPARE(went.size(), 1);
    QCOMPARE_GE(went.at(0).at(0).toLongLong(), 700);
    QCOMPARE_LT(went.at(0).at(0).toLongLong(), 5000);
    QCOMPARE(back.size(), 0);

    // Input comes back through the server.
    QVERIFY(m_x.movePointer());
    QTRY_COMPARE(back.size(), 1);
    QTRY_COMPARE(went.size(), 2);
}

void TestIdleSources::x11FirstWithoutWayland()
{
    qputenv("DISPLAY", m_x.name().toLatin1());
    QVERIFY(offer(m_mutter, MutterService, {MutterPath}));
    IdleSource *source = find();
    QVERIFY(source);
    QCOMPARE(source->name(), X11Name);
    QCOMPARE(m_mutter->asked, 0);
}

void TestIdleSources::x11LastUnderWayland()
{
    // A compositor without the idle notifier: X11 there would see XWayland's clients only.
    FakeCompositor compositor(false);
    QVERIFY2(compositor.start(), qPrintable(compositor.error()));
    qputenv("WAYLAND_DISPLAY", compositor.socketName().toLocal8Bit());
    qputenv("DISPLAY", m_x.name().toLatin1());
    QVERIFY(offer(m_mutter, MutterService, {MutterPath}));
    IdleSource *source = find();
    QVERIFY(source);
    QCOMPARE(source->name(), MutterName);
    delete source;

    withdrawAll();
    source = find();
    QVERIFY(source);
    QCOMPARE(source->name(), X11Name);
}

void TestIdleSources::x11ServerGoingAwayEndsReadingsOnly()
{
    VirtualDisplay ending;
    QVERIFY2(ending.start(), qPrintable(ending.error()));
    qputenv("DISPLAY", ending.name().toLatin1());
    IdleSource *source = find();
    QVERIFY(source);
    QCOMPARE(source->name(), X11Name);
    QVERIFY(pollQuickly(source));
    QSignalSpy went(source, &IdleSource::wentIdle);
    QSignalSpy back(source, &IdleSource::cameBack);
    source->watch(60000);
    QTest::qWait(200);

    // The test is still here to count: Xlib did not end it.
    ending.stop();
    QTest::qWait(500);
    source->watch(100);
    QTest::qWait(500);
    QCOMPARE(went.size(), 0);
    QCOMPARE(back.size(), 0);
    delete source;
}

void TestIdleSources::waylandNotificationFollowsThreshold()
{
    FakeCompositor compositor;
    QVERIFY2(compositor.start(), qPrintable(compositor.error()));
    qputenv("WAYLAND_DISPLAY", compositor.socketName().toLocal8Bit());
    // Everything else answers too; the compositor's own word comes first.
    qputenv("DISPLAY", m_x.name().toLatin1());
    QVERIFY(offer(m_mutter, MutterService, {MutterPath}));
    IdleSource *source = find();
    QVERIFY(source);
    QCOMPARE(source->name(), WaylandName);
    QCOMPARE(m_mutter->asked, 0);
    QCOMPARE(qobject_cast<PollingIdleSource *>(source), nullptr);
    QSignalSpy went(source, &IdleSource::wentIdle);
    QSignalSpy back(source, &IdleSource::cameBack);

    QCOMPARE(compositor.notificationsMade(), 0);
    source->watch(1500);
    QTRY_COMPARE(compositor.notifications(), QList<quint32>{1500});

    QCOMPARE(compositor.sendIdled(), 1);
    QTRY_COMPARE(went.size(), 1);
    QCOMPARE(went.at(0).at(0).toLongLong(), 1500);
    QCOMPARE(back.size(), 0);
    QCOMPARE(compositor.sendResumed(), 1);
    QTRY_COMPARE(back.size(), 1);
    QCOMPARE(went.size(), 1);

    // A new threshold: the old notification goes, a new one comes.
    source->watch(2500);
    QTRY_COMPARE(compositor.notifications(), QList<quint32>{2500});
    QCOMPARE(compositor.notificationsMade(), 2);
    source->watch(2500);
    QTest::qWait(200);
    QCOMPARE(compositor.notificationsMade(), 2);
    QCOMPARE(compositor.sendIdled(), 1);
    QTRY_COMPARE(went.size(), 2);
    QCOMPARE(went.at(1).at(0).toLongLong(), 2500);

    // Changed while idle: the new notification is not idle, and resumed for the old one
    // cannot come any more.
    source->watch(4000);
    QTRY_COMPARE(compositor.notifications(), QList<quint32>{4000});
    QCOMPARE(compositor.sendIdled(), 1);
    QTRY_COMPARE(went.size(), 3);
    QCOMPARE(went.at(2).at(0).toLongLong(), 4000);
    QCOMPARE(compositor.sendResumed(), 1);
    QTRY_COMPARE(back.size(), 2);

    source->watch(0);
    QTRY_COMPARE(compositor.notifications(), QList<quint32>{});
    QCOMPARE(compositor.notificationsMade(), 3);
    delete source;
}

void TestIdleSources::silentCompositorIsPassedOver()
{
    // Takes the connection and never answers.
    QLocalServer silent;
    const QString socket
        = qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/quorvel-silent-compositor");
    QVERIFY2(silent.listen(socket), qPrintable(silent.errorString()));
    qputenv("WAYLAND_DISPLAY", "quorvel-silent-compositor");
    QVERIFY(offer(m_mutter, MutterService, {MutterPath}));
    QElapsedTimer waited;
    waited.start();
    IdleSource *source = find();
    QCOMPARE_LT(waited.elapsed(), 3000);
    QVERIFY(source);
    QCOMPARE(source->name(), MutterName);
    QVERIFY(silent.hasPendingConnections() || silent.waitForNewConnection(0));
}

void TestIdleSources::compositorGoingAwayEndsNotificationsOnly()
{
    auto compositor = std::make_unique<FakeCompositor>();
    QVERIFY2(compositor->start(), qPrintable(compositor->error()));
    qputenv("WAYLAND_DISPLAY", compositor->socketName().toLocal8Bit());
    IdleSource *source = find();
    QVERIFY(source);
    QCOMPARE(source->name(), WaylandName);
    QSignalSpy went(source, &IdleSource::wentIdle);
    QSignalSpy back(source, &IdleSource::cameBack);
    source->watch(1000);
    QTRY_COMPARE(compositor->notifications(), QList<quint32>{1000});

    compositor.reset();
    QTest::qWait(300);
    source->watch(2000);
    source->watch(0);
    QTest::qWait(100);
    QCOMPARE(went.size(), 0);
    QCOMPARE(back.size(), 0);
    delete source;
}

QUORVEL_TEST_GUILESS_MAIN(TestIdleSources)
#include "tst_idlesources.moc"
