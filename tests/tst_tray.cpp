// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The panel icon: its entries follow the shortcut buttons and run their command, with every
// refusal; its tooltip and icon tell what runs; the window closed while a task runs stays
// there, and comes back when the panel goes away; Quit ends Quorvel.

#include "DocumentBuilder.h"
#include "TestEnvironment.h"

#include "app/QuorvelMainWindow.h"
#include "app/TrayIcon.h"
#include "model/Configuration.h"
#include "platform/Clock.h"
#include "views/MainWidget.h"
#include "widgets/MessageBox.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QToolButton>
#include <QTranslator>
#include <QtTest>

namespace {

// Activities A, B and C; tasks of A and B hold the first two shortcut buttons.
struct FileSetup
{
    QuorvelDocument doc;
    Activity *a = nullptr;
    Activity *b = nullptr;
    Activity *c = nullptr;

    FileSetup()
    {
        Configuration().setMode(Configuration::Personal);
        Configuration().setAllowConcurrentTasks(false);
        DocumentBuilder build(doc);
        ActivityCategory *work = build.category(QStringLiteral("Work"));
        a = build.activity(QStringLiteral("A"), work);
        b = build.activity(QStringLiteral("B"), work);
        c = build.activity(QStringLiteral("C"), work);
        build.task(a, at(20, 8, 0), at(20, 8, 30), 1);
        build.task(b, at(20, 9, 0), at(20, 9, 30), 2);
    }
    void task(Activity *activity, const QDateTime &start, const QDateTime &stop, int slot = 0)
    {
        DocumentBuilder(doc).task(activity, start, stop, slot);
    }
    void save()
    {
        doc.tasks.sort();
        QVERIFY(doc.save());
    }
};

} // namespace

class TestTray : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void entriesFollowTheButtons();
    void startAndStopFromTheMenu();
    void startRefusedForOverlap();
    void stopRefusedForFutureStart();
    void stopRefusedForOverlap();
    void startingAnotherStopsTheFirst();
    void closingWhileATaskRunsKeepsQuorvel();
    void closingWithNothingRunningEndsQuorvel();
    void withoutAPanelNothingChanges();
    void quitEndsQuorvel_data();
    void quitEndsQuorvel();
    void panelGoneBringsTheWindowBack();
    void runningTasksWithoutAButtonAreListed();
};

void TestTray::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    Clock::setFixed(at(21, 9, 30));
}

void TestTray::cleanup()
{
    TrayIcon::setPanelForTesting(false);
    QApplication::setQuitOnLastWindowClosed(true);
}

void TestTray::entriesFollowTheButtons()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    TrayIcon tray(&window);
    QCOMPARE(tray.shortcutAction(1)->text(), QStringLiteral("A"));
    QCOMPARE(tray.shortcutAction(2)->text(), QStringLiteral("B"));
    QVERIFY(tray.shortcutAction(1)->isVisible());
    QVERIFY(tray.shortcutAction(1)->isEnabled());
    QVERIFY(!tray.shortcutAction(1)->isChecked());
    // The third button stands for no task.
    QVERIFY(!tray.shortcutAction(3)->isVisible());
    QCOMPARE(tray.openAction()->text(), QStringLiteral("Open Quorvel"));
    QCOMPARE(tray.quitAction()->text(), QStringLiteral("Quit"));
    QCOMPARE(tray.startAction()->text(), QStringLiteral("Start…"));
    QCOMPARE(tray.menu()->actions().size(), 7);
    QCOMPARE(tray.toolTip(), QStringLiteral("Quorvel"));
    QVERIFY(!tray.showsRunning());

    // A start from the window shows in the menu.
    window.mainWidget()->button(2)->click();
    QVERIFY(tray.shortcutAction(2)->isChecked());
    QVERIFY(tray.showsRunning());
}

