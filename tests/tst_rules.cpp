// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DocumentBuilder.h"
#include "TestEnvironment.h"

#include "model/QuorvelDocument.h"
#include "platform/Clock.h"

#include <QPointer>
#include <QRandomGenerator>
#include <QSet>
#include <QtTest>

#include <memory>

namespace {

QStringList namesOf(const SortedList<Activity> &list)
{
    QStringList names;
    for (const Activity *a : list)
        names << a->name;
    return names;
}

QStringList namesOf(const SortedList<ActivityCategory> &list)
{
    QStringList names;
    for (const ActivityCategory *c : list)
        names << c->name;
    return names;
}

// Fails the calling test when one slot number is held by two tasks.
void verifySlotsHeldOnce(const QuorvelDocument &doc)
{
    QVTask *holder[4] = {nullptr, nullptr, nullptr, nullptr};
    for (QVTask *t : doc.tasks) {
        if (t->shortcut < 1 || t->shortcut > 3)
            continue;
        if (holder[t->shortcut]) {
            QFAIL(qPrintable(QStringLiteral("slot %1 held by tasks %2 and %3")
                                 .arg(t->shortcut)
                                 .arg(holder[t->shortcut]->id)
                                 .arg(t->id)));
        }
        holder[t->shortcut] = t;
    }
}

} // namespace

class TestRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void validateAgainstStoppedTask_data();
    void validateAgainstStoppedTask();
    void validateAgainstRunningTask_data();
    void validateAgainstRunningTask();
    void validateSkipsTheTaskItself();
    void validateSkipsTasksStartingAtExcludeStart();
    void validateOverlapsAllowedWithConcurrency();

    void includeShortcutTakesLowestFreeSlot();
    void includeShortcutReusesEarliestStoppedHolder();
    void includeShortcutEqualStopsKeepFirstInList();
    void includeShortcutTakesFromLongestRunning();
    void includeShortcutMovesSlotOfSameActivity();
    void includeShortcutSkipsObsoleteActivity();
    void includeShortcutLeavesTaskWithSlot();
    void includeShortcutStampsChangedTasks();

    void stopTaskHandsSlotToRunningTaskOfActivity();
    void stopTaskHandsSlotToLastRunningInList();
    void stopTaskKeepsSlotWithoutRunningTask();
    void stopTaskWithoutSlotPassesNothing();

    void removeTaskRecordsSynchronisedIds();
    void removeTaskDoesNotDelete();
    void removeTaskPassesSlotToRunningTask();
    void removeTaskPassesSlotToEarliestStoppedTask();
    void removeTaskWithoutSlotPassesNothing();

    void slotsNeverHeldTwice();

    void activityDuration_data();
    void activityDuration();
    void activityDurationTruncatesPerTask();
    void activityDurationCountsOnlyThatActivity();
    void activityDurationRunningFlagResets();

    void numActiveActivitiesAndCategories();
    void hasActivityGotTasks();
    void removeObsoleteActivitiesAndCategories();
    void allocateId();
    void activeTasks();
    void createSampleData();
};

void TestRules::init()
{
    TestEnvironment::wipe();
    Clock::setFixed(at(21, 9, 30));
}

void TestRules::cleanup()
{
    Clock::setFixed(at(21, 9, 30));
}

void TestRules::validateAgainstStoppedTask_data()
{
    QTest::addColumn<bool>("concurrent");
    QTest::addColumn<QDateTime>("start");
    QTest::addColumn<QDateTime>("stop");
    QTest::addColumn<int>("code");

    // The document holds one task from 10:00 to 11:00.
    QTest::newRow("right after") << false << at(21, 11, 0) << at(21, 12, 0) << 0;
    QTest::newRow("right before") << false << at(21, 9, 0) << at(21, 10, 0) << 0;
    QTest::newRow("other day") << false << at(22, 10, 0) << at(22, 11, 0) << 0;
    QTest::newRow("overlapping the end") << false << at(21, 10, 30) << at(21, 11, 30) << 3;
    QTest::newRow("overlapping the start") << false << at(21, 9, 30) << at(21, 10, 30) << 3;
    QTest::newRow("the same times") << false << at(21, 10, 0) << at(21, 11, 0) << 3;
    QTest::newRow("around it") << false << at(21, 9, 0) << at(21, 12, 0) << 3;
    QTest::newRow("inside it") << false << at(21, 10, 15) << at(21, 10, 45) << 3;
    QTest::newRow("same start, shorter") << false << at(21, 10, 0) << at(21, 10, 30) << 3;
    QTest::newRow("same stop, later start") << false << at(21, 10, 30) << at(21, 11, 0) << 3;
    QTest::newRow("stop before start") << false << at(21, 11, 0) << at(21, 10, 0) << 1;
    QTest::newRow("zero length") << false << at(21, 10, 0) << at(21, 10, 0) << 2;
    QTest::newRow("zero length elsewhere") << false << at(21, 15, 0) << at(21, 15, 0) << 2;
    QTest::newRow("zero length, concurrent") << true << at(21, 10, 0) << at(21, 10, 0) << 2;
    QTest::newRow("stop before start, concurrent") << true << at(21, 11, 0) << at(21, 10, 0) << 1;
    QTest::newRow("overlapping, concurrent") << true << at(21, 10, 30) << at(21, 11, 30) << 0;
    QTest::newRow("the same times, concurrent") << true << at(21, 10, 0) << at(21, 11, 0) << 0;
    QTest::newRow("around it, concurrent") << true << at(21, 9, 0) << at(21, 12, 0) << 0;
}

