// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The main window's status bar (running tasks with their Stop controls, the selected task's
// duration, today's and this week's totals) and Task → Start…, the quick start of an activity.

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestEnvironment.h"

#include "app/QuorvelMainWindow.h"
#include "app/StatusBarPanel.h"
#include "app/TrayIcon.h"
#include "dialogs/QuickStart.h"
#include "model/Configuration.h"
#include "platform/Clock.h"
#include "reports/RecentTotals.h"
#include "reports/ReportData.h"
#include "views/ElidedToolButton.h"
#include "views/MainWidget.h"
#include "views/QVTable.h"
#include "views/TaskTableModel.h"
#include "widgets/MessageBox.h"

#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QStatusBar>
#include <QToolButton>
#include <QtTest>

#include <numeric>

namespace {

// Categories Work and the withdrawn Gone; activities A, B, C in Work and the withdrawn
// "Old & done" in Gone. 2026-11-21 is a Saturday.
struct Setup
{
    QuorvelDocument doc;
    Activity *a = nullptr;
    Activity *b = nullptr;
    Activity *c = nullptr;
    Activity *old = nullptr;

    Setup()
    {
        Configuration().setMode(Configuration::Personal);
        Configuration().setAllowConcurrentTasks(false);
        DocumentBuilder build(doc);
        ActivityCategory *work = build.category(QStringLiteral("Work"));
        a = build.activity(QStringLiteral("A"), work);
        b = build.activity(QStringLiteral("B"), work);
        c = build.activity(QStringLiteral("C"), work);
        old = build.activity(QStringLiteral("Old & done"),
                             build.category(QStringLiteral("Gone"), true), true);
    }
    QVTask *task(Activity *activity, const QDateTime &start, const QDateTime &stop, int slot = 0)
    {
        return DocumentBuilder(doc).task(activity, start, stop, slot);
    }
    void save()
    {
        doc.tasks.sort();
        QVERIFY(doc.save());
    }
};

int runningCount(const QuorvelDocument &doc)
{
    int running = 0;
    for (const QVTask *task : doc.tasks)
        running += task->isRunning() ? 1 : 0;
    return running;
}

QuickStart *quickStartOf(QWidget *widget)
{
    auto *dialog = qobject_cast<QuickStart *>(widget);
    if (!dialog)
        widget->close();
    return dialog;
}

// Types into the quick start and presses Enter.
ModalAnswers::Handler typeAndEnter(const QString &typed)
{
    return [typed](QWidget *widget) {
        QuickStart *dialog = quickStartOf(widget);
        QVERIFY(dialog);
        QTest::keyClicks(dialog->txtFind, typed);
        QTest::keyClick(dialog->txtFind, Qt::Key_Return);
        if (dialog->isVisible())
            dialog->reject();
    };
}

} // namespace

class TestStatusBar : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void weekStartFollowsTheLocale();
    void totalsAcrossAWeekBoundary_data();
    void totalsAcrossAWeekBoundary();
    void totalsAcrossMidnight_data();
    void totalsAcrossMidnight();
    void runningTaskOfAWithdrawnCategoryStops();
    void selectedTaskDuration();
    void notesLeaveThePanelShown();

    void typeAheadByPrefixAndWord();
    void enterStartsAndTakesAShortcutSlot();
    void refusalsAreTheButtonsRefusals();
    void activityRunningOnAButtonStaysAsItIs();
    void startFromKeyboardAndPanel();
    void startNeedsAnActivityInUse();
};

void TestStatusBar::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    Clock::setFixed(at(22, 10, 0));
}

void TestStatusBar::cleanup()
{
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    TrayIcon::setPanelForTesting(false);
}

void TestStatusBar::weekStartFollowsTheLocale()
{
    // Saturday the 21st: the week began on Sunday the 15th or on Monday the 16th.
    QCOMPARE(RecentTotals::weekStart(QDate(2026, 11, 21), Qt::Sunday), QDate(2026, 11, 15));
    QCOMPARE(RecentTotals::weekStart(QDate(2026, 11, 21), Qt::Monday), QDate(2026, 11, 16));
    QCOMPARE(RecentTotals::weekStart(QDate(2026, 11, 22), Qt::Sunday), QDate(2026, 11, 22));
    QCOMPARE(RecentTotals::weekStart(QDate(2026, 11, 22), Qt::Monday), QDate(2026, 11, 16));
    QCOMPARE(RecentTotals::weekStart(QDate(2026, 11, 16), Qt::Monday), QDate(2026, 11, 16));
}

