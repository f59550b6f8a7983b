// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
// Edit → Undo and Redo of the window: every kind of change is taken back to the very bytes of
// the document string before it and made again to the bytes after it; the history is cleared
// when the document is replaced as a whole; the purge dialog counts what a moment removes; a
// running task that a later task keeps from stopping is offered a stop that works; Delete
// Task keeps the selection's row.

#include "DocumentBuilder.h"
#include "ModalAnswers.h"
#include "TestEnvironment.h"

#include "app/ChangeChannel.h"
#include "app/QuorvelMainWindow.h"
#include "dialogs/ActivityEdit.h"
#include "dialogs/ActivityList.h"
#include "dialogs/CategoryEdit.h"
#include "dialogs/CategoryList.h"
#include "dialogs/OperatingMode.h"
#include "dialogs/PurgeTasks.h"
#include "dialogs/TaskEdit.h"
#include "platform/Clock.h"
#include "views/MainWidget.h"
#include "views/QVTable.h"
#include "views/TaskTableModel.h"
#include "widgets/QuorvelApplication.h"

#include <QAction>
#include <QFile>
#include <QLabel>
#include <QRadioButton>
#include <QStatusBar>
#include <QToolButton>
#include <QUndoStack>
#include <QtTest>

#include <functional>

namespace {

// The working document: a category and an activity withdrawn, synchronised tasks with change
// stamps, deleted ids and all three buttons taken.
//   Coding         11-20 08:00-09:00  synchronised
//   Design review  11-20 09:00-10:00  synchronised, button 2
//   Retired        11-19 10:00-11:00  (withdrawn activity and category)
//   Gardening      11-20 18:00-19:00  button 3
//   Coding         11-21 08:00-08:45  synchronised, button 1
void writeFixture()
{
    Configuration().setMode(Configuration::Personal);
    Configuration().setAllowConcurrentTasks(false);
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    ActivityCategory *home = build.category(QStringLiteral("Home"));
    ActivityCategory *old = build.category(QStringLiteral("Old"), true);
    Activity *coding = build.activity(QStringLiteral("Coding"), work);
    Activity *review = build.activity(QStringLiteral("Design review"), work);
    Activity *gardening = build.activity(QStringLiteral("Gardening"), home);
    Activity *retired = build.activity(QStringLiteral("Retired"), old, true);
    const auto synchronised = [](QVTask *task, const QDateTime &stamp) {
        task->synchronised = true;
        task->modifiedTime = stamp;
    };
    synchronised(build.task(coding, at(20, 8, 0), at(20, 9, 0)), at(20, 9, 0, 5));
    synchronised(build.task(review, at(20, 9, 0), at(20, 10, 0), 2), at(20, 10, 0, 7));
    build.task(retired, at(19, 10, 0), at(19, 11, 0));
    build.task(gardening, at(20, 18, 0), at(20, 19, 0), 3);
    synchronised(build.task(coding, at(21, 8, 0), at(21, 8, 45), 1), at(21, 8, 45, 9));
    doc.deletedTaskIds = {17, 23};
    build.sortAll();
    QVERIFY(doc.save());
}

QAction *undoAction(const QuorvelMainWindow &window)
{
    return window.findChild<QAction *>(QStringLiteral("undo"));
}

QAction *redoAction(const QuorvelMainWindow &window)
{
    return window.findChild<QAction *>(QStringLiteral("redo"));
}

QByteArray bytesOf(const QuorvelMainWindow &window)
{
    return window.document()->getDocumentBytes();
}

QVTask *findTask(const QuorvelDocument &doc, const QString &activity, const QDateTime &start)
{
    for (QVTask *t : std::as_const(doc.tasks)) {
        if (t->activityName() == activity && t->start() == start)
            return t;
    }
    return nullptr;
}

void selectTask(QuorvelMainWindow &window, QVTask *task)
{
    const int row = int(window.document()->tasks.findRef(task));
    QVERIFY(row >= 0);
    window.mainWidget()->table->setCurrentIndex(window.mainWidget()->model()->index(row, 2));
    QCOMPARE(window.mainWidget()->selectedTask, task);
}

Activity *activityNamed(const QuorvelDocument &doc, const QString &name)
{
    for (Activity *a : doc.activities) {
        if (a->name == name)
            return a;
    }
    return nullptr;
}

// Picks the activity in the task editor.
void pickActivity(TaskEdit *editor, const QString &name)
{
    const int index
        = int(editor->comboActivities.indexOf(activityNamed(*editor->document(), name)));
    QVERIFY(index >= 0);
    editor->comboActivity->setCurrentIndex(index);
    editor->activityActivated(index);
}

// Runs the list screen of the window and, in it, what the test does.
template<typename List>
void inList(QuorvelMainWindow &window, void (QuorvelMainWindow::*open)(),
            const std::function<void(List *)> &work)
{
    ModalAnswers answers;
    answers.add([&work](QWidget *widget) {
        auto *list = qobject_cast<List *>(widget);
        QVERIFY(list);
        QVERIFY(list->changes);
        work(list);
        list->close();
    });
    (window.*open)();
    QCOMPARE(answers.remaining(), 0);
}

// Answers the next editor of a name (CategoryEdit or ActivityEdit) with this name.
template<typename Edit>
ModalAnswers::Handler typeName(const QString &name)
{
    return [name](QWidget *widget) {
        auto *edit = qobject_cast<Edit *>(widget);
        QVERIFY(edit);
        edit->txtName->setText(name);
        edit->accept();
    };
}

using Work = std::function<void(QuorvelMainWindow &)>;

// In the list screen that open runs: picks the record choose names (none for New), runs
// command and answers its editor with this name.
template<typename List, typename Edit>
Work nameIn(void (QuorvelMainWindow::*open)(), void (List::*command)(), const QString &name,
            const std::function<void(List *)> &choose = {})
{
    return [=](QuorvelMainWindow &window) {
        inList<List>(window, open, [&](List *list) {
            if (choose)
                choose(list);
            ModalAnswers answers;
            answers.add(typeName<Edit>(name));
            (list->*command)();
        });
    };
}

struct Change
{
    Work prepare;
    Work change;
    QString undoText;
    QString note;
};

} // namespace