void TestRules::validateAgainstStoppedTask()
{
    QFETCH(bool, concurrent);
    QFETCH(QDateTime, start);
    QFETCH(QDateTime, stop);
    QFETCH(int, code);

    QuorvelDocument doc;
    doc.configuration.setAllowConcurrentTasks(concurrent);
    DocumentBuilder build(doc);
    Activity *writing = build.activity(QStringLiteral("Writing"), nullptr);
    build.task(writing, at(21, 10, 0), at(21, 11, 0));

    QVTask candidate;
    candidate.activity = writing;
    QCOMPARE(doc.validateTask(start, stop, QDateTime(), &candidate), code);
    QCOMPARE(doc.validateTask(start, stop, QDateTime(), nullptr), code);
}

void TestRules::validateAgainstRunningTask_data()
{
    QTest::addColumn<QDateTime>("start");
    QTest::addColumn<QDateTime>("stop");
    QTest::addColumn<int>("code");

    // The document holds one task running since 10:00: it occupies 10:00 to 10:01 only.
    QTest::newRow("inside its first minute") << at(21, 10, 0, 30) << at(21, 10, 30) << 3;
    QTest::newRow("from its second minute") << at(21, 10, 1) << at(21, 10, 30) << 0;
    QTest::newRow("much later") << at(21, 14, 0) << at(21, 15, 0) << 0;
    QTest::newRow("the same start") << at(21, 10, 0) << at(21, 10, 30) << 3;
    QTest::newRow("exactly its first minute") << at(21, 10, 0) << at(21, 10, 1) << 3;
    QTest::newRow("around its start") << at(21, 9, 0) << at(21, 10, 30) << 3;
    QTest::newRow("up to its start") << at(21, 9, 0) << at(21, 10, 0) << 0;
    QTest::newRow("into its first minute") << at(21, 9, 0) << at(21, 10, 0, 30) << 3;
}

void TestRules::validateAgainstRunningTask()
{
    QFETCH(QDateTime, start);
    QFETCH(QDateTime, stop);
    QFETCH(int, code);

    QuorvelDocument doc;
    doc.configuration.setAllowConcurrentTasks(false);
    DocumentBuilder build(doc);
    Activity *writing = build.activity(QStringLiteral("Writing"), nullptr);
    build.task(writing, at(21, 10, 0), QDateTime());

    QVTask candidate;
    candidate.activity = writing;
    QCOMPARE(doc.validateTask(start, stop, QDateTime(), &candidate), code);
}

void TestRules::validateSkipsTheTaskItself()
{
    QuorvelDocument doc;
    doc.configuration.setAllowConcurrentTasks(false);
    DocumentBuilder build(doc);
    Activity *writing = build.activity(QStringLiteral("Writing"), nullptr);
    QVTask *edited = build.task(writing, at(21, 10, 0), at(21, 11, 0));
    build.task(writing, at(21, 12, 0), at(21, 13, 0));
    doc.tasks.sort();

    // Moving a task over its own old times is fine ...
    QCOMPARE(doc.validateTask(at(21, 10, 30), at(21, 11, 30), QDateTime(), edited), 0);
    QCOMPARE(doc.validateTask(at(21, 10, 0), at(21, 11, 0), QDateTime(), edited), 0);
    // ... over another task is not.
    QCOMPARE(doc.validateTask(at(21, 11, 30), at(21, 12, 30), QDateTime(), edited), 3);
    // Without naming the task, its old times count against it.
    QCOMPARE(doc.validateTask(at(21, 10, 30), at(21, 11, 30), QDateTime(), nullptr), 3);
}

void TestRules::validateSkipsTasksStartingAtExcludeStart()
{
    QuorvelDocument doc;
    doc.configuration.setAllowConcurrentTasks(false);
    DocumentBuilder build(doc);
    const auto [writing, reading] = build.activities({"Writing", "Reading"});
    // Two tasks at the same start, as concurrency once allowed.
    build.task(writing, at(21, 10, 0), at(21, 11, 0));
    build.task(reading, at(21, 10, 0), at(21, 10, 45));
    build.task(reading, at(21, 12, 0), at(21, 13, 0));
    doc.tasks.sort();

    QVTask candidate;
    candidate.activity = writing;
    QCOMPARE(doc.validateTask(at(21, 10, 30), at(21, 11, 30), QDateTime(), &candidate), 3);
    // Every task starting exactly at excludeStart is left out ...
    QCOMPARE(doc.validateTask(at(21, 10, 30), at(21, 11, 30), at(21, 10, 0), &candidate), 0);
    // ... but only those.
    QCOMPARE(doc.validateTask(at(21, 10, 30), at(21, 12, 30), at(21, 10, 0), &candidate), 3);
    QCOMPARE(doc.validateTask(at(21, 10, 30), at(21, 11, 30), at(21, 10, 1), &candidate), 3);
}

