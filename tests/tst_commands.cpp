// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The task commands of the main window: the shortcut buttons that start and stop tasks in real
// time, new, edit, delete and purge, the concurrency switch and the change of operating mode.

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestEnvironment.h"
#include "keyring/ServerPassword.h"

#include "app/QuorvelMainWindow.h"
#include "dialogs/OperatingMode.h"
#include "dialogs/PurgeTasks.h"
#include "dialogs/TaskEdit.h"
#include "platform/Clock.h"
#include "platform/Config.h"
#include "views/MainWidget.h"
#include "views/QVTable.h"
#include "views/TaskTableModel.h"
#include "widgets/QuorvelApplication.h"

#include <QAction>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QToolButton>
#include <QtTest>

namespace {

const QString ZeroTitle = QStringLiteral("Zero Duration Task");
const QString ZeroText = QStringLiteral("Tasks of less than 1 minute\nduration are not logged, so\n"
                                        "this task will be deleted.\n\nWould you like to skip "
                                        "this\nwarning message in future?");

QAction *action(const QuorvelMainWindow &window, const QString &text)
{
    return actionNamed(window, text);
}

bool warnZeroTasks()
{
    Config config(Configuration::storeName());
    config.setGroup(QStringLiteral("LocalSettings"));
    return config.readBoolEntry(QStringLiteral("WarnDeleteZeroTasks"), true);
}

// Activities "A", "B" and "C" in personal mode; the earlier tasks put A on button 1 and B on
// button 2: A on 2026-11-20 08:00-08:30, B on 2026-11-20 09:00-09:30.
struct FileSetup
{
    QuorvelDocument doc;
    Activity *a = nullptr;
    Activity *b = nullptr;
    Activity *c = nullptr;

    FileSetup()
    {
        Configuration().setMode(Configuration::Personal);
        DocumentBuilder build(doc);
        ActivityCategory *work = build.category(QStringLiteral("Work"));
        a = build.activity(QStringLiteral("A"), work);
        b = build.activity(QStringLiteral("B"), work);
        c = build.activity(QStringLiteral("C"), work);
        build.task(a, at(20, 8, 0), at(20, 8, 30), 1);
        build.task(b, at(20, 9, 0), at(20, 9, 30), 2);
    }
    QVTask *task(Activity *activity, const QDateTime &start, const QDateTime &stop,
                 int shortcut = 0)
    {
        return DocumentBuilder(doc).task(activity, start, stop, shortcut);
    }
    void save()
    {
        doc.tasks.sort();
        QVERIFY(doc.save());
    }
};

struct TaskShape
{
    QString activity;
    QDateTime start;
    QDateTime stop;
    int shortcut;
    bool operator==(const TaskShape &o) const
    {
        return activity == o.activity && start == o.start && stop == o.stop
               && shortcut == o.shortcut;
    }
};

// Found by QTest through the namespace of TaskShape.
char *toString(const TaskShape &t)
{
    return QTest::toString(
        QStringLiteral("%1 %2-%3 #%4")
            .arg(t.activity, t.start.toString(Qt::ISODate), t.stop.toString(Qt::ISODate))
            .arg(t.shortcut));
}

QList<TaskShape> shapes(const QuorvelDocument &doc)
{
    QList<TaskShape> list;
    for (const QVTask *t : std::as_const(doc.tasks))
        list.append({t->activityName(), t->start(), t->stop(), t->shortcut});
    return list;
}

// Puts a button into the given state without running the command, as a stale display would.
void setQuietly(QToolButton *button, bool on)
{
    const QSignalBlocker blocker(button);
    button->setChecked(on);
}

void selectTask(QuorvelMainWindow &window, QVTask *task)
{
    const int row = int(window.document()->tasks.findRef(task));
    QVERIFY(row >= 0);
    QVTable *table = window.mainWidget()->table;
    table->setCurrentIndex(window.mainWidget()->model()->index(row, 2));
    QCOMPARE(window.mainWidget()->selectedTask, task);
}

QVTask *findTask(const QuorvelDocument &doc, const QString &activity, const QDateTime &start)
{
    for (QVTask *t : std::as_const(doc.tasks)) {
        if (t->activityName() == activity && t->start() == start)
            return t;
    }
    return nullptr;
}

} // namespace