void TestStatusBar::totalsAcrossAWeekBoundary_data()
{
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("today");
    QTest::addColumn<QString>("week");
    QTest::addColumn<QString>("weekTip");
    // Sunday the 22nd at 10:00. In en_US the week began that morning; in de_DE on Monday.
    QTest::newRow("en_US, Sunday first")
        << QStringLiteral("en_US") << QStringLiteral("Today: 1:05")
        << QStringLiteral("This week: 1:05")
        << QStringLiteral("Time recorded since 11/22/26, counted as in the period summary; "
                          "running tasks count up to now");
    QTest::newRow("de_DE, Monday first")
        << QStringLiteral("de_DE") << QStringLiteral("Today: 1:05")
        << QStringLiteral("This week: 3:35")
        << QStringLiteral("Time recorded since 16.11.26, counted as in the period summary; "
                          "running tasks count up to now");
}

void TestStatusBar::totalsAcrossAWeekBoundary()
{
    QFETCH(QString, locale);
    QFETCH(QString, today);
    QFETCH(QString, week);
    QFETCH(QString, weekTip);
    QLocale::setDefault(QLocale(locale));
    Setup setup;
    // The week before: no share in either week.
    setup.task(setup.c, at(14, 10, 0), at(14, 11, 0));
    // Sunday the 15th 22:00 to Monday 01:00: one hour on the Monday.
    setup.task(setup.b, at(15, 22, 0), at(16, 1, 0));
    setup.task(setup.a, at(16, 9, 0), at(16, 10, 0));
    // Saturday 23:30 to Sunday 00:45: half an hour on the Saturday, 45 minutes on the Sunday.
    setup.task(setup.b, at(21, 23, 30), at(22, 0, 45));
    setup.task(setup.a, at(22, 8, 0), at(22, 8, 20), 1);
    setup.save();

    QuorvelMainWindow window;
    StatusBarPanel *panel = window.statusPanel();
    QVERIFY(panel);
    QCOMPARE(panel->todayText(), today);
    QCOMPARE(panel->weekText(), week);
    QCOMPARE(panel->weekToolTip(), weekTip);
    QCOMPARE(panel->todayToolTip(),
             QStringLiteral("Time recorded today, counted as in the period summary; running "
                            "tasks count up to now"));
    QVERIFY(panel->stopButtons().isEmpty());

    // The period summary over the same week comes to the same minutes.
    const QDate from = RecentTotals::weekStart(QDate(2026, 11, 22), QLocale().firstDayOfWeek());
    const ReportData report = ReportData::collect(*window.document(), from, from.addDays(6), false,
                                                  ReportKind::Summary);
    const int reported = std::accumulate(report.totals.begin(), report.totals.end(), 0);
    QCOMPARE(QStringLiteral("This week: %1:%2")
                 .arg(reported / 60)
                 .arg(reported % 60, 2, 10, QLatin1Char('0')),
             week);

    // A task started now runs into both, counted up to now.
    window.mainWidget()->button(1)->click();
    Clock::setFixed(at(22, 10, 25));
    QMetaObject::invokeMethod(panel, "tick");
    QCOMPARE(panel->todayText(), QStringLiteral("Today: 1:30"));
    QCOMPARE(panel->weekText(), locale == QLatin1String("en_US")
                                    ? QStringLiteral("This week: 1:30")
                                    : QStringLiteral("This week: 4:00"));
    QCOMPARE(panel->stopButtons().size(), 1);
    QCOMPARE(panel->stopButtons().at(0)->text(), QStringLiteral("Stop A"));
    QCOMPARE(panel->runningTimes().at(0)->text(), QStringLiteral("0:25"));
}

void TestStatusBar::totalsAcrossMidnight_data()
{
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("weekBefore");
    QTest::addColumn<QString>("weekAfter");
    QTest::newRow("en_US") << QStringLiteral("en_US") << QStringLiteral("This week: 0:40")
                           << QStringLiteral("This week: 1:05");
    // A recorded task counts whole within the week, also the part still ahead of the clock.
    QTest::newRow("de_DE") << QStringLiteral("de_DE") << QStringLiteral("This week: 1:25")
                           << QStringLiteral("This week: 1:55");
}