void TestRules::validateOverlapsAllowedWithConcurrency()
{
    QuorvelDocument doc;
    doc.configuration.setAllowConcurrentTasks(true);
    DocumentBuilder build(doc);
    Activity *writing = build.activity(QStringLiteral("Writing"), nullptr);
    build.task(writing, at(21, 10, 0), at(21, 11, 0));
    build.task(writing, at(21, 12, 0), QDateTime());

    QCOMPARE(doc.validateTask(at(21, 10, 30), at(21, 12, 30), QDateTime(), nullptr), 0);
    QCOMPARE(doc.validateTask(at(21, 12, 0), at(21, 12, 1), QDateTime(), nullptr), 0);

    // The setting is read at each call.
    doc.configuration.setAllowConcurrentTasks(false);
    QCOMPARE(doc.validateTask(at(21, 10, 30), at(21, 12, 30), QDateTime(), nullptr), 3);
}

void TestRules::includeShortcutTakesLowestFreeSlot()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [a, c, d] = build.activities({"A", "C", "D"});
    QVTask *holds1 = build.task(a, at(21, 8, 0), at(21, 8, 30), 1);
    QVTask *holds3 = build.task(c, at(21, 9, 0), QDateTime(), 3);
    QVTask *fresh = build.task(d, at(21, 9, 30), QDateTime());
    doc.tasks.sort();

    doc.includeShortcut(fresh);
    QCOMPARE(fresh->shortcut, 2);
    QCOMPARE(holds1->shortcut, 1);
    QCOMPARE(holds3->shortcut, 3);

    // With nothing held, slot 1 comes first.
    QuorvelDocument empty;
    DocumentBuilder buildEmpty(empty);
    Activity *e = buildEmpty.activity(QStringLiteral("E"), nullptr);
    QVTask *first = buildEmpty.task(e, at(21, 9, 30), QDateTime());
    empty.includeShortcut(first);
    QCOMPARE(first->shortcut, 1);
}

void TestRules::includeShortcutReusesEarliestStoppedHolder()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [a, b, c, d] = build.activities({"A", "B", "C", "D"});
    // First in the list but stopped later than the second.
    QVTask *stoppedLate = build.task(a, at(21, 6, 0), at(21, 8, 0), 1);
    QVTask *stoppedEarly = build.task(b, at(21, 7, 0), at(21, 7, 30), 3);
    QVTask *running = build.task(c, at(21, 5, 0), QDateTime(), 2);
    QVTask *fresh = build.task(d, at(21, 9, 30), QDateTime());
    doc.tasks.sort();
    QCOMPARE(doc.tasks, QList<QVTask *>({running, stoppedLate, stoppedEarly, fresh}));

    doc.includeShortcut(fresh);
    QCOMPARE(fresh->shortcut, 3);
    QCOMPARE(stoppedEarly->shortcut, 0);
    QCOMPARE(stoppedLate->shortcut, 1);
    QCOMPARE(running->shortcut, 2);
    verifySlotsHeldOnce(doc);
}

void TestRules::includeShortcutEqualStopsKeepFirstInList()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [a, b, c, d] = build.activities({"A", "B", "C", "D"});
    QVTask *first = build.task(a, at(21, 6, 0), at(21, 8, 0), 2);
    QVTask *second = build.task(b, at(21, 7, 0), at(21, 8, 0), 1);
    QVTask *running = build.task(c, at(21, 9, 0), QDateTime(), 3);
    QVTask *fresh = build.task(d, at(21, 9, 30), QDateTime());
    doc.tasks.sort();

    doc.includeShortcut(fresh);
    QCOMPARE(fresh->shortcut, 2);
    QCOMPARE(first->shortcut, 0);
    QCOMPARE(second->shortcut, 1);
    QCOMPARE(running->shortcut, 3);
}

void TestRules::includeShortcutTakesFromLongestRunning()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [a, b, c, d] = build.activities({"A", "B", "C", "D"});
    // Left unsorted on purpose: the earliest start is not the first in the list.
    QVTask *runningLate = build.task(a, at(21, 9, 0), QDateTime(), 1);
    QVTask *runningEarliest = build.task(b, at(21, 7, 0), QDateTime(), 3);
    QVTask *runningMiddle = build.task(c, at(21, 8, 0), QDateTime(), 2);
    QVTask *fresh = build.task(d, at(21, 9, 30), QDateTime());

    doc.includeShortcut(fresh);
    QCOMPARE(fresh->shortcut, 3);
    QCOMPARE(runningEarliest->shortcut, 0);
    QCOMPARE(runningLate->shortcut, 1);
    QCOMPARE(runningMiddle->shortcut, 2);
    verifySlotsHeldOnce(doc);
}

void TestRules::includeShortcutMovesSlotOfSameActivity()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [a, b] = build.activities({"A", "B"});
    QVTask *earlier = build.task(a, at(21, 7, 0), at(21, 8, 0), 2);
    QVTask *other = build.task(b, at(21, 8, 0), at(21, 9, 0), 3);
    QVTask *fresh = build.task(a, at(21, 9, 30), QDateTime());
    doc.tasks.sort();

    // Slot 1 is free, yet the button of the activity follows the new task.
    doc.includeShortcut(fresh);
    QCOMPARE(fresh->shortcut, 2);
    QCOMPARE(earlier->shortcut, 0);
    QCOMPARE(other->shortcut, 3);
}

