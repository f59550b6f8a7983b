// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The forgotten timer: one notification per task after the set hours of a pinned clock, resident
// and without expiry, none when off, its Stop and Keep, the panel icon's mark until then, and the
// panel's message where no notification service answers, and a task stopped before the service
// says which notification it shows. The notification service is a fake on a private session bus.

#include "DocumentBuilder.h"
#include "PrivateBus.h"
#include "TestEnvironment.h"

#include "app/ForgottenTimer.h"
#include "app/QuorvelMainWindow.h"
#include "app/TrayIcon.h"
#include "model/Configuration.h"
#include "platform/Clock.h"
#include "views/MainWidget.h"
#include "widgets/MessageBox.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QtTest>

namespace {

const QString Service = QStringLiteral("org.freedesktop.Notifications");
const QString Path = QStringLiteral("/org/freedesktop/Notifications");

// Records what it is asked to show, on a connection of its own.
class FakeNotifications : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Shown
    {
        QString app;
        QString icon;
        QString summary;
        QString body;
        QStringList actions;
        QVariantMap hints;
        int expireTimeout;
    };
    QList<Shown> shown;
    QList<uint> closed;
    // While set, Notify answers only when releaseReplies() is called, as a slow service would.
    bool holdReplies = false;

    void releaseReplies()
    {
        holdReplies = false;
        for (const QDBusMessage &reply : std::exchange(m_held, {}))
            QDBusConnection(QStringLiteral("fake")).send(reply);
    }

public Q_SLOTS:
    uint Notify(const QString &app, uint, const QString &icon, const QString &summary,
                const QString &body, const QStringList &actions, const QVariantMap &hints,
                int expireTimeout)
    {
        shown.append({app, icon, summary, body, actions, hints, expireTimeout});
        const uint id = uint(shown.size() + 40);
        if (holdReplies) {
            setDelayedReply(true);
            m_held << message().createReply(id);
        }
        return id;
    }
    void CloseNotification(uint notification) { closed << notification; }

private:
    QList<QDBusMessage> m_held;
};

// Tasks of "Writing" since 08:00 and of "Reading" since 15:00 run; the clock says 09:30.
void prepareDataFile()
{
    Configuration().setMode(Configuration::Personal);
    Configuration().setAllowConcurrentTasks(true);
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    build.task(build.activity(QStringLiteral("Writing"), work), at(21, 8, 0), QDateTime(), 1);
    build.task(build.activity(QStringLiteral("Reading"), work), at(21, 15, 0), QDateTime(), 2);
    build.sortAll();
    QVERIFY(doc.save());
}

} // namespace

class TestReminder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void oncePerTaskAfterTheHours();
    void noneWhenOff();
    void stopStopsTheTask();
    void keepKeepsIt();
    void withoutAServiceNothingBreaks();
    void panelMarksTheTaskUntilAnswered();
    void stoppedBeforeTheServiceAnswers();

private:
    void invoke(uint notification, const QString &action);

    PrivateBus m_bus;
    std::unique_ptr<FakeNotifications> m_fake;
};

void TestReminder::initTestCase()
{
    QVERIFY2(m_bus.start(), qPrintable(m_bus.error()));
}

void TestReminder::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    Clock::setFixed(at(21, 9, 30));
    prepareDataFile();
    m_fake = std::make_unique<FakeNotifications>();
    QDBusConnection fake = QDBusConnection::connectToBus(m_bus.address(), QStringLiteral("fake"));
    QVERIFY(fake.registerObject(Path, m_fake.get(), QDBusConnection::ExportAllSlots));
    QVERIFY(fake.registerService(Service));
}

void TestReminder::cleanup()
{
    QDBusConnection fake(QStringLiteral("fake"));
    if (fake.isConnected()) {
        fake.unregisterService(Service);
        QDBusConnection::disconnectFromBus(QStringLiteral("fake"));
    }
    m_fake.reset();
}