class TestCommands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void startAndStopWithinAMinuteAsksAndDeletes();
    void zeroDurationAnsweredNoKeepsAsking();
    void startShortcutTask();
    void stopShortcutTask();
    void pressingARunningTaskDoesNothing();
    void releasingAStoppedTaskDoesNothing();
    void secondActivityStopsTheFirstAtTheSameMinute();
    void secondActivityDeletesAFirstOfThisMinute();
    void concurrentSameActivityWarnsAndStarts();
    void concurrentStartIsNeverRefusedForOverlap();
    void startRefusedForOverlap();
    void stopRefusedForFutureStart();
    void stopRefusedForOverlap();

    void deleteTaskYes();
    void deleteTaskNo();
    void purgeKeepsTaskStoppedAtTheCutOff();

    void concurrencyOnIsStored();
    void refusingDisableConcurrentKeepsItOn();
    void disableConcurrentStopsRunningTasks();
    void disableConcurrentRefusedForFutureStart();

    void personalToGroupWithEmptyDocumentClearsWithoutAsking();
    void personalToGroupAnsweredNoLeavesEverything();
    void personalToGroupAnsweredYesClears();
    void groupToGroupKeepsData();
    void groupToPersonalKeepsData();

    void newTaskStartsAndStopsOthers();
    void editTaskChangesActivityAndButton();
    void dayOfWork();
};

void TestCommands::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    Clock::setFixed(at(21, 9, 30));
    // Twenty-four-hour spin boxes for the editor.
    Config qpe(QStringLiteral("qpe"));
    qpe.setGroup(QStringLiteral("Time"));
    qpe.writeEntry(QStringLiteral("AMPM"), false);
}

void TestCommands::startAndStopWithinAMinuteAsksAndDeletes()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    QToolButton *button = window.mainWidget()->button(1);

    button->click();
    QCOMPARE(window.document()->tasks.size(), 3);
    Clock::advance(40);
    MessageBox::setNextAnswer(QMessageBox::Yes);
    button->click();
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, ZeroTitle);
    QCOMPARE(MessageBox::shown().at(0).text, ZeroText);
    QCOMPARE(window.document()->tasks.size(), 2);
    QVERIFY(!warnZeroTasks());
    // The button stands for the earlier task of A again, which is stopped.
    QCOMPARE(button->text(), QStringLiteral("A"));
    QVERIFY(!button->isChecked());
    QVERIFY(button->isEnabled());
    QVERIFY(!button->signalsBlocked());

    // Answered Yes: no more questions, the task still goes.
    MessageBox::clearShown();
    button->click();
    QCOMPARE(window.document()->tasks.size(), 3);
    button->click();
    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(window.document()->tasks.size(), 2);
}

void TestCommands::zeroDurationAnsweredNoKeepsAsking()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    QToolButton *button = window.mainWidget()->button(2);
    for (int round = 0; round < 2; ++round) {
        MessageBox::clearShown();
        button->click();
        button->click(); // answered with the Escape button, No
        QCOMPARE(shownTitles(), QStringList{ZeroTitle});
        QCOMPARE(window.document()->tasks.size(), 2);
        QVERIFY(warnZeroTasks());
    }
}

void TestCommands::startShortcutTask()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    Clock::setFixed(at(21, 9, 30, 45));
    window.mainWidget()->button(1)->click();
    QVERIFY(MessageBox::shown().isEmpty());
    const QList<TaskShape> expected = {{QStringLiteral("A"), at(20, 8, 0), at(20, 8, 30), 0},
                                       {QStringLiteral("B"), at(20, 9, 0), at(20, 9, 30), 2},
                                       {QStringLiteral("A"), at(21, 9, 30), QDateTime(), 1}};
    QCOMPARE(shapes(*window.document()), expected);
    QVERIFY(window.mainWidget()->button(1)->isChecked());
    QCOMPARE(window.mainWidget()->selectedTask, window.document()->tasks.last());
    QVERIFY(window.document()->tasks.last()->id >= 1000);
}