void TestTray::startAndStopFromTheMenu()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    TrayIcon tray(&window);
    tray.shortcutAction(1)->trigger();
    QVERIFY(MessageBox::shown().isEmpty());
    QVERIFY(window.mainWidget()->button(1)->isChecked());
    QVERIFY(tray.shortcutAction(1)->isChecked());
    QCOMPARE(window.document()->tasks.size(), 3);
    QVERIFY(window.document()->tasks.last()->isRunning());
    QCOMPARE(window.document()->tasks.last()->activity, window.document()->activities.at(0));

    Clock::setFixed(at(21, 10, 31, 20));
    QCOMPARE(tray.toolTip(), QStringLiteral("Quorvel\nA\t1:01"));
    QVERIFY(tray.showsRunning());

    tray.shortcutAction(1)->trigger();
    QVERIFY(!window.mainWidget()->button(1)->isChecked());
    QVERIFY(!tray.shortcutAction(1)->isChecked());
    QCOMPARE(window.document()->tasks.last()->stop(), at(21, 10, 31));
    QCOMPARE(tray.toolTip(), QStringLiteral("Quorvel"));
    QVERIFY(!tray.showsRunning());
}

void TestTray::startRefusedForOverlap()
{
    FileSetup setup;
    setup.task(setup.c, at(21, 9, 0), at(21, 10, 0));
    setup.save();
    QuorvelMainWindow window;
    TrayIcon tray(&window);
    tray.shortcutAction(1)->trigger();
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Cannot Start Task")});
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("This task cannot be started\nnow because this would cause it\nto "
                            "overlap with another task.\n"));
    QVERIFY(!tray.shortcutAction(1)->isChecked());
    QCOMPARE(window.document()->tasks.size(), 3);
}

void TestTray::stopRefusedForFutureStart()
{
    FileSetup setup;
    setup.task(setup.c, at(21, 10, 0), QDateTime(), 3);
    setup.save();
    QuorvelMainWindow window;
    TrayIcon tray(&window);
    QVERIFY(tray.shortcutAction(3)->isChecked());
    tray.shortcutAction(3)->trigger();
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Cannot Stop Task")});
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("This task cannot be stopped\nnow because its start time is in\nthe "
                            "future. To set a specific\nfuture stop time, you can Edit\nthe "
                            "task."));
    QVERIFY(tray.shortcutAction(3)->isChecked());
    QVERIFY(window.document()->tasks.last()->isRunning());
}

void TestTray::stopRefusedForOverlap()
{
    FileSetup setup;
    setup.task(setup.c, at(21, 8, 0), QDateTime(), 3);
    setup.task(setup.b, at(21, 9, 0), at(21, 9, 10));
    setup.save();
    QuorvelMainWindow window;
    TrayIcon tray(&window);
    tray.shortcutAction(3)->trigger();
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Cannot Stop Task")});
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("This task cannot be stopped\nnow because this would cause it\nto "
                            "overlap with another task.\nYou can Edit the task to set\na stop "
                            "time."));
    QVERIFY(tray.shortcutAction(3)->isChecked());

    // The way out the box offers: C stops where B starts.
    QCOMPARE(MessageBox::shown().at(0).buttons,
             (QStringList{QStringLiteral("Stop at 9:00 AM"), QStringLiteral("OK")}));
    MessageBox::setNextChoice(0);
    tray.shortcutAction(3)->trigger();
    QVERIFY(!tray.shortcutAction(3)->isChecked());
    QCOMPARE(window.document()->tasks.at(2)->activityName(), QStringLiteral("C"));
    QCOMPARE(window.document()->tasks.at(2)->stop(), at(21, 9, 0));
    QVERIFY(!tray.showsRunning());
}

void TestTray::startingAnotherStopsTheFirst()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    TrayIcon tray(&window);
    tray.shortcutAction(1)->trigger();
    Clock::setFixed(at(21, 9, 45));
    tray.shortcutAction(2)->trigger();
    QVERIFY(!tray.shortcutAction(1)->isChecked());
    QVERIFY(tray.shortcutAction(2)->isChecked());
    Clock::setFixed(at(21, 10, 0));
    QCOMPARE(tray.toolTip(), QStringLiteral("Quorvel\nB\t0:15"));
}