Q_DECLARE_METATYPE(Change)

class TestUndo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void editMenuBeforeAnyChange();
    void eachChangeUndoesExactly_data();
    void eachChangeUndoesExactly();
    void keysUndoAndRedo();
    void severalStepsGoBackInOrder();
    void anEditorsNewActivityIsAStepOfItsOwn();
    void refusedStartLeavesNoStep();
    void ampersandInANameIsNoMnemonic();
    void underAMinuteNotedWithAndWithoutTheQuestion();

    void purgeOfAHundredThousandTasks();
    void purgeCountFollowsTheMoment();

    void historyClearedWhenTheFileIsReadAgain();
    void historyClearedByAChangeOfOperatingMode();
    void historyKeptWhenTheModeStays();

    void trappedTaskStopsWhereTheNextTaskStarts();
    void trappedTaskRefusalWithoutAWayOut();

    void deletingTheCategoryOfARunningTaskNamesIt();
    void deletingTheActivityOfARunningTaskNamesIt();
    void deleteTaskKeepsTheRow();
};

void TestUndo::initTestCase()
{
    // Some cases check the window's debug lines, which are off by default.
    QLoggingCategory::setFilterRules(QStringLiteral("quorvel.*.debug=true"));
}

void TestUndo::init()
{
    TestEnvironment::wipe();
    MessageBox::clearShown();
    Clock::setFixed(at(21, 9, 30));
    writeFixture();
}

void TestUndo::editMenuBeforeAnyChange()
{
    QuorvelMainWindow window;
    QAction *undo = undoAction(window);
    QAction *redo = redoAction(window);
    QVERIFY(undo);
    QVERIFY(redo);
    QCOMPARE(undo->text(), QStringLiteral("Undo"));
    QCOMPARE(redo->text(), QStringLiteral("Redo"));
    QVERIFY(!undo->isEnabled());
    QVERIFY(!redo->isEnabled());
    QCOMPARE(undo->shortcut().toString(), QStringLiteral("Ctrl+Z"));
    QCOMPARE(redo->shortcut().toString(), QStringLiteral("Ctrl+Shift+Z"));
    QVERIFY(window.statusBar());
    QCOMPARE(window.statusBar()->currentMessage(), QString());
}