void TestCommands::stopShortcutTask()
{
    FileSetup setup;
    setup.task(setup.c, at(21, 8, 0), QDateTime(), 3);
    setup.save();
    QuorvelMainWindow window;
    QToolButton *button = window.mainWidget()->button(3);
    QVERIFY(button->isChecked());
    Clock::setFixed(at(21, 9, 47, 59));
    button->click();
    QVERIFY(MessageBox::shown().isEmpty());
    QVERIFY(!button->isChecked());
    QVTask *task = findTask(*window.document(), QStringLiteral("C"), at(21, 8, 0));
    QVERIFY(task);
    QCOMPARE(task->stop(), at(21, 9, 47));
    QCOMPARE(window.mainWidget()->selectedTask, task);
}

void TestCommands::pressingARunningTaskDoesNothing()
{
    FileSetup setup;
    setup.task(setup.c, at(21, 8, 0), QDateTime(), 3);
    setup.save();
    QuorvelMainWindow window;
    const QList<TaskShape> before = shapes(*window.document());
    QToolButton *button = window.mainWidget()->button(3);
    setQuietly(button, false);
    button->click(); // on again
    QCOMPARE(shapes(*window.document()), before);
    QVERIFY(MessageBox::shown().isEmpty());
    QVERIFY(button->isEnabled());
}

void TestCommands::releasingAStoppedTaskDoesNothing()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    const QList<TaskShape> before = shapes(*window.document());
    QToolButton *button = window.mainWidget()->button(2);
    setQuietly(button, true);
    button->click(); // off again
    QCOMPARE(shapes(*window.document()), before);
    QVERIFY(MessageBox::shown().isEmpty());
}

void TestCommands::secondActivityStopsTheFirstAtTheSameMinute()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    window.mainWidget()->button(1)->click();
    Clock::setFixed(at(21, 9, 32, 30));
    window.mainWidget()->button(2)->click();
    QVERIFY(MessageBox::shown().isEmpty());
    const QList<TaskShape> expected = {{QStringLiteral("A"), at(20, 8, 0), at(20, 8, 30), 0},
                                       {QStringLiteral("B"), at(20, 9, 0), at(20, 9, 30), 0},
                                       {QStringLiteral("A"), at(21, 9, 30), at(21, 9, 32), 1},
                                       {QStringLiteral("B"), at(21, 9, 32), QDateTime(), 2}};
    QCOMPARE(shapes(*window.document()), expected);
    QVERIFY(!window.mainWidget()->button(1)->isChecked());
    QVERIFY(window.mainWidget()->button(2)->isChecked());
}

void TestCommands::secondActivityDeletesAFirstOfThisMinute()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    window.mainWidget()->button(1)->click();
    Clock::setFixed(at(21, 9, 30, 50));
    window.mainWidget()->button(2)->click();
    QVERIFY(MessageBox::shown().isEmpty());
    const QList<TaskShape> expected = {{QStringLiteral("A"), at(20, 8, 0), at(20, 8, 30), 1},
                                       {QStringLiteral("B"), at(20, 9, 0), at(20, 9, 30), 0},
                                       {QStringLiteral("B"), at(21, 9, 30), QDateTime(), 2}};
    QCOMPARE(shapes(*window.document()), expected);
    QVERIFY(!window.mainWidget()->button(1)->isChecked());
}

void TestCommands::concurrentSameActivityWarnsAndStarts()
{
    FileSetup setup;
    // A runs already, without a button; button 1 shows the earlier, stopped task of A.
    setup.task(setup.a, at(21, 9, 0), QDateTime(), 0);
    setup.save();
    Configuration().setAllowConcurrentTasks(true);
    QuorvelMainWindow window;
    window.mainWidget()->button(1)->click();
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Warning"));
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("There are other tasks with\nthe same activity still\nactive."));
    QVERIFY(findTask(*window.document(), QStringLiteral("A"), at(21, 9, 30)));
    QVERIFY(findTask(*window.document(), QStringLiteral("A"), at(21, 9, 0))->isRunning());
    QCOMPARE(window.document()->tasks.size(), 4);
}

void TestCommands::concurrentStartIsNeverRefusedForOverlap()
{
    FileSetup setup;
    setup.task(setup.c, at(21, 9, 0), at(21, 10, 0));
    setup.save();
    Configuration().setAllowConcurrentTasks(true);
    QuorvelMainWindow window;
    window.mainWidget()->button(1)->click();
    QVERIFY(MessageBox::shown().isEmpty());
    QVTask *started = findTask(*window.document(), QStringLiteral("A"), at(21, 9, 30));
    QVERIFY(started);
    QVERIFY(started->isRunning());
    QVERIFY(window.mainWidget()->button(1)->isChecked());
}