void TestStatusBar::totalsAcrossMidnight()
{
    QFETCH(QString, locale);
    QFETCH(QString, weekBefore);
    QFETCH(QString, weekAfter);
    QLocale::setDefault(QLocale(locale));
    Clock::setFixed(at(21, 23, 50));
    Setup setup;
    setup.task(setup.b, at(21, 23, 30), at(22, 0, 45));
    setup.task(setup.a, at(21, 23, 40), QDateTime(), 1);
    setup.save();

    QuorvelMainWindow window;
    StatusBarPanel *panel = window.statusPanel();
    // Saturday 23:50: half an hour of B and ten minutes of the running A.
    QCOMPARE(panel->todayText(), QStringLiteral("Today: 0:40"));
    QCOMPARE(panel->weekText(), weekBefore);
    QCOMPARE(panel->runningTimes().at(0)->text(), QStringLiteral("0:10"));

    // Nothing changes within the minute.
    Clock::setFixed(at(21, 23, 50, 40));
    QMetaObject::invokeMethod(panel, "tick");
    QCOMPARE(panel->todayText(), QStringLiteral("Today: 0:40"));

    // Sunday 00:20: B's 45 minutes after midnight and A's 20; a new week in en_US only.
    Clock::setFixed(at(22, 0, 20));
    QMetaObject::invokeMethod(panel, "tick");
    QCOMPARE(panel->todayText(), QStringLiteral("Today: 1:05"));
    QCOMPARE(panel->weekText(), weekAfter);
    QCOMPARE(panel->runningTimes().at(0)->text(), QStringLiteral("0:40"));
}

void TestStatusBar::runningTaskOfAWithdrawnCategoryStops()
{
    Setup setup;
    setup.task(setup.a, at(22, 8, 0), at(22, 8, 30), 1);
    setup.task(setup.old, at(22, 9, 0), QDateTime());
    setup.save();
    QuorvelMainWindow window;
    StatusBarPanel *panel = window.statusPanel();
    QCOMPARE(panel->stopButtons().size(), 1);
    ElidedToolButton *stop = panel->stopButtons().at(0);
    QCOMPARE(stop->text(), QStringLiteral("Stop Old && done"));
    QCOMPARE(stop->toolTip(), QStringLiteral("Stop Old & done, running since 11/22/26 9:00 AM"));
    QCOMPARE(panel->runningTimes().at(0)->text(), QStringLiteral("1:00"));
    QCOMPARE(panel->todayText(), QStringLiteral("Today: 1:30"));
    // No shortcut button stands for it.
    for (int slot = 1; slot <= 3; ++slot)
        QVERIFY(window.mainWidget()->button(slot)->text() != QStringLiteral("Old & done"));

    const QByteArray before = window.document()->getDocumentBytes();
    Clock::setFixed(at(22, 10, 15));
    stop->click();
    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(runningCount(*window.document()), 0);
    const QVTask *stopped = window.document()->tasks.last();
    QCOMPARE(stopped->activityName(), QStringLiteral("Old & done"));
    QCOMPARE(stopped->stop(), at(22, 10, 15));
    QVERIFY(panel->stopButtons().isEmpty());
    QCOMPARE(panel->todayText(), QStringLiteral("Today: 1:45"));

    // A stop like any other: Edit → Undo takes it back.
    QAction *undo = window.findChild<QAction *>(QStringLiteral("undo"));
    QCOMPARE(undo->text(), QStringLiteral("Undo Stop of Old && done"));
    undo->trigger();
    QCOMPARE(window.document()->getDocumentBytes(), before);
    QCOMPARE(panel->stopButtons().size(), 1);
    QCOMPARE(panel->todayText(), QStringLiteral("Today: 1:45"));

    // Stopped in the minute it started, it goes as under the buttons' rules, with their
    // question.
    Clock::setFixed(at(22, 9, 0, 30));
    panel->stopButtons().at(0)->click();
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Zero Duration Task")});
    QCOMPARE(window.document()->tasks.size(), 1);
    QVERIFY(panel->stopButtons().isEmpty());
}