void TestUndo::eachChangeUndoesExactly_data()
{
    QTest::addColumn<Change>("change");
    const auto click = [](int slot) {
        return [slot](QuorvelMainWindow &window) {
            window.mainWidget()->button(slot)->click();
        };
    };
    const auto clickAt = [](int slot, const QDateTime &when) {
        return [slot, when](QuorvelMainWindow &window) {
            Clock::setFixed(when);
            window.mainWidget()->button(slot)->click();
        };
    };

    QTest::newRow("start") << Change{{}, click(3), QStringLiteral("Undo Start of Gardening"), {}};
    QTest::newRow("stop") << Change{
        click(1), clickAt(1, at(21, 10, 15)), QStringLiteral("Undo Stop of Coding"), {}};
    QTest::newRow("stop under a minute")
        << Change{click(1), clickAt(1, at(21, 9, 30, 40)),
                  QStringLiteral("Undo Removal of a Task Under a Minute"),
                  QStringLiteral("Removed Coding: it ran under a minute. Ctrl+Z brings it back.")};
    QTest::newRow("start stopping another") << Change{
        click(1), clickAt(3, at(21, 9, 50)), QStringLiteral("Undo Start of Gardening"), {}};
    QTest::newRow("start removing another under a minute") << Change{
        click(1), clickAt(3, at(21, 9, 30, 30)), QStringLiteral("Undo Start of Gardening"),
        QStringLiteral("Removed Coding: it ran under a minute. Ctrl+Z brings it back.")};

    QTest::newRow("new task") << Change{{},
                                        [](QuorvelMainWindow &window) {
                                            ModalAnswers answers;
                                            answers.add([](QWidget *widget) {
                                                auto *editor = qobject_cast<TaskEdit *>(widget);
                                                QVERIFY(editor);
                                                editor->radStartSpecified->setChecked(true);
                                                editor->setStartDateTime(at(21, 7, 0));
                                                editor->radStopSpecified->setChecked(true);
                                                editor->setStopDateTime(at(21, 7, 30));
                                                pickActivity(editor, QStringLiteral("Gardening"));
                                                editor->accept();
                                            });
                                            window.newTask();
                                            QCOMPARE(answers.remaining(), 0);
                                        },
                                        QStringLiteral("Undo New Task Gardening"),
                                        {}};
    QTest::newRow("edit task") << Change{
        {},
        [](QuorvelMainWindow &window) {
            selectTask(window,
                       findTask(*window.document(), QStringLiteral("Design review"), at(20, 9, 0)));
            ModalAnswers answers;
            answers.add([](QWidget *widget) {
                auto *editor = qobject_cast<TaskEdit *>(widget);
                QVERIFY(editor);
                editor->radStopSpecified->setChecked(true);
                editor->setStopDateTime(at(20, 10, 30));
                editor->accept();
            });
            window.editTask();
            QCOMPARE(answers.remaining(), 0);
        },
        QStringLiteral("Undo Edit Task Design review"),
        {}};
    QTest::newRow("delete task") << Change{
        {},
        [](QuorvelMainWindow &window) {
            selectTask(window,
                       findTask(*window.document(), QStringLiteral("Design review"), at(20, 9, 0)));
            MessageBox::setNextAnswer(QMessageBox::Yes);
            window.deleteTask();
        },
        QStringLiteral("Undo Delete Task Design review"),
        {}};
    QTest::newRow("purge") << Change{{},
                                     [](QuorvelMainWindow &window) {
                                         ModalAnswers answers;
                                         answers.add([](QWidget *widget) {
                                             auto *dialog = qobject_cast<PurgeTasks *>(widget);
                                             QVERIFY(dialog);
                                             dialog->radSpecified->setChecked(true);
                                             dialog->setDateTime(at(21, 0, 0));
                                             dialog->accept();
                                         });
                                         QTest::ignoreMessage(QtDebugMsg, "PurgeTasks::accept()");
                                         window.purge();
                                         QCOMPARE(answers.remaining(), 0);
                                     },
                                     QStringLiteral("Undo Purge of 4 Tasks"),
                                     {}};

    QTest::newRow("new category") << Change{
        {},
        nameIn<CategoryList, CategoryEdit>(&QuorvelMainWindow::maintainCategories,
                                           &CategoryList::newCategory, QStringLiteral("Travel")),
        QStringLiteral("Undo New Category Travel"),
        {}};
    QTest::newRow("rename category") << Change{
        {},
        nameIn<CategoryList, CategoryEdit>(
            &QuorvelMainWindow::maintainCategories, &CategoryList::editCategory,
            QStringLiteral("Leisure"),
            [](CategoryList *list) { list->selectedCategory = list->document->categories.at(0); }),
        QStringLiteral("Undo Edit Category Leisure"),
        {}};
    QTest::newRow("delete category with its activities") << Change{
        click(1),
        [](QuorvelMainWindow &window) {
            inList<CategoryList>(window, &QuorvelMainWindow::maintainCategories,
                                 [](CategoryList *list) {
                                     list->selectedCategory = list->document->categories.at(2);
                                     QCOMPARE(list->selectedCategory->name, QStringLiteral("Work"));
                                     MessageBox::setNextAnswer(QMessageBox::Yes);
                                     list->deleteCategory();
                                 });
        },
        QStringLiteral("Undo Delete Category Work"),
        QStringLiteral("Coding keeps running without a shortcut button. Ctrl+Z brings the button "
                       "back.")};
    QTest::newRow("new activity") << Change{
        {},
        nameIn<ActivityList, ActivityEdit>(&QuorvelMainWindow::maintainActivities,
                                           &ActivityList::newActivity, QStringLiteral("Reading")),
        QStringLiteral("Undo New Activity Reading"),
        {}};
    QTest::newRow("rename activity") << Change{
        {},
        nameIn<ActivityList, ActivityEdit>(&QuorvelMainWindow::maintainActivities,
                                           &ActivityList::editActivity, QStringLiteral("Weeding"),
                                           [](ActivityList *list) {
                                               list->selectedActivity = activityNamed(
                                                   *list->document, QStringLiteral("Gardening"));
                                           }),
        QStringLiteral("Undo Edit Activity Weeding"),
        {}};
    QTest::newRow("delete activity")
        << Change{{},
                  [](QuorvelMainWindow &window) {
                      inList<ActivityList>(
                          window, &QuorvelMainWindow::maintainActivities, [](ActivityList *list) {
                              list->selectedActivity
                                  = activityNamed(*list->document, QStringLiteral("Gardening"));
                              MessageBox::setNextAnswer(QMessageBox::Yes);
                              list->deleteActivity();
                          });
                  },
                  QStringLiteral("Undo Delete Activity Gardening"),
                  {}};

    QTest::newRow("disable concurrent tasks")
        << Change{[](QuorvelMainWindow &window) {
                      actionNamed(window, QStringLiteral("Allow Concurrent Tasks"))->trigger();
                      window.mainWidget()->button(1)->click();
                      window.mainWidget()->button(3)->click();
                      Clock::setFixed(at(21, 10, 0));
                  },
                  [](QuorvelMainWindow &window) {
                      MessageBox::setNextAnswer(QMessageBox::Yes);
                      actionNamed(window, QStringLiteral("Allow Concurrent Tasks"))->trigger();
                      QVERIFY(!Configuration().allowConcurrentTasks());
                  },
                  QStringLiteral("Undo Disable Concurrent Tasks"),
                  {}};
}