void TestCommands::startRefusedForOverlap()
{
    FileSetup setup;
    setup.task(setup.c, at(21, 9, 0), at(21, 10, 0));
    setup.save();
    QuorvelMainWindow window;
    const QList<TaskShape> before = shapes(*window.document());
    QToolButton *button = window.mainWidget()->button(1);
    button->click();
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Cannot Start Task"));
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("This task cannot be started\nnow because this would cause it\nto "
                            "overlap with another task.\n"));
    QCOMPARE(MessageBox::shown().at(0).icon, QMessageBox::Information);
    QCOMPARE(shapes(*window.document()), before);
    QVERIFY(!button->isChecked());
    QVERIFY(button->isEnabled());
}

void TestCommands::stopRefusedForFutureStart()
{
    FileSetup setup;
    setup.task(setup.c, at(21, 10, 0), QDateTime(), 3);
    setup.save();
    QuorvelMainWindow window;
    QToolButton *button = window.mainWidget()->button(3);
    QVERIFY(button->isChecked());
    button->click();
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Cannot Stop Task"));
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("This task cannot be stopped\nnow because its start time is in\nthe "
                            "future. To set a specific\nfuture stop time, you can Edit\nthe "
                            "task."));
    QVERIFY(button->isChecked());
    QVERIFY(findTask(*window.document(), QStringLiteral("C"), at(21, 10, 0))->isRunning());
}

void TestCommands::stopRefusedForOverlap()
{
    // With concurrency off the running task overlaps a stopped one that began after it.
    FileSetup setup;
    setup.task(setup.c, at(21, 8, 0), QDateTime(), 3);
    setup.task(setup.b, at(21, 9, 0), at(21, 9, 10));
    setup.save();
    QuorvelMainWindow window;
    QToolButton *button = window.mainWidget()->button(3);
    button->click();
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Cannot Stop Task"));
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("This task cannot be stopped\nnow because this would cause it\nto "
                            "overlap with another task.\nYou can Edit the task to set\na stop "
                            "time."));
    QVERIFY(button->isChecked());
    QVERIFY(findTask(*window.document(), QStringLiteral("C"), at(21, 8, 0))->isRunning());
}

void TestCommands::deleteTaskYes()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    QVTask *b = findTask(*window.document(), QStringLiteral("B"), at(20, 9, 0));
    selectTask(window, b);
    MessageBox::setNextAnswer(QMessageBox::Yes);
    action(window, QStringLiteral("Delete Task"))->trigger();
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Delete Task"));
    QCOMPARE(MessageBox::shown().at(0).text, QStringLiteral("Are you sure you want to delete\nB?"));
    const QList<TaskShape> expected = {{QStringLiteral("A"), at(20, 8, 0), at(20, 8, 30), 1}};
    QCOMPARE(shapes(*window.document()), expected);
    QCOMPARE(window.mainWidget()->button(2)->text(), QString());
    QVERIFY(!window.mainWidget()->button(2)->isEnabled());
}

void TestCommands::deleteTaskNo()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    const QList<TaskShape> before = shapes(*window.document());
    selectTask(window, window.document()->tasks.first());
    action(window, QStringLiteral("Delete Task"))->trigger();
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Delete Task")});
    QCOMPARE(MessageBox::shown().at(0).text, QStringLiteral("Are you sure you want to delete\nA?"));
    QCOMPARE(shapes(*window.document()), before);
}