void TestTray::closingWhileATaskRunsKeepsQuorvel()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    TrayIcon::setPanelForTesting(true);
    TrayIcon tray(&window);
    QVERIFY(tray.show());
    window.setTrayIcon(&tray);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    tray.shortcutAction(1)->trigger();

    QVERIFY(!window.close());
    QVERIFY(!window.isVisible());
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Quorvel Keeps Running")});
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("A task is running, so Quorvel stays in the panel and goes on "
                            "timing it.\nOpen or quit Quorvel from its icon there."));
    QCOMPARE(MessageBox::shown().at(0).checkBox, QStringLiteral("Don't show again"));
    // The task went on, and is on disk: hiding the window writes.
    QVERIFY(window.document()->tasks.last()->isRunning());

    // Said again until "Don't show again" is ticked; then never, also after a restart.
    tray.openAction()->trigger();
    QVERIFY(window.isVisible());
    MessageBox::setNextCheckBox(true);
    QVERIFY(!window.close());
    QCOMPARE(MessageBox::shown().size(), 2);
    QVERIFY(!QuorvelMainWindow::tellsAboutPanel());
    tray.openAction()->trigger();
    QVERIFY(!window.close());
    QCOMPARE(MessageBox::shown().size(), 2);

    // The desktop settings can turn it on again.
    QuorvelMainWindow::setTellsAboutPanel(true);
    tray.openAction()->trigger();
    QVERIFY(!window.close());
    QCOMPARE(MessageBox::shown().size(), 3);
}

void TestTray::closingWithNothingRunningEndsQuorvel()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    TrayIcon::setPanelForTesting(true);
    TrayIcon tray(&window);
    QVERIFY(tray.show());
    window.setTrayIcon(&tray);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QVERIFY(window.close());
    QVERIFY(MessageBox::shown().isEmpty());
}

void TestTray::withoutAPanelNothingChanges()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    TrayIcon tray(&window);
    // The offscreen platform has no panel.
    QVERIFY(!tray.show());
    QVERIFY(!tray.isShown());
    QVERIFY(QApplication::quitOnLastWindowClosed());
    window.setTrayIcon(&tray);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    window.mainWidget()->button(1)->click();
    QVERIFY(window.close());
    QVERIFY(MessageBox::shown().isEmpty());
}

void TestTray::quitEndsQuorvel_data()
{
    QTest::addColumn<QString>("language");
    QTest::newRow("English") << QString();
    QTest::newRow("German") << QStringLiteral("de");
}

void TestTray::quitEndsQuorvel()
{
    QFETCH(QString, language);
    QTranslator translator;
    if (!language.isEmpty()) {
        QVERIFY(translator.load(QStringLiteral(":/i18n/quorvel_") + language));
        QCoreApplication::installTranslator(&translator);
    }
    FileSetup setup;
    setup.save();
    {
        QuorvelMainWindow window;
        TrayIcon::setPanelForTesting(true);
        TrayIcon tray(&window);
        QVERIFY(tray.show());
        window.setTrayIcon(&tray);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        Clock::setFixed(at(21, 9, 40));
        window.mainWidget()->button(2)->click();
        QVERIFY(tray.showsRunning());

        // With the window open and the task running, Quit ends the event loop at once; were it
        // refused, the guard would end it with 99.
        QTimer::singleShot(0, tray.quitAction(), &QAction::trigger);
        QTimer guard;
        guard.setSingleShot(true);
        connect(&guard, &QTimer::timeout, qApp, [] { QCoreApplication::exit(99); });
        guard.start(5000);
        QCOMPARE(QCoreApplication::exec(), 0);
        QVERIFY(MessageBox::shown().isEmpty());

        // Written before the end, the running task with it.
        QuorvelDocument reread;
        QVERIFY(reread.load());
        QCOMPARE(reread.tasks.size(), 3);
        QCOMPARE(reread.tasks.last()->activityName(), QStringLiteral("B"));
        QCOMPARE(reread.tasks.last()->start(), at(21, 9, 40));
        QVERIFY(reread.tasks.last()->isRunning());
    }
    QCoreApplication::removeTranslator(&translator);
}