void TestUndo::eachChangeUndoesExactly()
{
    QFETCH(Change, change);
    QuorvelMainWindow window;
    QAction *undo = undoAction(window);
    QAction *redo = redoAction(window);
    if (change.prepare)
        change.prepare(window);
    const bool concurrentBefore = Configuration().allowConcurrentTasks();
    const QByteArray before = bytesOf(window);

    change.change(window);
    const QByteArray after = bytesOf(window);
    const bool concurrentAfter = Configuration().allowConcurrentTasks();
    QVERIFY(after != before);
    QCOMPARE(undo->text(), change.undoText);
    QVERIFY(undo->isEnabled());
    QCOMPARE(window.statusBar()->currentMessage(), change.note);

    undo->trigger();
    QCOMPARE(bytesOf(window), before);
    QCOMPARE(Configuration().allowConcurrentTasks(), concurrentBefore);
    QCOMPARE(actionNamed(window, QStringLiteral("Allow Concurrent Tasks"))->isChecked(),
             concurrentBefore);
    QCOMPARE(redo->text(), QStringLiteral("Redo ") + change.undoText.mid(5));
    QVERIFY(redo->isEnabled());
    // The view shows the document it holds now.
    QCOMPARE(window.mainWidget()->table->model()->rowCount(), window.document()->tasks.size());

    redo->trigger();
    QCOMPARE(bytesOf(window), after);
    QCOMPARE(Configuration().allowConcurrentTasks(), concurrentAfter);
    QCOMPARE(undo->text(), change.undoText);
    QVERIFY(!redo->isEnabled());

    undo->trigger();
    QCOMPARE(bytesOf(window), before);
    // What the window writes is what it shows.
    QVERIFY(window.flush());
    QFile file(QuorvelDocument::dataFilePath());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), before);
}