void TestCommands::purgeKeepsTaskStoppedAtTheCutOff()
{
    FileSetup setup;
    setup.task(setup.c, at(20, 7, 0), at(20, 7, 59));
    setup.task(setup.c, at(20, 6, 0), QDateTime(), 3);
    setup.save();
    QuorvelMainWindow window;
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<PurgeTasks *>(widget);
        QVERIFY(dialog);
        // Preset with the current minute.
        QCOMPARE(dialog->getDateTime(), at(21, 9, 30));
        dialog->radSpecified->setChecked(true);
        dialog->setDateTime(at(20, 8, 30));
        dialog->accept();
    });
    action(window, QStringLiteral("Purge Tasks"))->trigger();
    QCOMPARE(answers.seen(), QStringList{QStringLiteral("PurgeTasks")});
    QVERIFY(MessageBox::shown().isEmpty());
    const QList<TaskShape> expected = {{QStringLiteral("C"), at(20, 6, 0), QDateTime(), 3},
                                       {QStringLiteral("A"), at(20, 8, 0), at(20, 8, 30), 1},
                                       {QStringLiteral("B"), at(20, 9, 0), at(20, 9, 30), 2}};
    QCOMPARE(shapes(*window.document()), expected);
}

void TestCommands::concurrencyOnIsStored()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    QAction *toggle = action(window, QStringLiteral("Allow Concurrent Tasks"));
    QVERIFY(!toggle->isChecked());
    toggle->trigger();
    QVERIFY(Configuration().allowConcurrentTasks());
    // Nothing runs: switched off without a question.
    toggle->trigger();
    QVERIFY(!Configuration().allowConcurrentTasks());
    QVERIFY(MessageBox::shown().isEmpty());
}

void TestCommands::refusingDisableConcurrentKeepsItOn()
{
    FileSetup setup;
    setup.task(setup.c, at(21, 8, 0), QDateTime(), 3);
    setup.save();
    Configuration().setAllowConcurrentTasks(true);
    QuorvelMainWindow window;
    QAction *toggle = action(window, QStringLiteral("Allow Concurrent Tasks"));
    QVERIFY(toggle->isChecked());
    toggle->trigger();
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Disable Concurrent Tasks"));
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("This will stop any active tasks.\nProceed?"));
    QVERIFY(toggle->isChecked());
    QVERIFY(!toggle->signalsBlocked());
    QVERIFY(Configuration().allowConcurrentTasks());
    QVERIFY(findTask(*window.document(), QStringLiteral("C"), at(21, 8, 0))->isRunning());
}

void TestCommands::disableConcurrentStopsRunningTasks()
{
    FileSetup setup;
    setup.task(setup.c, at(21, 8, 0), QDateTime(), 3);
    setup.task(setup.a, at(21, 9, 30), QDateTime());
    setup.task(setup.b, at(21, 9, 30), QDateTime());
    setup.save();
    Configuration().setAllowConcurrentTasks(true);
    QuorvelMainWindow window;
    Clock::setFixed(at(21, 9, 30, 40));
    MessageBox::setNextAnswer(QMessageBox::Yes);
    action(window, QStringLiteral("Allow Concurrent Tasks"))->trigger();
    QCOMPARE(shownTitles(), (QStringList{QStringLiteral("Disable Concurrent Tasks"),
                                         QStringLiteral("Active Task Deleted")}));
    QCOMPARE(MessageBox::shown().at(1).text,
             QStringLiteral("One or more active tasks have\nbeen deleted because their\n"
                            "duration was less than\na minute."));
    const QList<TaskShape> expected = {{QStringLiteral("A"), at(20, 8, 0), at(20, 8, 30), 1},
                                       {QStringLiteral("B"), at(20, 9, 0), at(20, 9, 30), 2},
                                       {QStringLiteral("C"), at(21, 8, 0), at(21, 9, 30), 3}};
    QCOMPARE(shapes(*window.document()), expected);
    QVERIFY(!Configuration().allowConcurrentTasks());
    QVERIFY(!action(window, QStringLiteral("Allow Concurrent Tasks"))->isChecked());
}