void TestRules::includeShortcutSkipsObsoleteActivity()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    Activity *withdrawn = build.activity(QStringLiteral("Old"), nullptr, true);
    Activity *b = build.activity(QStringLiteral("B"), nullptr);
    QVTask *other = build.task(b, at(21, 8, 0), at(21, 9, 0), 2);
    QVTask *fresh = build.task(withdrawn, at(21, 9, 30), QDateTime());
    doc.tasks.sort();

    doc.includeShortcut(fresh);
    QCOMPARE(fresh->shortcut, 0);
    QCOMPARE(other->shortcut, 2);

    // Not even from an earlier task of the same activity.
    QuorvelDocument doc2;
    DocumentBuilder build2(doc2);
    Activity *withdrawn2 = build2.activity(QStringLiteral("Old"), nullptr, true);
    QVTask *holder = build2.task(withdrawn2, at(21, 8, 0), at(21, 9, 0), 1);
    QVTask *fresh2 = build2.task(withdrawn2, at(21, 9, 30), QDateTime());
    doc2.includeShortcut(fresh2);
    QCOMPARE(fresh2->shortcut, 0);
    QCOMPARE(holder->shortcut, 1);
}

void TestRules::includeShortcutLeavesTaskWithSlot()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [a, b] = build.activities({"A", "B"});
    QVTask *holder = build.task(a, at(21, 8, 0), at(21, 9, 0), 1);
    QVTask *other = build.task(b, at(21, 7, 0), at(21, 7, 30), 2);
    QVTask *task = build.task(a, at(21, 9, 30), QDateTime(), 3);
    task->synchronised = true;
    doc.tasks.sort();

    doc.includeShortcut(task);
    QCOMPARE(task->shortcut, 3);
    QCOMPARE(holder->shortcut, 1);
    QCOMPARE(other->shortcut, 2);
    QVERIFY(task->modifiedTime.isNull());
}

void TestRules::includeShortcutStampsChangedTasks()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [a, b] = build.activities({"A", "B"});
    QVTask *earlier = build.task(a, at(21, 7, 0), at(21, 8, 0), 1);
    QVTask *bystander = build.task(b, at(21, 8, 0), at(21, 9, 0), 2);
    QVTask *fresh = build.task(a, at(21, 9, 30), QDateTime());
    for (QVTask *t : doc.tasks)
        t->synchronised = true;
    doc.tasks.sort();

    doc.includeShortcut(fresh);
    QCOMPARE(fresh->shortcut, 1);
    QCOMPARE(earlier->shortcut, 0);
    QCOMPARE(fresh->modifiedTime, at(21, 9, 30));
    QCOMPARE(earlier->modifiedTime, at(21, 9, 30));
    QVERIFY(bystander->modifiedTime.isNull());

    // A free slot stamps only the task that takes it.
    Clock::advance(60);
    Activity *c = build.activity(QStringLiteral("C"), nullptr);
    QVTask *third = build.task(c, at(21, 9, 31), QDateTime());
    third->synchronised = true;
    doc.includeShortcut(third);
    QCOMPARE(third->shortcut, 3);
    QCOMPARE(third->modifiedTime, at(21, 9, 31));
    QCOMPARE(fresh->modifiedTime, at(21, 9, 30));
    QVERIFY(bystander->modifiedTime.isNull());
}

void TestRules::stopTaskHandsSlotToRunningTaskOfActivity()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [a, b] = build.activities({"A", "B"});
    QVTask *holder = build.task(a, at(21, 8, 0), QDateTime(), 2);
    QVTask *otherActivity = build.task(b, at(21, 8, 30), QDateTime(), 1);
    QVTask *sameActivity = build.task(a, at(21, 9, 0), QDateTime());
    holder->synchronised = true;
    doc.tasks.sort();

    doc.stopTask(holder, at(21, 9, 30));
    QVERIFY(!holder->isRunning());
    QCOMPARE(holder->stop(), at(21, 9, 30));
    QCOMPARE(holder->stopText, QStringLiteral("11/21/26 9:30 AM"));
    QCOMPARE(holder->modifiedTime, at(21, 9, 30));
    QCOMPARE(holder->shortcut, 0);
    QCOMPARE(sameActivity->shortcut, 2);
    QCOMPARE(otherActivity->shortcut, 1);
    QVERIFY(sameActivity->isRunning());
    verifySlotsHeldOnce(doc);
}

void TestRules::stopTaskHandsSlotToLastRunningInList()
{
    QuorvelDocument doc;
    doc.configuration.setAllowConcurrentTasks(true);
    DocumentBuilder build(doc);
    Activity *a = build.activity(QStringLiteral("A"), nullptr);
    QVTask *holder = build.task(a, at(21, 7, 0), QDateTime(), 1);
    QVTask *middle = build.task(a, at(21, 8, 0), QDateTime());
    QVTask *last = build.task(a, at(21, 9, 0), QDateTime());
    QVTask *stoppedAfter = build.task(a, at(21, 9, 10), at(21, 9, 20));
    doc.tasks.sort();

    doc.stopTask(holder, at(21, 9, 30));
    QCOMPARE(holder->shortcut, 0);
    QCOMPARE(last->shortcut, 1);
    QCOMPARE(middle->shortcut, 0);
    QCOMPARE(stoppedAfter->shortcut, 0);
}