void TestUndo::keysUndoAndRedo()
{
    QuorvelMainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    const QByteArray before = bytesOf(window);
    window.mainWidget()->button(3)->click();
    const QByteArray after = bytesOf(window);
    QTest::keyClick(&window, Qt::Key_Z, Qt::ControlModifier);
    QCOMPARE(bytesOf(window), before);
    QVERIFY(!window.mainWidget()->button(3)->isChecked());
    QTest::keyClick(&window, Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    QCOMPARE(bytesOf(window), after);
    QVERIFY(window.mainWidget()->button(3)->isChecked());
}

void TestUndo::severalStepsGoBackInOrder()
{
    QuorvelMainWindow window;
    MainWidget *view = window.mainWidget();
    QList<QByteArray> states{bytesOf(window)};
    view->button(1)->click();
    states << bytesOf(window);
    Clock::setFixed(at(21, 10, 0));
    view->button(3)->click();
    states << bytesOf(window);
    Clock::setFixed(at(21, 10, 20));
    view->button(3)->click();
    states << bytesOf(window);
    QCOMPARE(window.changes()->stack()->count(), 3);

    QAction *undo = undoAction(window);
    QCOMPARE(undo->text(), QStringLiteral("Undo Stop of Gardening"));
    undo->trigger();
    QCOMPARE(bytesOf(window), states.at(2));
    QCOMPARE(undo->text(), QStringLiteral("Undo Start of Gardening"));
    undo->trigger();
    QCOMPARE(bytesOf(window), states.at(1));
    QCOMPARE(undo->text(), QStringLiteral("Undo Start of Coding"));
    undo->trigger();
    QCOMPARE(bytesOf(window), states.at(0));
    QCOMPARE(undo->text(), QStringLiteral("Undo"));
    QVERIFY(!undo->isEnabled());

    // A new change drops what could be redone.
    redoAction(window)->trigger();
    QCOMPARE(bytesOf(window), states.at(1));
    Clock::setFixed(at(21, 11, 0));
    view->button(1)->click();
    QVERIFY(!redoAction(window)->isEnabled());
    QCOMPARE(redoAction(window)->text(), QStringLiteral("Redo"));
    QCOMPARE(undo->text(), QStringLiteral("Undo Stop of Coding"));
    QCOMPARE(findTask(*window.document(), QStringLiteral("Coding"), at(21, 9, 30))->stop(),
             at(21, 11, 0));
}

void TestUndo::anEditorsNewActivityIsAStepOfItsOwn()
{
    QuorvelMainWindow window;
    const QByteArray before = bytesOf(window);
    QByteArray withActivity;
    ModalAnswers answers;
    answers.add([&](QWidget *widget) {
        auto *editor = qobject_cast<TaskEdit *>(widget);
        QVERIFY(editor);
        // The editor's own dialog, answered from within this one.
        ModalAnswers inner;
        inner.add(typeName<ActivityEdit>(QStringLiteral("Reading")));
        editor->maintainActivities();
        QCOMPARE(inner.remaining(), 0);
        withActivity = bytesOf(window);
        QCOMPARE(undoAction(window)->text(), QStringLiteral("Undo New Activity Reading"));
        editor->radStartSpecified->setChecked(true);
        editor->setStartDateTime(at(21, 6, 0));
        editor->radStopSpecified->setChecked(true);
        editor->setStopDateTime(at(21, 6, 40));
        editor->accept();
    });
    window.newTask();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(undoAction(window)->text(), QStringLiteral("Undo New Task Reading"));
    undoAction(window)->trigger();
    QCOMPARE(bytesOf(window), withActivity);
    undoAction(window)->trigger();
    QCOMPARE(bytesOf(window), before);
}

void TestUndo::refusedStartLeavesNoStep()
{
    // A task that would overlap is refused before anything changes: nothing to undo.
    QuorvelMainWindow window;
    const QByteArray before = bytesOf(window);
    Clock::setFixed(at(21, 8, 10));
    window.mainWidget()->button(3)->click();
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Cannot Start Task")});
    QCOMPARE(bytesOf(window), before);
    QCOMPARE(window.changes()->stack()->count(), 0);
    QVERIFY(!undoAction(window)->isEnabled());
}

void TestUndo::ampersandInANameIsNoMnemonic()
{
    QuorvelMainWindow window;
    activityNamed(*window.document(), QStringLiteral("Gardening"))->name = QStringLiteral("R&D");
    window.mainWidget()->update();
    window.mainWidget()->button(3)->click();
    QCOMPARE(undoAction(window)->text(), QStringLiteral("Undo Start of R&&D"));
    undoAction(window)->trigger();
    QCOMPARE(redoAction(window)->text(), QStringLiteral("Redo Start of R&&D"));
}

void TestUndo::underAMinuteNotedWithAndWithoutTheQuestion()
{
    QuorvelMainWindow window;
    QToolButton *coding = window.mainWidget()->button(1);
    const QString note
        = QStringLiteral("Removed Coding: it ran under a minute. Ctrl+Z brings it back.");
    for (const bool asked : {true, false}) {
        MessageBox::clearShown();
        window.statusBar()->clearMessage();
        const qsizetype count = window.document()->tasks.size();
        coding->click();
        const QByteArray started = bytesOf(window);
        // The first time the question comes; its Yes skips it from then on.
        MessageBox::setNextAnswer(QMessageBox::Yes);
        coding->click();
        QCOMPARE(shownTitles(),
                 asked ? QStringList{QStringLiteral("Zero Duration Task")} : QStringList());
        QCOMPARE(window.document()->tasks.size(), count);
        const QByteArray removed = bytesOf(window);
        QVERIFY(!coding->isChecked());
        QCOMPARE(window.statusBar()->currentMessage(), note);
        QCOMPARE(undoAction(window)->text(),
                 QStringLiteral("Undo Removal of a Task Under a Minute"));
        undoAction(window)->trigger();
        QCOMPARE(bytesOf(window), started);
        QVERIFY(coding->isChecked());
        redoAction(window)->trigger();
        QCOMPARE(bytesOf(window), removed);
        QVERIFY(!coding->isChecked());
    }
}

namespace {

// 100 000 finished tasks, one every 15 minutes from 2024-01-01 00:00, each 10 minutes long,
// and one running: task k runs from first + 15k minutes to first + 15k + 10 minutes.
const QDateTime First(QDate(2024, 1, 1), QTime(0, 0));
constexpr int Many = 100000;

QDateTime startOf(int k)
{
    return First.addSecs(qint64(k) * 15 * 60);
}

void writeManyTasks()
{
    Configuration().setMode(Configuration::Personal);
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *work = build.category(QStringLiteral("Work"));
    const std::array<Activity *, 3> activities = {build.activity(QStringLiteral("Alpha"), work),
                                                  build.activity(QStringLiteral("Beta"), work),
                                                  build.activity(QStringLiteral("Gamma"), work)};
    for (int k = 0; k < Many; ++k) {
        QVTask *task = build.task(activities.at(k % 3), startOf(k), startOf(k).addSecs(10 * 60),
                                  k >= Many - 2 ? 1 + (k % 3) : 0);
        if (k % 10 == 0) {
            task->synchronised = true;
            task->modifiedTime = startOf(k).addSecs(10 * 60 + 7);
        }
    }
    build.task(activities.at(0), at(21, 9, 0), QDateTime(), 1);
    doc.deletedTaskIds = {3, 5, 8};
    QVERIFY(doc.save());
}

} // namespace

void TestUndo::purgeOfAHundredThousandTasks()
{
    writeManyTasks();
    QuorvelMainWindow window;
    QCOMPARE(window.document()->tasks.size(), Many + 1);
    const QByteArray before = bytesOf(window);
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<PurgeTasks *>(widget);
        QVERIFY(dialog);
        QVERIFY(dialog->radNow->isChecked());
        QCOMPARE(dialog->lblCount->text(),
                 QStringLiteral("Removes 100,000 finished tasks; Edit → Undo brings them back"));
        dialog->accept();
    });
    QTest::ignoreMessage(QtDebugMsg, "PurgeTasks::accept()");
    window.purge();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(window.document()->tasks.size(), 1);
    const QByteArray after = bytesOf(window);
    QCOMPARE(undoAction(window)->text(), QStringLiteral("Undo Purge of 100,000 Tasks"));

    undoAction(window)->trigger();
    QCOMPARE(window.document()->tasks.size(), Many + 1);
    QCOMPARE(bytesOf(window), before);
    QCOMPARE(window.mainWidget()->table->model()->rowCount(), Many + 1);
    redoAction(window)->trigger();
    QCOMPARE(bytesOf(window), after);
    undoAction(window)->trigger();
    QCOMPARE(bytesOf(window), before);
}