void TestCommands::disableConcurrentRefusedForFutureStart()
{
    FileSetup setup;
    setup.task(setup.c, at(21, 8, 0), QDateTime(), 3);
    setup.task(setup.a, at(21, 11, 0), QDateTime());
    setup.save();
    Configuration().setAllowConcurrentTasks(true);
    QuorvelMainWindow window;
    MessageBox::setNextAnswer(QMessageBox::Yes);
    QAction *toggle = action(window, QStringLiteral("Allow Concurrent Tasks"));
    toggle->trigger();
    QCOMPARE(shownTitles(), (QStringList{QStringLiteral("Disable Concurrent Tasks"),
                                         QStringLiteral("Cannot Disable Concurrent Tasks")}));
    QCOMPARE(MessageBox::shown().at(1).text,
             QStringLiteral("An active task cannot be stopped\nnow because its start time is "
                            "in\nthe future. To set a specific\nfuture stop time, you can "
                            "Edit\nthe task."));
    QVERIFY(toggle->isChecked());
    QVERIFY(Configuration().allowConcurrentTasks());
    // The earlier task was stopped before the refusal and stays stopped.
    QCOMPARE(findTask(*window.document(), QStringLiteral("C"), at(21, 8, 0))->stop(),
             at(21, 9, 30));
    QVERIFY(findTask(*window.document(), QStringLiteral("A"), at(21, 11, 0))->isRunning());
}

namespace {

ModalAnswers::Handler chooseGroup(bool expectPersonalChecked)
{
    return [expectPersonalChecked](QWidget *widget) {
        auto *dialog = qobject_cast<OperatingMode *>(widget);
        QVERIFY(dialog);
        QCOMPARE(dialog->radPersonal->isChecked(), expectPersonalChecked);
        QCOMPARE(dialog->radGroup->isChecked(), !expectPersonalChecked);
        dialog->radGroup->setChecked(true);
        dialog->txtServer->setText(QStringLiteral(" new.example.org/ "));
        dialog->txtUserID->setText(QStringLiteral(" bob "));
        dialog->txtPassword->setText(QStringLiteral("secret"));
        dialog->accept();
    };
}

void storeGroupSettings()
{
    Configuration configuration;
    configuration.setMode(Configuration::Group);
    configuration.setServerAddress(QStringLiteral("old.example.org"));
    configuration.setServerUserID(QStringLiteral("alice"));
    ServerPassword(configuration).write(QStringLiteral("pw"));
}

} // namespace

void TestCommands::personalToGroupWithEmptyDocumentClearsWithoutAsking()
{
    Configuration().setMode(Configuration::Personal);
    QVERIFY(QuorvelDocument().save());
    QuorvelMainWindow window;
    // Only obsolete records: nothing worth a question, yet they go.
    DocumentBuilder build(*window.document());
    build.activity(QStringLiteral("Old"), build.category(QStringLiteral("Gone"), true), true);
    ModalAnswers answers;
    answers.add(chooseGroup(true));
    action(window, QStringLiteral("Operating Mode"))->trigger();
    QCOMPARE(answers.seen(), QStringList{QStringLiteral("OperatingMode")});
    QVERIFY(MessageBox::shown().isEmpty());
    QVERIFY(window.document()->activities.isEmpty());
    QVERIFY(window.document()->categories.isEmpty());
    const Configuration configuration;
    QCOMPARE(configuration.mode(), Configuration::Group);
    QCOMPARE(configuration.serverAddress(), QStringLiteral("new.example.org"));
    QCOMPARE(configuration.serverUserID(), QStringLiteral("bob"));
    QCOMPARE(ServerPassword(configuration).read(), QStringLiteral("secret"));
    QVERIFY(action(window, QStringLiteral("Synchronize with Server"))->isEnabled());
}

void TestCommands::personalToGroupAnsweredNoLeavesEverything()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    const QList<TaskShape> before = shapes(*window.document());
    ModalAnswers answers;
    answers.add(chooseGroup(true));
    action(window, QStringLiteral("Operating Mode"))->trigger();
    QCOMPARE(MessageBox::shown().size(), 1);
    QCOMPARE(MessageBox::shown().at(0).title, QStringLiteral("Change to Group Mode"));
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("Changing to Group Mode will\nresult in the deletion of\nall local "
                            "Tasks, Activities\nand Categories.\n\nProceed?"));
    QCOMPARE(shapes(*window.document()), before);
    QCOMPARE(window.document()->activities.size(), 3);
    const Configuration configuration;
    QCOMPARE(configuration.mode(), Configuration::Personal);
    QCOMPARE(configuration.serverUserID(), QString());
    QCOMPARE(configuration.serverAddress(), Configuration::defaultServerAddress());
}