void TestRules::stopTaskKeepsSlotWithoutRunningTask()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [a, b] = build.activities({"A", "B"});
    QVTask *stoppedSame = build.task(a, at(21, 7, 0), at(21, 7, 30));
    QVTask *holder = build.task(a, at(21, 8, 0), QDateTime(), 3);
    QVTask *runningOther = build.task(b, at(21, 9, 0), QDateTime());
    doc.tasks.sort();

    doc.stopTask(holder, at(21, 9, 15));
    QCOMPARE(holder->stop(), at(21, 9, 15));
    QCOMPARE(holder->shortcut, 3);
    QCOMPARE(stoppedSame->shortcut, 0);
    QCOMPARE(runningOther->shortcut, 0);
}

void TestRules::stopTaskWithoutSlotPassesNothing()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    Activity *a = build.activity(QStringLiteral("A"), nullptr);
    QVTask *stopped = build.task(a, at(21, 7, 0), QDateTime());
    QVTask *running = build.task(a, at(21, 8, 0), QDateTime());
    doc.tasks.sort();

    doc.stopTask(stopped, at(21, 7, 45));
    QCOMPARE(stopped->stop(), at(21, 7, 45));
    QCOMPARE(stopped->shortcut, 0);
    QCOMPARE(running->shortcut, 0);
    // Not synchronised: no stamp.
    QVERIFY(stopped->modifiedTime.isNull());
}

void TestRules::removeTaskRecordsSynchronisedIds()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    Activity *a = build.activity(QStringLiteral("A"), nullptr);
    QVTask *local = build.task(a, at(21, 7, 0), at(21, 7, 30));
    QVTask *known = build.task(a, at(21, 8, 0), at(21, 8, 30));
    QVTask *kept = build.task(a, at(21, 9, 0), at(21, 9, 15));
    known->synchronised = true;
    known->id = 4711;
    doc.deletedTaskIds = {17};
    doc.tasks.sort();

    doc.removeTask(local);
    QCOMPARE(doc.deletedTaskIds, QList<int>({17}));
    QCOMPARE(doc.tasks, QList<QVTask *>({known, kept}));

    doc.removeTask(known);
    QCOMPARE(doc.deletedTaskIds, QList<int>({17, 4711}));
    QCOMPARE(doc.tasks, QList<QVTask *>({kept}));

    delete local;
    delete known;
}

void TestRules::removeTaskDoesNotDelete()
{
    auto doc = std::make_unique<QuorvelDocument>();
    DocumentBuilder build(*doc);
    Activity *a = build.activity(QStringLiteral("A"), nullptr);
    QVTask *task = build.task(a, at(21, 7, 0), at(21, 7, 30), 1);
    QPointer<QVTask> watch(task);

    doc->removeTask(task);
    QVERIFY(doc->tasks.isEmpty());
    QVERIFY(!watch.isNull());
    QCOMPARE(task->id, watch->id);
    QCOMPARE(task->activity, a);
    QCOMPARE(task->start(), at(21, 7, 0));

    // The document no longer owns it: dropping the document leaves it alone.
    doc.reset();
    QVERIFY(!watch.isNull());
    delete task;
    QVERIFY(watch.isNull());
}

void TestRules::removeTaskPassesSlotToRunningTask()
{
    QuorvelDocument doc;
    doc.configuration.setAllowConcurrentTasks(true);
    DocumentBuilder build(doc);
    const auto [a, b, c] = build.activities({"A", "B", "C"});
    QVTask *holder1 = build.task(b, at(21, 5, 0), at(21, 5, 30), 1);
    QVTask *holder3 = build.task(c, at(21, 5, 30), at(21, 6, 0), 3);
    QVTask *stoppedSame = build.task(a, at(21, 6, 0), at(21, 6, 30));
    QVTask *removed = build.task(a, at(21, 7, 0), at(21, 7, 30), 2);
    QVTask *runningEarly = build.task(a, at(21, 8, 0), QDateTime());
    QVTask *runningLast = build.task(a, at(21, 9, 0), QDateTime());
    QVTask *runningOther = build.task(b, at(21, 9, 10), QDateTime());
    doc.tasks.sort();

    doc.removeTask(removed);
    QCOMPARE(runningLast->shortcut, 2);
    QCOMPARE(runningEarly->shortcut, 0);
    QCOMPARE(stoppedSame->shortcut, 0);
    QCOMPARE(runningOther->shortcut, 0);
    QCOMPARE(holder1->shortcut, 1);
    QCOMPARE(holder3->shortcut, 3);
    QVERIFY(doc.deletedTaskIds.isEmpty());
    verifySlotsHeldOnce(doc);
    delete removed;
}

void TestRules::removeTaskPassesSlotToEarliestStoppedTask()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [a, b, c] = build.activities({"A", "B", "C"});
    QVTask *holder1 = build.task(b, at(21, 5, 0), at(21, 5, 30), 1);
    QVTask *earliest = build.task(a, at(21, 6, 0), at(21, 6, 30));
    QVTask *later = build.task(a, at(21, 7, 0), at(21, 7, 30));
    QVTask *removed = build.task(a, at(21, 8, 0), at(21, 8, 30), 2);
    QVTask *latest = build.task(a, at(21, 8, 45), at(21, 9, 0));
    QVTask *holder3 = build.task(c, at(21, 9, 0), QDateTime(), 3);
    doc.tasks.sort();

    doc.removeTask(removed);
    QCOMPARE(earliest->shortcut, 2);
    QCOMPARE(later->shortcut, 0);
    QCOMPARE(latest->shortcut, 0);
    QCOMPARE(holder1->shortcut, 1);
    QCOMPARE(holder3->shortcut, 3);
    verifySlotsHeldOnce(doc);
    delete removed;
}