void TestTray::panelGoneBringsTheWindowBack()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    TrayIcon::setPanelForTesting(true);
    TrayIcon tray(&window);
    QVERIFY(tray.show());
    window.setTrayIcon(&tray);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    tray.shortcutAction(1)->trigger();
    QVERIFY(!window.close());
    QVERIFY(!window.isVisible());

    // The panel stays: nothing changes at the next look.
    tray.checkPanel();
    QVERIFY(!window.isVisible());
    QVERIFY(tray.isShown());

    // The panel goes away: noticed within seconds, the window is back, and closing it ends
    // Quorvel as it does without a panel.
    TrayIcon::setPanelForTesting(false);
    QTRY_VERIFY_WITH_TIMEOUT(window.isVisible(), 10000);
    QVERIFY(!tray.isShown());
    QVERIFY(QApplication::quitOnLastWindowClosed());
    QVERIFY(window.close());
    QCOMPARE(MessageBox::shown().size(), 1);
}

void TestTray::runningTasksWithoutAButtonAreListed()
{
    // A task of a withdrawn activity runs, without a button; another runs on button 1.
    FileSetup setup;
    Activity *old = DocumentBuilder(setup.doc).activity(
        QStringLiteral("Old & done"),
        DocumentBuilder(setup.doc).category(QStringLiteral("Gone"), true), true);
    setup.task(old, at(21, 8, 0), QDateTime());
    setup.save();
    Configuration().setAllowConcurrentTasks(true);
    QuorvelMainWindow window;
    TrayIcon tray(&window);
    window.mainWidget()->button(1)->click();
    // Every running task, oldest first, with its running time; the task on button 1 too.
    QCOMPARE(tray.runningActions().size(), 2);
    QAction *entry = tray.runningActions().at(0);
    QCOMPARE(entry->text(), QStringLiteral("Stop “Old && done” (1:30)"));
    QCOMPARE(tray.runningActions().at(1)->text(), QStringLiteral("Stop “A” (0:00)"));
    QVERIFY(entry->isCheckable());
    QVERIFY(entry->isChecked());
    QVERIFY(entry->isVisible());
    // After the buttons' entries, before Start… and the separator.
    QCOMPARE(tray.menu()->actions().size(), 9);
    QCOMPARE(tray.menu()->actions().at(3), entry);
    QCOMPARE(tray.menu()->actions().at(5), tray.startAction());
    QCOMPARE(tray.toolTip(), QStringLiteral("Quorvel\nOld & done\t1:30\nA\t0:00"));

    const QByteArray before = window.document()->getDocumentBytes();
    Clock::setFixed(at(21, 9, 45));
    entry->trigger();
    QVERIFY(MessageBox::shown().isEmpty());
    QVTask *stopped = window.document()->tasks.at(2);
    QCOMPARE(stopped->activityName(), QStringLiteral("Old & done"));
    QCOMPARE(stopped->stop(), at(21, 9, 45));
    QCOMPARE(tray.runningActions().size(), 1);
    QCOMPARE(tray.runningActions().at(0)->text(), QStringLiteral("Stop “A” (0:15)"));
    QCOMPARE(tray.menu()->actions().size(), 8);
    // Button 1's task runs on.
    QVERIFY(tray.shortcutAction(1)->isChecked());

    QAction *undo = window.findChild<QAction *>(QStringLiteral("undo"));
    QCOMPARE(undo->text(), QStringLiteral("Undo Stop of Old && done"));
    undo->trigger();
    QCOMPARE(window.document()->getDocumentBytes(), before);
    QCOMPARE(tray.runningActions().size(), 2);
    QVERIFY(tray.runningActions().at(0)->isChecked());
}

QUORVEL_TEST_MAIN(TestTray)
#include "tst_tray.moc"