void TestCommands::personalToGroupAnsweredYesClears()
{
    FileSetup setup;
    setup.save();
    QuorvelMainWindow window;
    ModalAnswers answers;
    answers.add(chooseGroup(true));
    MessageBox::setNextAnswer(QMessageBox::Yes);
    action(window, QStringLiteral("Operating Mode"))->trigger();
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Change to Group Mode")});
    QVERIFY(window.document()->tasks.isEmpty());
    QVERIFY(window.document()->activities.isEmpty());
    QVERIFY(window.document()->categories.isEmpty());
    QCOMPARE(window.mainWidget()->button(1)->text(), QString());
    QCOMPARE(Configuration().mode(), Configuration::Group);
    QCOMPARE(Configuration().serverUserID(), QStringLiteral("bob"));
}

void TestCommands::groupToGroupKeepsData()
{
    FileSetup setup;
    setup.save();
    storeGroupSettings();
    QuorvelMainWindow window;
    const QList<TaskShape> before = shapes(*window.document());
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<OperatingMode *>(widget);
        QVERIFY(dialog);
        QVERIFY(dialog->radGroup->isChecked());
        QCOMPARE(dialog->txtServer->text(), QStringLiteral("old.example.org"));
        QCOMPARE(dialog->txtUserID->text(), QStringLiteral("alice"));
        QCOMPARE(dialog->txtPassword->text(), QStringLiteral("pw"));
        dialog->txtServer->setText(QStringLiteral("other.example.org"));
        dialog->accept();
    });
    action(window, QStringLiteral("Operating Mode"))->trigger();
    QCOMPARE(answers.remaining(), 0);
    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(shapes(*window.document()), before);
    QCOMPARE(window.document()->activities.size(), 3);
    const Configuration configuration;
    QCOMPARE(configuration.mode(), Configuration::Group);
    QCOMPARE(configuration.serverAddress(), QStringLiteral("other.example.org"));
    QCOMPARE(configuration.serverUserID(), QStringLiteral("alice"));
}

void TestCommands::groupToPersonalKeepsData()
{
    FileSetup setup;
    setup.save();
    storeGroupSettings();
    QuorvelMainWindow window;
    const QList<TaskShape> before = shapes(*window.document());
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<OperatingMode *>(widget);
        QVERIFY(dialog);
        dialog->radPersonal->setChecked(true);
        dialog->accept();
    });
    action(window, QStringLiteral("Operating Mode"))->trigger();
    QVERIFY(MessageBox::shown().isEmpty());
    QCOMPARE(shapes(*window.document()), before);
    const Configuration configuration;
    QCOMPARE(configuration.mode(), Configuration::Personal);
    QCOMPARE(configuration.serverAddress(), QStringLiteral("old.example.org"));
    QVERIFY(action(window, QStringLiteral("Categories"))->isEnabled());
}

void TestCommands::newTaskStartsAndStopsOthers()
{
    FileSetup setup;
    setup.task(setup.a, at(21, 9, 0), QDateTime(), 0);
    setup.save();
    QuorvelMainWindow window;
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        auto *editor = qobject_cast<TaskEdit *>(widget);
        QVERIFY(editor);
        QCOMPARE(editor->windowTitle(), QStringLiteral("Quorvel - New Task"));
        editor->radStartNow->setChecked(true);
        editor->radStopLater->setChecked(true);
        const int c = editor->comboActivities.indexOf(editor->document()->activities.at(2)); // "C"
        QVERIFY(c >= 0);
        editor->comboActivity->setCurrentIndex(c);
        editor->activityActivated(c);
        editor->accept();
    });
    Clock::setFixed(at(21, 9, 45));
    action(window, QStringLiteral("New Task"))->trigger();
    QCOMPARE(answers.seen(), QStringList{QStringLiteral("TaskEdit")});
    QVERIFY(MessageBox::shown().isEmpty());
    const QList<TaskShape> expected = {{QStringLiteral("A"), at(20, 8, 0), at(20, 8, 30), 1},
                                       {QStringLiteral("B"), at(20, 9, 0), at(20, 9, 30), 2},
                                       {QStringLiteral("A"), at(21, 9, 0), at(21, 9, 45), 0},
                                       {QStringLiteral("C"), at(21, 9, 45), QDateTime(), 3}};
    QCOMPARE(shapes(*window.document()), expected);
    QCOMPARE(window.mainWidget()->selectedTask, window.document()->tasks.last());
    QVERIFY(window.mainWidget()->button(3)->isChecked());
}