void TestStatusBar::selectedTaskDuration()
{
    Setup setup;
    setup.task(setup.b, at(21, 23, 30), at(22, 0, 45), 2);
    setup.task(setup.a, at(22, 8, 41), QDateTime(), 1);
    setup.save();
    QuorvelMainWindow window;
    StatusBarPanel *panel = window.statusPanel();
    QVTable *table = window.mainWidget()->table;
    table->setCurrentIndex(window.mainWidget()->model()->index(0, 2));
    QCOMPARE(panel->selectedText(), QStringLiteral("Selected: 1:15"));
    table->setCurrentIndex(window.mainWidget()->model()->index(1, 0));
    QCOMPARE(panel->selectedText(), QStringLiteral("Selected: 1:19"));
    Clock::setFixed(at(22, 11, 0));
    QMetaObject::invokeMethod(panel, "tick");
    QCOMPARE(panel->selectedText(), QStringLiteral("Selected: 2:19"));

    // Nothing selected: nothing said.
    QuorvelDocument empty;
    QVERIFY(empty.save());
    window.reload();
    QCOMPARE(panel->selectedText(), QString());
    QCOMPARE(panel->todayText(), QStringLiteral("Today: 0:00"));
}

void TestStatusBar::notesLeaveThePanelShown()
{
    Setup setup;
    setup.task(setup.a, at(22, 8, 0), at(22, 8, 30), 1);
    setup.save();
    QuorvelMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    // A start and its stop within the minute: the task goes, and a note says so.
    window.mainWidget()->button(1)->click();
    window.mainWidget()->button(1)->click();
    QCOMPARE(window.statusBar()->currentMessage(),
             QStringLiteral("Removed A: it ran under a minute. Ctrl+Z brings it back."));
    QVERIFY(window.statusPanel()->isVisible());
    QCOMPARE(window.statusPanel()->todayText(), QStringLiteral("Today: 0:30"));
}

void TestStatusBar::typeAheadByPrefixAndWord()
{
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    doc.createSampleData();
    DocumentBuilder(doc).activity(QStringLiteral("Project Omega"), doc.categories.at(0), true);
    QuickStart dialog(doc, nullptr);
    // Withdrawn activities are not offered.
    QCOMPARE(dialog.shownNames(),
             (QStringList{QStringLiteral("Consulting for client R. Vance"),
                          QStringLiteral("Home Project Beta"), QStringLiteral("Home Project Delta"),
                          QStringLiteral("Project Alpha Development"),
                          QStringLiteral("Project Alpha Documentation")}));
    dialog.show();
    QTest::keyClicks(dialog.txtFind, QStringLiteral("pro"));
    // Names beginning with it first, then those with a word that does.
    QCOMPARE(dialog.shownNames(), (QStringList{QStringLiteral("Project Alpha Development"),
                                               QStringLiteral("Project Alpha Documentation"),
                                               QStringLiteral("Home Project Beta"),
                                               QStringLiteral("Home Project Delta")}));
    QCOMPARE(dialog.chosenActivity()->name, QStringLiteral("Project Alpha Development"));
    QTest::keyClick(dialog.txtFind, Qt::Key_Down);
    QCOMPARE(dialog.chosenActivity()->name, QStringLiteral("Project Alpha Documentation"));

    dialog.txtFind->clear();
    QTest::keyClicks(dialog.txtFind, QStringLiteral("DEL"));
    QCOMPARE(dialog.shownNames(), QStringList{QStringLiteral("Home Project Delta")});
    dialog.txtFind->setText(QStringLiteral("alpha doc"));
    QCOMPARE(dialog.shownNames(), QStringList{QStringLiteral("Project Alpha Documentation")});
    dialog.txtFind->setText(QStringLiteral("vance"));
    QCOMPARE(dialog.shownNames(), QStringList{QStringLiteral("Consulting for client R. Vance")});
    // Within a word is no match.
    dialog.txtFind->setText(QStringLiteral("roject"));
    QVERIFY(dialog.shownNames().isEmpty());
    QCOMPARE(dialog.chosenActivity(), nullptr);

    QCOMPARE(QuickStart::match(QStringLiteral("Home Project Beta"), QStringLiteral("home")), 2);
    QCOMPARE(QuickStart::match(QStringLiteral("Home Project Beta"), QStringLiteral("beta")), 1);
    QCOMPARE(QuickStart::match(QStringLiteral("Home Project Beta"), QStringLiteral("eta")), 0);
}