void TestReminder::invoke(uint notification, const QString &action)
{
    QDBusMessage signal
        = QDBusMessage::createSignal(Path, Service, QStringLiteral("ActionInvoked"));
    signal << notification << action;
    QVERIFY(QDBusConnection(QStringLiteral("fake")).send(signal));
}

void TestReminder::oncePerTaskAfterTheHours()
{
    QCOMPARE(ForgottenTimer::hours(), 10);
    ForgottenTimer::setHours(1);
    QuorvelMainWindow window;
    ForgottenTimer reminder(&window, QDBusConnection::sessionBus());

    // 1:30 of Writing; Reading starts in the future.
    reminder.check();
    QTRY_COMPARE(m_fake->shown.size(), 1);
    QCOMPARE(m_fake->shown.at(0).app, QStringLiteral("Quorvel"));
    QCOMPARE(m_fake->shown.at(0).icon, QStringLiteral("org.quorvel.Quorvel"));
    QCOMPARE(m_fake->shown.at(0).summary, QStringLiteral("Is Writing still running?"));
    QCOMPARE(m_fake->shown.at(0).body, QStringLiteral("It has run for 1:30 (hours and minutes)."));
    QCOMPARE(m_fake->shown.at(0).actions,
             (QStringList{QStringLiteral("stop"), QStringLiteral("Stop"), QStringLiteral("keep"),
                          QStringLiteral("Keep")}));
    // It stays until answered: no expiry, and resident after an action.
    QCOMPARE(m_fake->shown.at(0).expireTimeout, 0);
    QCOMPARE(m_fake->shown.at(0).hints,
             (QVariantMap{{QStringLiteral("resident"), QVariant(true)}}));

    // Once: not again an hour later.
    Clock::setFixed(at(21, 10, 30));
    reminder.check();
    QTest::qWait(100);
    QCOMPARE(m_fake->shown.size(), 1);

    // Reading, an hour after its start.
    Clock::setFixed(at(21, 16, 0));
    reminder.check();
    QTRY_COMPARE(m_fake->shown.size(), 2);
    QCOMPARE(m_fake->shown.at(1).summary, QStringLiteral("Is Reading still running?"));
    QCOMPARE(m_fake->shown.at(1).body, QStringLiteral("It has run for 1:00 (hours and minutes)."));
    reminder.check();
    QTest::qWait(100);
    QCOMPARE(m_fake->shown.size(), 2);
}

void TestReminder::noneWhenOff()
{
    ForgottenTimer::setHours(0);
    QuorvelMainWindow window;
    ForgottenTimer reminder(&window, QDBusConnection::sessionBus());
    Clock::setFixed(at(23, 9, 30));
    reminder.check();
    QTest::qWait(200);
    QVERIFY(m_fake->shown.isEmpty());
}

void TestReminder::stopStopsTheTask()
{
    ForgottenTimer::setHours(1);
    QuorvelMainWindow window;
    ForgottenTimer reminder(&window, QDBusConnection::sessionBus());
    reminder.check();
    QTRY_COMPARE(m_fake->shown.size(), 1);
    Clock::setFixed(at(21, 9, 45));
    invoke(41, QStringLiteral("stop"));
    QTRY_VERIFY(!window.document()->tasks.first()->isRunning());
    QCOMPARE(window.document()->tasks.first()->activityName(), QStringLiteral("Writing"));
    QCOMPARE(window.document()->tasks.first()->stop(), at(21, 9, 45));
    // Only Writing.
    QVERIFY(window.document()->tasks.last()->isRunning());
    QVERIFY(MessageBox::shown().isEmpty());
}

void TestReminder::keepKeepsIt()
{
    ForgottenTimer::setHours(1);
    QuorvelMainWindow window;
    ForgottenTimer reminder(&window, QDBusConnection::sessionBus());
    reminder.check();
    QTRY_COMPARE(m_fake->shown.size(), 1);
    invoke(41, QStringLiteral("keep"));
    // And a Stop for a notification that is not ours changes nothing.
    invoke(7, QStringLiteral("stop"));
    QTest::qWait(200);
    QVERIFY(window.document()->tasks.first()->isRunning());
    QVERIFY(window.document()->tasks.last()->isRunning());
}