void TestUndo::purgeCountFollowsTheMoment()
{
    writeManyTasks();
    QuorvelMainWindow window;
    // Each moment, the line the dialog shows for it, and the tasks a purge then removes.
    struct Moment
    {
        QDateTime when;
        QString line;
        int removed;
    };
    const QList<Moment> moments = {
        {First.addSecs(-60), QStringLiteral("Removes no finished tasks"), 0},
        // Between the stop of task 0 and the start of task 1.
        {startOf(0).addSecs(12 * 60),
         QStringLiteral("Removes 1 finished task; Edit → Undo brings it back"), 1},
        // Between task 43 210 and task 43 211.
        {startOf(43210).addSecs(13 * 60),
         QStringLiteral("Removes 43,211 finished tasks; Edit → Undo brings them back"), 43211},
        // At the stop of task 77 777, which stays.
        {startOf(77777).addSecs(10 * 60),
         QStringLiteral("Removes 77,777 finished tasks; Edit → Undo brings them back"), 77777},
    };
    for (const Moment &moment : moments) {
        ModalAnswers answers;
        answers.add([&moment](QWidget *widget) {
            auto *dialog = qobject_cast<PurgeTasks *>(widget);
            QVERIFY(dialog);
            dialog->radSpecified->setChecked(true);
            dialog->setDateTime(moment.when);
            QCOMPARE(dialog->lblCount->text(), moment.line);
            QVERIFY(dialog->lblCount->isVisible());
            dialog->accept();
        });
        QTest::ignoreMessage(QtDebugMsg, "PurgeTasks::accept()");
        const int tasksBefore = int(window.document()->tasks.size());
        window.purge();
        QCOMPARE(answers.remaining(), 0);
        QCOMPARE(tasksBefore - int(window.document()->tasks.size()), moment.removed);
        // Back to the whole document for the next moment.
        if (moment.removed > 0)
            undoAction(window)->trigger();
        QCOMPARE(int(window.document()->tasks.size()), Many + 1);
    }

    // "Now", and the date and time of the form, counted as they change.
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<PurgeTasks *>(widget);
        QVERIFY(dialog);
        QCOMPARE(dialog->lblCount->text(),
                 QStringLiteral("Removes 100,000 finished tasks; Edit → Undo brings them back"));
        dialog->radSpecified->setChecked(true);
        dialog->setDateTime(startOf(2).addSecs(10 * 60));
        QCOMPARE(dialog->lblCount->text(),
                 QStringLiteral("Removes 2 finished tasks; Edit → Undo brings them back"));
        dialog->spinMinute->setValue(dialog->spinMinute->value() + 1);
        QCOMPARE(dialog->lblCount->text(),
                 QStringLiteral("Removes 3 finished tasks; Edit → Undo brings them back"));
        dialog->radNow->setChecked(true);
        QCOMPARE(dialog->lblCount->text(),
                 QStringLiteral("Removes 100,000 finished tasks; Edit → Undo brings them back"));
        dialog->reject();
    });
    window.purge();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(int(window.document()->tasks.size()), Many + 1);
}