void TestRules::removeTaskWithoutSlotPassesNothing()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    Activity *a = build.activity(QStringLiteral("A"), nullptr);
    QVTask *stopped = build.task(a, at(21, 6, 0), at(21, 6, 30));
    QVTask *removed = build.task(a, at(21, 7, 0), at(21, 7, 30));
    QVTask *running = build.task(a, at(21, 8, 0), QDateTime());
    doc.tasks.sort();

    doc.removeTask(removed);
    QCOMPARE(stopped->shortcut, 0);
    QCOMPARE(running->shortcut, 0);
    QCOMPARE(doc.tasks, QList<QVTask *>({stopped, running}));
    delete removed;
}

void TestRules::slotsNeverHeldTwice()
{
    QuorvelDocument doc;
    doc.configuration.setAllowConcurrentTasks(true);
    DocumentBuilder build(doc);
    QList<Activity *> activities;
    for (const char *name : {"A", "B", "C", "D", "E"})
        activities << build.activity(QString::fromLatin1(name), nullptr);
    Activity *withdrawn = build.activity(QStringLiteral("Old"), nullptr, true);
    activities << withdrawn;

    // A fixed seed keeps the sequence the same on every run.
    QRandomGenerator random(20261121);
    QDateTime now = at(21, 6, 0);
    for (int step = 0; step < 400; ++step) {
        now = now.addSecs(60 * (1 + random.bounded(30)));
        const int action = random.bounded(10);
        if (action < 5 || doc.tasks.isEmpty()) {
            Activity *activity = activities.at(random.bounded(int(activities.size())));
            QVTask *task = build.task(activity, now, QDateTime());
            doc.tasks.sort();
            doc.includeShortcut(task);
        } else if (action < 8) {
            QList<QVTask *> running;
            for (QVTask *t : doc.tasks) {
                if (t->isRunning())
                    running << t;
            }
            if (running.isEmpty())
                continue;
            doc.stopTask(running.at(random.bounded(int(running.size()))), now);
        } else {
            QVTask *task = doc.tasks.at(random.bounded(int(doc.tasks.size())));
            doc.removeTask(task);
            delete task;
        }
        verifySlotsHeldOnce(doc);
        if (QTest::currentTestFailed())
            QFAIL(qPrintable(QStringLiteral("after step %1").arg(step)));
        for (const QVTask *t : doc.tasks)
            QVERIFY(!(t->activity == withdrawn && t->shortcut != 0));
    }
    // The walk did use every slot.
    QSet<int> held;
    for (const QVTask *t : doc.tasks)
        held.insert(t->shortcut);
    QVERIFY(held.contains(1) && held.contains(2) && held.contains(3));
}

void TestRules::activityDuration_data()
{
    QTest::addColumn<QDateTime>("start");
    QTest::addColumn<QDateTime>("stop");
    QTest::addColumn<QDate>("from");
    QTest::addColumn<QDate>("to");
    QTest::addColumn<int>("minutes");
    QTest::addColumn<bool>("running");

    const QDate day20(2026, 11, 20);
    const QDate day21(2026, 11, 21);
    const QDate day22(2026, 11, 22);

    QTest::newRow("from the day before")
        << at(20, 23, 30) << at(21, 0, 45) << day21 << day21 << 45 << false;
    QTest::newRow("running since yesterday")
        << at(20, 8, 0) << QDateTime() << day21 << day21 << 0 << true;
    QTest::newRow("running since today")
        << at(21, 8, 0) << QDateTime() << day21 << day21 << 0 << true;
    QTest::newRow("running from tomorrow")
        << at(22, 8, 0) << QDateTime() << day21 << day21 << 0 << false;
    QTest::newRow("running from midnight after")
        << at(22, 0, 0) << QDateTime() << day21 << day21 << 0 << false;
    QTest::newRow("inside") << at(21, 10, 0) << at(21, 11, 30) << day21 << day21 << 90 << false;
    QTest::newRow("the whole day exactly")
        << at(21, 0, 0) << at(22, 0, 0) << day21 << day21 << 1440 << false;
    QTest::newRow("covering one day")
        << at(20, 23, 0) << at(22, 1, 0) << day21 << day21 << 1440 << false;
    QTest::newRow("covering three days")
        << at(19, 12, 0) << at(23, 12, 0) << day20 << day22 << 4320 << false;
    QTest::newRow("over the end") << at(21, 23, 0) << at(22, 2, 0) << day21 << day21 << 60 << false;
    QTest::newRow("ending at midnight after")
        << at(21, 23, 0) << at(22, 0, 0) << day21 << day21 << 60 << false;
    QTest::newRow("ending at midnight before")
        << at(20, 23, 0) << at(21, 0, 0) << day21 << day21 << 0 << false;
    QTest::newRow("starting at midnight after")
        << at(22, 0, 0) << at(22, 1, 0) << day21 << day21 << 0 << false;
    QTest::newRow("another day") << at(23, 10, 0) << at(23, 11, 0) << day21 << day21 << 0 << false;
    QTest::newRow("several days, inside")
        << at(20, 10, 0) << at(22, 11, 0) << day20 << day22 << 2940 << false;
    QTest::newRow("over the start, seconds")
        << at(20, 23, 59, 0) << at(21, 0, 1, 30) << day21 << day21 << 1 << false;
    QTest::newRow("over the end, seconds")
        << at(21, 23, 58, 30) << at(22, 0, 30) << day21 << day21 << 1 << false;
}