void TestReminder::withoutAServiceNothingBreaks()
{
    cleanup();
    ForgottenTimer::setHours(1);
    QuorvelMainWindow window;
    ForgottenTimer reminder(&window, QDBusConnection::sessionBus());
    reminder.check();
    QTest::qWait(300);
    QVERIFY(window.document()->tasks.first()->isRunning());
    QVERIFY(MessageBox::shown().isEmpty());
}

void TestReminder::panelMarksTheTaskUntilAnswered()
{
    // At 16:00 Writing has run for 8 hours, Reading for one.
    Clock::setFixed(at(21, 16, 0));
    ForgottenTimer::setHours(2);
    QuorvelMainWindow window;
    TrayIcon tray(&window);
    ForgottenTimer reminder(&window, QDBusConnection::sessionBus(), &tray);
    QVERIFY(!tray.showsOverdue());
    reminder.check();
    QTRY_COMPARE(m_fake->shown.size(), 1);
    QCOMPARE(m_fake->shown.at(0).summary, QStringLiteral("Is Writing still running?"));
    QVERIFY(tray.showsOverdue());
    QVERIFY(tray.showsRunning());
    QCOMPARE(tray.toolTip(),
             QStringLiteral("Quorvel\nWriting\t8:00 (still running?)\nReading\t1:00"));

    // Kept: the mark goes, the notification is closed, and no new one comes for Writing.
    invoke(41, QStringLiteral("keep"));
    QTRY_VERIFY(!tray.showsOverdue());
    QCOMPARE(tray.toolTip(), QStringLiteral("Quorvel\nWriting\t8:00\nReading\t1:00"));
    QTRY_COMPARE(m_fake->closed, QList<uint>{41});

    // Reading passes the hours an hour later and is marked until it is stopped in the window.
    Clock::setFixed(at(21, 17, 0));
    reminder.check();
    QTRY_COMPARE(m_fake->shown.size(), 2);
    QCOMPARE(m_fake->shown.at(1).summary, QStringLiteral("Is Reading still running?"));
    QTRY_VERIFY(tray.showsOverdue());
    QCOMPARE(tray.toolTip(),
             QStringLiteral("Quorvel\nWriting\t9:00\nReading\t2:00 (still running?)"));
    // Marked also for the minute after (the check of every minute changes nothing).
    Clock::setFixed(at(21, 17, 1));
    reminder.check();
    QVERIFY(tray.showsOverdue());
    window.mainWidget()->button(2)->click();
    QVERIFY(!window.document()->tasks.last()->isRunning());
    QVERIFY(!tray.showsOverdue());
    QCOMPARE(tray.toolTip(), QStringLiteral("Quorvel\nWriting\t9:01"));
    // Its question is answered: the notification goes too.
    QTRY_COMPARE(m_fake->closed, (QList<uint>{41, 42}));
    QCOMPARE(m_fake->shown.size(), 2);
}

void TestReminder::stoppedBeforeTheServiceAnswers()
{
    ForgottenTimer::setHours(1);
    QuorvelMainWindow window;
    ForgottenTimer reminder(&window, QDBusConnection::sessionBus());
    m_fake->holdReplies = true;
    reminder.check();
    QTRY_COMPARE(m_fake->shown.size(), 1);
    // Writing is stopped in the window while the service has not yet said which notification
    // it shows; its question, once known, is closed at once.
    window.mainWidget()->button(1)->click();
    QVERIFY(!window.document()->tasks.first()->isRunning());
    QVERIFY(m_fake->closed.isEmpty());
    m_fake->releaseReplies();
    QTRY_COMPARE(m_fake->closed, QList<uint>{41});
    // And its Stop, were it still pressed, stops nothing.
    invoke(41, QStringLiteral("stop"));
    QTest::qWait(200);
    QVERIFY(window.document()->tasks.last()->isRunning());
    QVERIFY(MessageBox::shown().isEmpty());
}

QUORVEL_TEST_MAIN(TestReminder)
#include "tst_reminder.moc"