void TestUndo::historyClearedWhenTheFileIsReadAgain()
{
    QuorvelMainWindow window;
    window.mainWidget()->button(3)->click();
    QVERIFY(window.flush());
    QVERIFY(undoAction(window)->isEnabled());

    // Another program replaces the data file.
    {
        QuorvelDocument other;
        QVERIFY(other.load());
        DocumentBuilder(other).task(other.activities.at(0), at(21, 6, 0), at(21, 6, 30));
        other.tasks.sort();
        QVERIFY(other.save());
    }
    window.reload();
    QCOMPARE(window.changes()->stack()->count(), 0);
    QVERIFY(!undoAction(window)->isEnabled());
    QCOMPARE(undoAction(window)->text(),
             QStringLiteral("Undo (history cleared by reading the data file again)"));
    QVERIFY(!redoAction(window)->isEnabled());

    // The next change is undone as any other.
    const QByteArray before = bytesOf(window);
    Clock::setFixed(at(21, 10, 0));
    window.mainWidget()->button(3)->click();
    QCOMPARE(undoAction(window)->text(), QStringLiteral("Undo Stop of Gardening"));
    undoAction(window)->trigger();
    QCOMPARE(bytesOf(window), before);
    QCOMPARE(undoAction(window)->text(), QStringLiteral("Undo"));
}

void TestUndo::historyClearedByAChangeOfOperatingMode()
{
    QuorvelMainWindow window;
    window.mainWidget()->button(3)->click();
    QVERIFY(undoAction(window)->isEnabled());
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<OperatingMode *>(widget);
        QVERIFY(dialog);
        dialog->radGroup->setChecked(true);
        dialog->txtServer->setText(QStringLiteral("sync.example.org"));
        dialog->txtUserID->setText(QStringLiteral("alice"));
        dialog->txtPassword->setText(QStringLiteral("secret"));
        dialog->accept();
    });
    MessageBox::setNextAnswer(QMessageBox::Yes);
    window.operatingMode();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(Configuration().mode(), Configuration::Group);
    QVERIFY(window.document()->tasks.isEmpty());
    QCOMPARE(window.changes()->stack()->count(), 0);
    QCOMPARE(undoAction(window)->text(),
             QStringLiteral("Undo (history cleared by the change of operating mode)"));
    QVERIFY(!undoAction(window)->isEnabled());
}

void TestUndo::historyKeptWhenTheModeStays()
{
    QuorvelMainWindow window;
    window.mainWidget()->button(3)->click();
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        auto *dialog = qobject_cast<OperatingMode *>(widget);
        QVERIFY(dialog);
        QVERIFY(dialog->radPersonal->isChecked());
        dialog->accept();
    });
    window.operatingMode();
    QCOMPARE(answers.remaining(), 0);
    QCOMPARE(window.changes()->stack()->count(), 1);
    QCOMPARE(undoAction(window)->text(), QStringLiteral("Undo Start of Gardening"));
}

void TestUndo::trappedTaskStopsWhereTheNextTaskStarts()
{
    QuorvelMainWindow window;
    MainWidget *view = window.mainWidget();
    // Gardening starts at 09:30; its start is then moved back to 11-20 07:30, before every
    // task of that day and of today. Concurrent tasks are off. Its first minute is free, so
    // the editor takes it.
    view->button(3)->click();
    QVTask *running = findTask(*window.document(), QStringLiteral("Gardening"), at(21, 9, 30));
    QVERIFY(running);
    selectTask(window, running);
    ModalAnswers answers;
    answers.add([](QWidget *widget) {
        auto *editor = qobject_cast<TaskEdit *>(widget);
        QVERIFY(editor);
        QVERIFY(editor->radStopLater->isChecked());
        editor->radStartSpecified->setChecked(true);
        editor->setStartDateTime(at(20, 7, 30));
        editor->accept();
    });
    window.editTask();
    QCOMPARE(answers.remaining(), 0);
    QVERIFY(MessageBox::shown().isEmpty());
    running = findTask(*window.document(), QStringLiteral("Gardening"), at(20, 7, 30));
    QVERIFY(running);
    QVERIFY(running->isRunning());
    QVERIFY(view->button(3)->isChecked());
    QCOMPARE(window.document()->latestStop(running), at(20, 8, 0));

    // The button's stop is refused; the box offers the minute where Coding starts.
    Clock::setFixed(at(21, 10, 0));
    const QByteArray before = bytesOf(window);
    view->button(3)->click();
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Cannot Stop Task")});
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("This task cannot be stopped\nnow because this would cause it\nto "
                            "overlap with another task.\nYou can Edit the task to set\na stop "
                            "time."));
    QCOMPARE(MessageBox::shown().at(0).buttons,
             (QStringList{QStringLiteral("Stop at 11/20/26 8:00 AM"), QStringLiteral("OK")}));
    QCOMPARE(MessageBox::shown().at(0).icon, QMessageBox::Information);
    // OK leaves it running.
    QCOMPARE(bytesOf(window), before);
    QVERIFY(running->isRunning());
    QVERIFY(view->button(3)->isChecked());

    // The way out stops it there, by the buttons' rules.
    MessageBox::clearShown();
    MessageBox::setNextChoice(0);
    view->button(3)->click();
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Cannot Stop Task")});
    running = findTask(*window.document(), QStringLiteral("Gardening"), at(20, 7, 30));
    QVERIFY(running);
    QCOMPARE(running->stop(), at(20, 8, 0));
    QVERIFY(!view->button(3)->isChecked());
    QCOMPARE(view->selectedTask, running);
    QCOMPARE(undoAction(window)->text(), QStringLiteral("Undo Stop of Gardening"));
    undoAction(window)->trigger();
    QCOMPARE(bytesOf(window), before);
}