void TestRules::activityDuration()
{
    QFETCH(QDateTime, start);
    QFETCH(QDateTime, stop);
    QFETCH(QDate, from);
    QFETCH(QDate, to);
    QFETCH(int, minutes);
    QFETCH(bool, running);

    QuorvelDocument doc;
    DocumentBuilder build(doc);
    Activity *a = build.activity(QStringLiteral("A"), nullptr);
    build.task(a, start, stop);

    bool flag = !running;
    QCOMPARE(doc.getActivityDuration(from, to, a, &flag), minutes);
    QCOMPARE(flag, running);
}

void TestRules::activityDurationTruncatesPerTask()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    Activity *a = build.activity(QStringLiteral("A"), nullptr);
    const QDate day21(2026, 11, 21);

    build.task(a, at(21, 10, 0, 0), at(21, 10, 1, 30));
    build.task(a, at(21, 11, 0, 0), at(21, 11, 1, 30));
    bool running = true;
    // 90 + 90 seconds: one whole minute each, not three of the sum.
    QCOMPARE(doc.getActivityDuration(day21, day21, a, &running), 2);
    QCOMPARE(running, false);

    // The same holds for the shares cut off at either end of the period.
    build.task(a, at(20, 23, 59, 0), at(21, 0, 1, 30));
    build.task(a, at(21, 23, 58, 30), at(22, 0, 30));
    QCOMPARE(doc.getActivityDuration(day21, day21, a, &running), 4);
}

void TestRules::activityDurationCountsOnlyThatActivity()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [a, b] = build.activities({"A", "B"});
    // Same name, different object: not the same activity.
    Activity *aTwin = build.activity(QStringLiteral("A"), nullptr);
    const QDate day21(2026, 11, 21);

    build.task(a, at(21, 8, 0), at(21, 8, 45));
    build.task(b, at(21, 9, 0), at(21, 10, 0));
    build.task(aTwin, at(21, 10, 0), at(21, 10, 20));
    build.task(b, at(21, 11, 0), QDateTime());
    build.task(a, at(21, 12, 0), at(21, 12, 10));

    bool running = true;
    QCOMPARE(doc.getActivityDuration(day21, day21, a, &running), 55);
    QCOMPARE(running, false);
    QCOMPARE(doc.getActivityDuration(day21, day21, b, &running), 60);
    QCOMPARE(running, true);
    QCOMPARE(doc.getActivityDuration(day21, day21, aTwin, &running), 20);
    QCOMPARE(running, false);
}

void TestRules::activityDurationRunningFlagResets()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [a, idle] = build.activities({"A", "Idle"});
    build.task(a, at(21, 8, 0), QDateTime());

    bool running = false;
    QCOMPARE(doc.getActivityDuration(QDate(2026, 11, 21), QDate(2026, 11, 21), a, &running), 0);
    QCOMPARE(running, true);
    QCOMPARE(doc.getActivityDuration(QDate(2026, 11, 21), QDate(2026, 11, 21), idle, &running), 0);
    QCOMPARE(running, false);
}

void TestRules::numActiveActivitiesAndCategories()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *current = build.category(QStringLiteral("Current"));
    build.category(QStringLiteral("Spare"));
    ActivityCategory *old = build.category(QStringLiteral("Old"), true);
    build.activity(QStringLiteral("Active one"), current);
    build.activity(QStringLiteral("Active two"), current);
    Activity *usedObsolete = build.activity(QStringLiteral("Used"), old, true);
    build.activity(QStringLiteral("Unused"), old, true);
    build.task(usedObsolete, at(20, 10, 0), at(20, 11, 0));

    QCOMPARE(doc.getNumActiveActivities(false), 2);
    QCOMPARE(doc.getNumActiveActivities(true), 3);
    QCOMPARE(doc.getNumActiveCategories(), 2);

    QuorvelDocument empty;
    QCOMPARE(empty.getNumActiveActivities(true), 0);
    QCOMPARE(empty.getNumActiveActivities(false), 0);
    QCOMPARE(empty.getNumActiveCategories(), 0);
}

void TestRules::hasActivityGotTasks()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    const auto [used, namesake, runningOnly] = build.activities({"Writing", "Writing", "Reading"});
    build.task(used, at(20, 10, 0), at(20, 11, 0));
    build.task(runningOnly, at(21, 9, 0), QDateTime());

    QVERIFY(doc.hasActivityGotTasks(used));
    QVERIFY(doc.hasActivityGotTasks(runningOnly));
    QVERIFY(!doc.hasActivityGotTasks(namesake));
}