void TestStatusBar::enterStartsAndTakesAShortcutSlot()
{
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    doc.createSampleData();
    DocumentBuilder build(doc);
    build.task(doc.activities.at(0), at(22, 8, 0), at(22, 8, 30), 1);
    build.task(doc.activities.at(1), at(22, 9, 0), at(22, 9, 45), 2);
    doc.tasks.sort();
    QVERIFY(doc.save());
    Configuration().setAllowConcurrentTasks(false);

    QuorvelMainWindow window;
    window.show();
    ModalAnswers answers;
    answers.add(typeAndEnter(QStringLiteral("delta")));
    QAction *start = actionNamed(window, QStringLiteral("Start…"));
    QVERIFY(start);
    start->trigger();
    QCOMPARE(answers.seen(), QStringList{QStringLiteral("QuickStart")});
    QVERIFY(MessageBox::shown().isEmpty());
    const QVTask *started = window.document()->tasks.last();
    QCOMPARE(started->activityName(), QStringLiteral("Home Project Delta"));
    QVERIFY(started->isRunning());
    QCOMPARE(started->start(), at(22, 10, 0));
    QCOMPARE(started->shortcut, 3);
    QToolButton *third = window.mainWidget()->button(3);
    QCOMPARE(third->text(), QStringLiteral("Home Project Delta"));
    QVERIFY(third->isChecked());
    QCOMPARE(window.mainWidget()->selectedTask, started);
    QCOMPARE(window.findChild<QAction *>(QStringLiteral("undo"))->text(),
             QStringLiteral("Undo Start of Home Project Delta"));
    QCOMPARE(window.statusPanel()->stopButtons().size(), 1);

    // Another one: the first stops at the same minute, as a button would stop it, and the
    // slot of the button stopped longest goes to the new task.
    Clock::setFixed(at(22, 10, 30));
    answers.add(typeAndEnter(QStringLiteral("alpha dev")));
    start->trigger();
    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(runningCount(*window.document()), 1);
    QCOMPARE(window.document()->tasks.at(2)->stop(), at(22, 10, 30));
    const QVTask *second = window.document()->tasks.last();
    QCOMPARE(second->activityName(), QStringLiteral("Project Alpha Development"));
    QCOMPARE(second->shortcut, 1);
    QCOMPARE(window.mainWidget()->button(1)->text(), QStringLiteral("Project Alpha Development"));

    // Cancelled: nothing starts.
    const QByteArray before = window.document()->getDocumentBytes();
    answers.add([](QWidget *widget) {
        QuickStart *dialog = quickStartOf(widget);
        QVERIFY(dialog);
        QTest::keyClicks(dialog->txtFind, QStringLiteral("beta"));
        dialog->reject();
    });
    start->trigger();
    QCOMPARE(window.document()->getDocumentBytes(), before);
}

void TestStatusBar::refusalsAreTheButtonsRefusals()
{
    Setup setup;
    // Now, 10:00, lies within a recorded task.
    setup.task(setup.a, at(22, 9, 30), at(22, 10, 30), 1);
    setup.save();
    QuorvelMainWindow window;
    window.show();
    ModalAnswers answers;
    QAction *start = actionNamed(window, QStringLiteral("Start…"));
    const QByteArray before = window.document()->getDocumentBytes();
    answers.add(typeAndEnter(QStringLiteral("b")));
    start->trigger();
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Cannot Start Task"));
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("This task cannot be started\nnow because this would cause it\nto "
                            "overlap with another task.\n"));
    QCOMPARE(window.document()->getDocumentBytes(), before);
    QVERIFY(!window.findChild<QAction *>(QStringLiteral("undo"))->isEnabled());

    // A running task that starts later cannot be stopped now.
    MessageBox::clearShown();
    Clock::setFixed(at(22, 9, 0));
    {
        Setup later;
        later.task(later.a, at(22, 9, 30), QDateTime(), 1);
        later.save();
    }
    window.reload();
    const QByteArray running = window.document()->getDocumentBytes();
    answers.add(typeAndEnter(QStringLiteral("c")));
    start->trigger();
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Time Validation Error"));
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("Unable to stop another task now, as\nits start time is in the "
                            "future."));
    QCOMPARE(window.document()->getDocumentBytes(), running);

    // With concurrent tasks the same activity again is said, and started.
    MessageBox::clearShown();
    Configuration().setAllowConcurrentTasks(true);
    Clock::setFixed(at(22, 9, 45));
    QVTask *first = window.document()->tasks.first();
    first->shortcut = 0;
    answers.add(typeAndEnter(QStringLiteral("a")));
    start->trigger();
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Warning")});
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("There are other tasks with\nthe same activity still\nactive."));
    QCOMPARE(runningCount(*window.document()), 2);
}