void TestUndo::trappedTaskRefusalWithoutAWayOut()
{
    // A task running since the very minute another starts has no minute to stop at: the
    // refusal stays as it was, with its one button.
    QuorvelMainWindow window;
    window.mainWidget()->button(3)->click();
    QVTask *running = findTask(*window.document(), QStringLiteral("Gardening"), at(21, 9, 30));
    QVERIFY(running);
    DocumentBuilder(*window.document())
        .task(activityNamed(*window.document(), QStringLiteral("Coding")), at(21, 9, 31),
              at(21, 9, 40));
    window.document()->tasks.sort();
    QCOMPARE(window.document()->latestStop(running), at(21, 9, 31));
    running->setStart(at(21, 9, 31));
    QVERIFY(!window.document()->latestStop(running).isValid());
    Clock::setFixed(at(21, 10, 0));
    window.mainWidget()->button(3)->click();
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Cannot Stop Task")});
    QCOMPARE(MessageBox::shown().at(0).buttons, QStringList());
    QVERIFY(running->isRunning());
}

void TestUndo::deletingTheCategoryOfARunningTaskNamesIt()
{
    QuorvelMainWindow window;
    window.mainWidget()->button(1)->click();
    inList<CategoryList>(window, &QuorvelMainWindow::maintainCategories, [](CategoryList *list) {
        list->selectedCategory = list->document->categories.at(2);
        MessageBox::setNextAnswer(QMessageBox::Yes);
        list->deleteCategory();
    });
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Delete Category")});
    // The question as it was, and below it the running task.
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("There are 4 task(s) and 2\nactivities using this category.\n"
                            "Deleting the category will\nautomatically delete all the\n"
                            "associated activities.\n\nProceed?"));
    QCOMPARE(MessageBox::shown().at(0).informative,
             QStringLiteral("Coding is running now; it keeps running without a shortcut "
                            "button."));
    // It runs on, without a button.
    QVTask *coding = findTask(*window.document(), QStringLiteral("Coding"), at(21, 9, 30));
    QVERIFY(coding->isRunning());
    QCOMPARE(coding->shortcut, 0);
    QVERIFY(!window.mainWidget()->button(1)->isEnabled());
}

void TestUndo::deletingTheActivityOfARunningTaskNamesIt()
{
    QuorvelMainWindow window;
    window.mainWidget()->button(3)->click();
    inList<ActivityList>(window, &QuorvelMainWindow::maintainActivities, [](ActivityList *list) {
        list->selectedActivity = activityNamed(*list->document, QStringLiteral("Gardening"));
        MessageBox::setNextAnswer(QMessageBox::Yes);
        list->deleteActivity();
    });
    QCOMPARE(shownTitles(), QStringList{QStringLiteral("Delete Activity")});
    QCOMPARE(MessageBox::shown().at(0).text,
             QStringLiteral("There are 2 task(s) using\nthis activity. Are you sure\nyou want "
                            "to delete\nGardening?"));
    QCOMPARE(MessageBox::shown().at(0).informative,
             QStringLiteral("Gardening is running now; it keeps running without a shortcut "
                            "button."));
    QCOMPARE(window.statusBar()->currentMessage(),
             QStringLiteral("Gardening keeps running without a shortcut button. Ctrl+Z brings "
                            "the button back."));
    QVERIFY(findTask(*window.document(), QStringLiteral("Gardening"), at(21, 9, 30))->isRunning());
}

void TestUndo::deleteTaskKeepsTheRow()
{
    QuorvelMainWindow window;
    // A running task at the end of the list.
    window.mainWidget()->button(3)->click();
    const SortedList<QVTask> &tasks = window.document()->tasks;
    QCOMPARE(tasks.size(), 6);
    QVTask *next = tasks.at(2);
    selectTask(window, tasks.at(1));
    MessageBox::setNextAnswer(QMessageBox::Yes);
    window.deleteTask();
    QCOMPARE(tasks.size(), 5);
    QCOMPARE(window.mainWidget()->selectedTask, next);
    QCOMPARE(window.mainWidget()->table->currentIndex().row(), 1);
    // The last row's task deleted: the row before becomes current.
    selectTask(window, tasks.last());
    QVTask *before = tasks.at(3);
    MessageBox::setNextAnswer(QMessageBox::Yes);
    window.deleteTask();
    QCOMPARE(window.mainWidget()->selectedTask, before);
    QCOMPARE(window.mainWidget()->table->currentIndex().row(), 3);
}

int main(int argc, char *argv[])
{
    TestEnvironment environment;
    QuorvelApplication app(argc, argv);
    MessageBox::setTesting(true);
    TestUndo tc;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&tc, argc, argv);
}

#include "tst_undo.moc"