void TestRules::removeObsoleteActivitiesAndCategories()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *keptByLive = build.category(QStringLiteral("Old but used"), true);
    ActivityCategory *onlyDropped = build.category(QStringLiteral("Old via dropped"), true);
    ActivityCategory *unreferenced = build.category(QStringLiteral("Old unused"), true);
    ActivityCategory *current = build.category(QStringLiteral("Current unused"));
    ActivityCategory *keptByUsedObsolete = build.category(QStringLiteral("Old via used"), true);

    Activity *live = build.activity(QStringLiteral("Live"), keptByLive);
    Activity *usedObsolete
        = build.activity(QStringLiteral("Old with tasks"), keptByUsedObsolete, true);
    Activity *unusedObsolete
        = build.activity(QStringLiteral("Old without tasks"), onlyDropped, true);
    Activity *idle = build.activity(QStringLiteral("Idle"), current);
    build.task(usedObsolete, at(20, 10, 0), at(20, 11, 0));
    build.sortAll();

    QPointer<Activity> watchUnused(unusedObsolete);
    QPointer<ActivityCategory> watchOnlyDropped(onlyDropped);
    QPointer<ActivityCategory> watchUnreferenced(unreferenced);

    doc.removeObsoleteActivitiesAndCategories();

    QCOMPARE(doc.activities, QList<Activity *>({idle, live, usedObsolete}));
    QCOMPARE(doc.categories, QList<ActivityCategory *>({current, keptByLive, keptByUsedObsolete}));
    QVERIFY(watchUnused.isNull());
    QVERIFY(watchOnlyDropped.isNull());
    QVERIFY(watchUnreferenced.isNull());
    QCOMPARE(doc.tasks.size(), 1);
}

void TestRules::allocateId()
{
    QuorvelDocument doc;
    QCOMPARE(doc.nextId, 1000);
    QCOMPARE(doc.allocateId(), 1000);
    QCOMPARE(doc.nextId, 1001);
    QCOMPARE(doc.allocateId(), 1001);
    doc.nextId = 52;
    QCOMPARE(doc.allocateId(), 52);
    QCOMPARE(doc.allocateId(), 53);
    QCOMPARE(doc.nextId, 54);
}

void TestRules::activeTasks()
{
    QuorvelDocument doc;
    QVERIFY(!doc.activeTasks());
    DocumentBuilder build(doc);
    Activity *a = build.activity(QStringLiteral("A"), nullptr);
    build.task(a, at(20, 10, 0), at(20, 11, 0));
    QVERIFY(!doc.activeTasks());
    QVTask *running = build.task(a, at(21, 9, 0), QDateTime());
    QVERIFY(doc.activeTasks());
    doc.stopTask(running, at(21, 9, 30));
    QVERIFY(!doc.activeTasks());
}

void TestRules::createSampleData()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    ActivityCategory *oldCategory = build.category(QStringLiteral("Earlier"));
    Activity *oldActivity = build.activity(QStringLiteral("Earlier work"), oldCategory);
    QVTask *oldTask = build.task(oldActivity, at(20, 10, 0), at(20, 11, 0));
    QPointer<ActivityCategory> watchCategory(oldCategory);
    QPointer<Activity> watchActivity(oldActivity);
    QPointer<QVTask> watchTask(oldTask);
    doc.deletedTaskIds = {31, 44};
    doc.nextId = 1200;

    doc.createSampleData();

    QVERIFY(watchCategory.isNull());
    QVERIFY(watchActivity.isNull());
    QVERIFY(watchTask.isNull());
    QVERIFY(doc.tasks.isEmpty());
    QCOMPARE(doc.nextId, 1208);
    QCOMPARE(doc.deletedTaskIds, QList<int>({31, 44}));

    QCOMPARE(namesOf(doc.categories),
             QStringList({QStringLiteral("Bill rate 1"), QStringLiteral("Bill rate 2"),
                          QStringLiteral("Private")}));
    QCOMPARE(doc.categories.at(0)->id, 1200);
    QCOMPARE(doc.categories.at(1)->id, 1201);
    QCOMPARE(doc.categories.at(2)->id, 1202);
    for (const ActivityCategory *c : doc.categories)
        QCOMPARE(c->obsolete, false);

    QCOMPARE(namesOf(doc.activities),
             QStringList({QStringLiteral("Consulting for client R. Vance"),
                          QStringLiteral("Home Project Beta"), QStringLiteral("Home Project Delta"),
                          QStringLiteral("Project Alpha Development"),
                          QStringLiteral("Project Alpha Documentation")}));
    const ActivityCategory *rate1 = doc.categories.at(0);
    const ActivityCategory *rate2 = doc.categories.at(1);
    const ActivityCategory *privat = doc.categories.at(2);
    const struct
    {
        int id;
        const ActivityCategory *category;
    } expected[] = {
        {1203, rate1},  // Consulting for client R. Vance
        {1206, privat}, // Home Project Beta
        {1207, privat}, // Home Project Delta
        {1204, rate2},  // Project Alpha Development
        {1205, rate1},  // Project Alpha Documentation
    };
    for (int i = 0; i < 5; ++i) {
        const Activity *activity = doc.activities.at(i);
        QCOMPARE(activity->id, expected[i].id);
        QCOMPARE(activity->category, expected[i].category);
        QCOMPARE(activity->obsolete, false);
    }
}

QUORVEL_TEST_GUILESS_MAIN(TestRules)
#include "tst_rules.moc"