void TestCommands::editTaskChangesActivityAndButton()
{
    FileSetup setup;
    setup.task(setup.c, at(21, 8, 0), at(21, 8, 40));
    setup.save();
    QuorvelMainWindow window;
    selectTask(window, findTask(*window.document(), QStringLiteral("C"), at(21, 8, 0)));
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        auto *editor = qobject_cast<TaskEdit *>(widget);
        QVERIFY(editor);
        QCOMPARE(editor->windowTitle(), QStringLiteral("Quorvel - Edit Task"));
        const int b = editor->comboActivities.indexOf(editor->document()->activities.at(1));
        QVERIFY(b >= 0);
        editor->comboActivity->setCurrentIndex(b);
        editor->activityActivated(b);
        editor->accept();
    });
    action(window, QStringLiteral("Edit Task"))->trigger();
    QCOMPARE(answers.remaining(), 0);
    QVERIFY(MessageBox::shown().isEmpty());
    // The older task of B gives its button up.
    const QList<TaskShape> expected = {{QStringLiteral("A"), at(20, 8, 0), at(20, 8, 30), 1},
                                       {QStringLiteral("B"), at(20, 9, 0), at(20, 9, 30), 0},
                                       {QStringLiteral("B"), at(21, 8, 0), at(21, 8, 40), 0}};
    QCOMPARE(shapes(*window.document()), expected);
    QCOMPARE(window.mainWidget()->button(2)->text(), QString());
}

void TestCommands::dayOfWork()
{
    FileSetup setup;
    setup.save();
    {
        QuorvelMainWindow window;
        MainWidget *widget = window.mainWidget();

        // 09:30 start A, 09:32 start B, which stops A.
        widget->button(1)->click();
        Clock::setFixed(at(21, 9, 32, 10));
        widget->button(2)->click();
        QVERIFY(MessageBox::shown().isEmpty());

        // 09:40: A really ended at 09:31.
        Clock::setFixed(at(21, 9, 40));
        selectTask(window, findTask(*window.document(), QStringLiteral("A"), at(21, 9, 30)));
        ModalAnswers answers;
        answers.add([](QWidget *w) {
            auto *editor = qobject_cast<TaskEdit *>(w);
            QVERIFY(editor);
            editor->radStopSpecified->setChecked(true);
            editor->spinStopHour->setValue(9);
            editor->spinStopMinute->setValue(31);
            editor->accept();
        });
        action(window, QStringLiteral("Edit Task"))->trigger();
        QCOMPARE(answers.remaining(), 0);
        QVERIFY(MessageBox::shown().isEmpty());

        // B was a mistake.
        selectTask(window, findTask(*window.document(), QStringLiteral("B"), at(21, 9, 32)));
        MessageBox::setNextAnswer(QMessageBox::Yes);
        action(window, QStringLiteral("Delete Task"))->trigger();
        QCOMPARE(shownTitles(), QStringList{QStringLiteral("Delete Task")});
        QVERIFY(!widget->button(2)->isChecked());
        QCOMPARE(widget->button(2)->text(), QStringLiteral("B"));

        // Tasks completed before yesterday 09:00 go.
        answers.add([](QWidget *w) {
            auto *dialog = qobject_cast<PurgeTasks *>(w);
            QVERIFY(dialog);
            dialog->radSpecified->setChecked(true);
            dialog->setDateTime(at(20, 9, 0));
            dialog->accept();
        });
        action(window, QStringLiteral("Purge Tasks"))->trigger();
        QCOMPARE(answers.remaining(), 0);
        window.flush();
    }
    QuorvelDocument loaded;
    QVERIFY(loaded.load());
    const QList<TaskShape> expected = {{QStringLiteral("B"), at(20, 9, 0), at(20, 9, 30), 2},
                                       {QStringLiteral("A"), at(21, 9, 30), at(21, 9, 31), 1}};
    QCOMPARE(shapes(loaded), expected);
}

int main(int argc, char *argv[])
{
    TestEnvironment environment;
    QuorvelApplication app(argc, argv);
    MessageBox::setTesting(true);
    TestCommands tc;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&tc, argc, argv);
}

#include "tst_commands.moc"