void TestStatusBar::activityRunningOnAButtonStaysAsItIs()
{
    Setup setup;
    setup.task(setup.a, at(22, 9, 0), QDateTime(), 1);
    setup.save();
    QuorvelMainWindow window;
    window.show();
    ModalAnswers answers;
    const QByteArray before = window.document()->getDocumentBytes();
    answers.add(typeAndEnter(QStringLiteral("a")));
    actionNamed(window, QStringLiteral("Start…"))->trigger();
    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(window.document()->getDocumentBytes(), before);
    QCOMPARE(window.statusBar()->currentMessage(), QStringLiteral("A is running already."));
}

void TestStatusBar::startFromKeyboardAndPanel()
{
    Setup setup;
    setup.task(setup.a, at(22, 8, 0), at(22, 8, 30), 1);
    setup.task(setup.old, at(22, 9, 0), QDateTime());
    setup.save();
    QuorvelMainWindow window;
    QCOMPARE(actionNamed(window, QStringLiteral("Start…"))->shortcut().toString(),
             QStringLiteral("Ctrl+Shift+N"));
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    ModalAnswers answers;
    answers.add([](QWidget *widget) { widget->close(); });
    QTest::keyClick(&window, Qt::Key_N, Qt::ControlModifier | Qt::ShiftModifier);
    QCOMPARE(answers.seen(), QStringList{QStringLiteral("QuickStart")});

    // The panel menu: the running task without a button, then Start…, which opens the same.
    TrayIcon::setPanelForTesting(true);
    TrayIcon tray(&window);
    QVERIFY(tray.show());
    QStringList texts;
    const QList<QAction *> entries = tray.menu()->actions();
    for (const QAction *entry : entries) {
        if (entry->isVisible())
            texts << (entry->isSeparator() ? QStringLiteral("-") : entry->text());
    }
    QCOMPARE(texts, (QStringList{QStringLiteral("A"), QStringLiteral("Stop “Old && done” (1:00)"),
                                 QStringLiteral("Start…"), QStringLiteral("-"),
                                 QStringLiteral("Open Quorvel"), QStringLiteral("Quit")}));
    answers.add(typeAndEnter(QStringLiteral("b")));
    QVERIFY(tray.startAction()->isEnabled());
    tray.startAction()->trigger();
    QCOMPARE(answers.seen().size(), 2);
    // Concurrent tasks are off: the withdrawn one stops, B runs on a button.
    QCOMPARE(runningCount(*window.document()), 1);
    QCOMPARE(window.document()->tasks.last()->activityName(), QStringLiteral("B"));
    QCOMPARE(tray.runningActions().size(), 1);
    QCOMPARE(tray.runningActions().at(0)->text(), QStringLiteral("Stop “B” (0:00)"));
}

void TestStatusBar::startNeedsAnActivityInUse()
{
    // Only the withdrawn activity is left: there is nothing to start, as for New Task.
    Setup setup;
    setup.task(setup.old, at(22, 9, 0), at(22, 9, 30));
    for (Activity *activity : {setup.a, setup.b, setup.c})
        activity->obsolete = true;
    setup.save();
    QuorvelMainWindow window;
    QVERIFY(!actionNamed(window, QStringLiteral("New Task"))->isEnabled());
    QVERIFY(!actionNamed(window, QStringLiteral("Start…"))->isEnabled());
    TrayIcon::setPanelForTesting(true);
    TrayIcon tray(&window);
    QVERIFY(tray.show());
    // The panel menu follows the Task menu (startFromKeyboardAndPanel has it enabled).
    QVERIFY(!tray.startAction()->isEnabled());
}

QUORVEL_TEST_MAIN(TestStatusBar)
#include "tst_statusbar.moc"
