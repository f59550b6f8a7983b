// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DocumentBuilder.h"
#include "TestEnvironment.h"

#include "model/Activity.h"
#include "model/ActivityCategory.h"
#include "model/QVTask.h"
#include "model/SortedList.h"
#include "platform/Clock.h"
#include "platform/Config.h"

#include <QtTest>

#include <memory>

namespace {

// Writes the desktop's twelve-hour clock choice the way the settings menu does.
void setTwelveHourClock(bool twelveHour)
{
    Config qpe(QStringLiteral("qpe"));
    qpe.setGroup(QStringLiteral("Time"));
    qpe.writeEntry(QStringLiteral("AMPM"), twelveHour);
}

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

} // namespace

class TestRecords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void defaultTask();
    void fullTaskConstructor();
    void defaultActivityAndCategory();
    void setStartKeepsSecondsAndMilliseconds();
    void setStopNullMakesTaskRunningAgain();
    void setStartNullEmptiesStartText();

    void duration_data();
    void duration();

    void modifiedNotSynchronisedLeavesStampNull();
    void modifiedStampInFutureStays();
    void modifiedStampEqualToClockStays();
    void modifiedNullStampTakesClockTime();
    void modifiedOlderStampMovesToNow();
    void modifiedStampKeptToTheSecond();

    void activitiesSortIgnoringCase();
    void categoriesSortIgnoringCase();
    void activityAndCategoryEquality();
    void tasksAtSameMomentSortByActivityNameWithCase();
    void tasksSortByStartFirst();
    void taskEquality();
    void sortingTaskWithoutActivity();

    void textsInTwelveHourForm_data();
    void textsInTwelveHourForm();
    void textsInTwentyFourHourForm_data();
    void textsInTwentyFourHourForm();
    void textsKeepTheSettingOfTheMomentTheyWereMade();
};

void TestRecords::init()
{
    TestEnvironment::wipe();
    Clock::setFixed(at(21, 9, 30));
}

void TestRecords::cleanup()
{
    Clock::setFixed(at(21, 9, 30));
}

void TestRecords::defaultTask()
{
    QVTask task;
    QCOMPARE(task.id, 0);
    QCOMPARE(task.shortcut, 0);
    QCOMPARE(task.activity, nullptr);
    QCOMPARE(task.synchronised, false);
    QVERIFY(task.modifiedTime.isNull());
    QCOMPARE(task.startText, QString());
    QCOMPARE(task.stopText, QString());
    QVERIFY(task.startText.isEmpty());
    QVERIFY(task.stopText.isEmpty());
    QVERIFY(task.isRunning());
    QVERIFY(!task.start().isValid());
    QVERIFY(!task.stop().isValid());
    QCOMPARE(task.parent(), nullptr);
    QCOMPARE(task.objectName(), QString());
}

void TestRecords::fullTaskConstructor()
{
    ActivityCategory category(3, QStringLiteral("Bill rate 1"), false);
    Activity activity(4, QStringLiteral("Writing"), &category, false);
    const QDateTime stamp(QDate(2026, 11, 20), QTime(18, 15, 42));
    QVTask task(17, at(21, 9, 5), at(21, 14, 30), 2, &activity, stamp, true);

    QCOMPARE(task.id, 17);
    QCOMPARE(task.shortcut, 2);
    QCOMPARE(task.activity, &activity);
    QCOMPARE(task.synchronised, true);
    QCOMPARE(task.modifiedTime, stamp);
    QCOMPARE(task.start(), at(21, 9, 5));
    QCOMPARE(task.stop(), at(21, 14, 30));
    QCOMPARE(task.startText, QStringLiteral("11/21/26 9:05 AM"));
    QCOMPARE(task.stopText, QStringLiteral("11/21/26 2:30 PM"));
    QVERIFY(!task.isRunning());

    QVTask running(18, at(21, 9, 5), QDateTime(), 0, &activity, QDateTime(), false);
    QVERIFY(running.isRunning());
    QCOMPARE(running.stopText, QString());
    QVERIFY(running.modifiedTime.isNull());
}

void TestRecords::defaultActivityAndCategory()
{
    Activity activity;
    QCOMPARE(activity.id, 0);
    QVERIFY(activity.name.isNull());
    QCOMPARE(activity.category, nullptr);
    QCOMPARE(activity.obsolete, false);

    ActivityCategory category;
    QCOMPARE(category.id, 0);
    QVERIFY(category.name.isNull());
    QCOMPARE(category.obsolete, false);

    ActivityCategory rate(12, QStringLiteral("Bill rate 2"), true);
    QCOMPARE(rate.id, 12);
    QCOMPARE(rate.name, QStringLiteral("Bill rate 2"));
    QCOMPARE(rate.obsolete, true);

    Activity consulting(13, QStringLiteral("Consulting"), &rate, true);
    QCOMPARE(consulting.id, 13);
    QCOMPARE(consulting.name, QStringLiteral("Consulting"));
    QCOMPARE(consulting.category, &rate);
    QCOMPARE(consulting.obsolete, true);
}

void TestRecords::setStartKeepsSecondsAndMilliseconds()
{
    QVTask task;
    const QDateTime start(QDate(2026, 11, 21), QTime(10, 0, 30, 500));
    const QDateTime stop(QDate(2026, 11, 21), QTime(10, 45, 59, 999));
    task.setStart(start);
    task.setStop(stop);
    QCOMPARE(task.start(), start);
    QCOMPARE(task.start().time().msec(), 500);
    QCOMPARE(task.stop(), stop);
    QCOMPARE(task.stop().time().second(), 59);
    QCOMPARE(task.stop().time().msec(), 999);
    // The texts show hours and minutes only.
    QCOMPARE(task.startText, QStringLiteral("11/21/26 10:00 AM"));
    QCOMPARE(task.stopText, QStringLiteral("11/21/26 10:45 AM"));
}

void TestRecords::setStopNullMakesTaskRunningAgain()
{
    QVTask task;
    task.setStart(at(21, 10, 0));
    task.setStop(at(21, 11, 0));
    QVERIFY(!task.isRunning());
    QCOMPARE(task.stopText, QStringLiteral("11/21/26 11:00 AM"));

    task.setStop(QDateTime());
    QVERIFY(task.isRunning());
    QVERIFY(!task.stop().isValid());
    QCOMPARE(task.stopText, QString());
    QVERIFY(task.stopText.isEmpty());
    // The start is left alone.
    QCOMPARE(task.start(), at(21, 10, 0));
    QCOMPARE(task.startText, QStringLiteral("11/21/26 10:00 AM"));
}

void TestRecords::setStartNullEmptiesStartText()
{
    QVTask task;
    task.setStart(at(21, 10, 0));
    QCOMPARE(task.startText, QStringLiteral("11/21/26 10:00 AM"));
    task.setStart(QDateTime());
    QVERIFY(task.startText.isEmpty());
    QVERIFY(!task.start().isValid());
}

void TestRecords::duration_data()
{
    QTest::addColumn<QDateTime>("start");
    QTest::addColumn<QDateTime>("stop");
    QTest::addColumn<int>("minutes");

    QTest::newRow("59 seconds") << at(21, 10, 0, 0) << at(21, 10, 0, 59) << 0;
    QTest::newRow("an hour and a half") << at(21, 10, 0) << at(21, 11, 30) << 90;
    QTest::newRow("119 seconds") << at(21, 10, 0, 0) << at(21, 10, 1, 59) << 1;
    QTest::newRow("120 seconds") << at(21, 10, 0, 0) << at(21, 10, 2, 0) << 2;
    QTest::newRow("one minute") << at(21, 10, 0) << at(21, 10, 1) << 1;
    QTest::newRow("over midnight") << at(20, 23, 30) << at(21, 0, 45) << 75;
    QTest::newRow("whole day") << at(20, 0, 0) << at(21, 0, 0) << 1440;
    QTest::newRow("seconds on both ends") << at(21, 10, 0, 30) << at(21, 10, 3, 29) << 2;
}

void TestRecords::duration()
{
    QFETCH(QDateTime, start);
    QFETCH(QDateTime, stop);
    QFETCH(int, minutes);

    QVTask task;
    task.setStart(start);
    task.setStop(stop);
    QCOMPARE(task.duration(), minutes);
}

void TestRecords::modifiedNotSynchronisedLeavesStampNull()
{
    QVTask task;
    task.setStart(at(21, 9, 0));
    task.modified();
    QVERIFY(task.modifiedTime.isNull());

    // An existing stamp is not touched either.
    const QDateTime old(QDate(2026, 11, 1), QTime(8, 0, 0));
    task.modifiedTime = old;
    task.modified();
    QCOMPARE(task.modifiedTime, old);
}

void TestRecords::modifiedStampInFutureStays()
{
    QVTask task;
    task.synchronised = true;
    const QDateTime future = at(21, 10, 30);
    task.modifiedTime = future;
    task.modified();
    QCOMPARE(task.modifiedTime, future);
}

void TestRecords::modifiedStampEqualToClockStays()
{
    QVTask task;
    task.synchronised = true;
    task.modifiedTime = at(21, 9, 30);
    task.modified();
    // Not one second later: the stamp never runs ahead of the clock.
    QCOMPARE(task.modifiedTime, at(21, 9, 30));
}

void TestRecords::modifiedNullStampTakesClockTime()
{
    QVTask task;
    task.synchronised = true;
    QVERIFY(task.modifiedTime.isNull());
    task.modified();
    QCOMPARE(task.modifiedTime, at(21, 9, 30));

    // The stamp follows the clock as it goes on.
    Clock::advance(65);
    task.modified();
    QCOMPARE(task.modifiedTime, at(21, 9, 31, 5));
}

void TestRecords::modifiedOlderStampMovesToNow()
{
    QVTask task;
    task.synchronised = true;
    task.modifiedTime = QDateTime(QDate(2026, 11, 20), QTime(17, 45, 12));
    task.modified();
    QCOMPARE(task.modifiedTime, at(21, 9, 30));
}

void TestRecords::modifiedStampKeptToTheSecond()
{
    Clock::setFixed(QDateTime(QDate(2026, 11, 21), QTime(9, 30, 7, 640)));
    QVTask task;
    task.synchronised = true;
    task.modified();
    QCOMPARE(task.modifiedTime, QDateTime(QDate(2026, 11, 21), QTime(9, 30, 7, 0)));
}

void TestRecords::activitiesSortIgnoringCase()
{
    SortedList<Activity> list;
    std::unique_ptr<Activity> gamma(new Activity(1, QStringLiteral("gamma"), nullptr, false));
    std::unique_ptr<Activity> beta(new Activity(2, QStringLiteral("Beta"), nullptr, false));
    std::unique_ptr<Activity> alpha(new Activity(3, QStringLiteral("alpha"), nullptr, false));
    list.append(gamma.get());
    list.append(beta.get());
    list.append(alpha.get());
    list.sort();
    QCOMPARE(namesOf(list), QStringList({QStringLiteral("alpha"), QStringLiteral("Beta"),
                                         QStringLiteral("gamma")}));

    QVERIFY(*alpha < *beta);
    QVERIFY(*beta < *gamma);
    QVERIFY(!(*beta < *alpha));
    QVERIFY(!(*alpha < *alpha));
}

void TestRecords::categoriesSortIgnoringCase()
{
    SortedList<ActivityCategory> list;
    std::unique_ptr<ActivityCategory> beta(new ActivityCategory(1, QStringLiteral("Beta"), false));
    std::unique_ptr<ActivityCategory> gamma(
        new ActivityCategory(2, QStringLiteral("gamma"), false));
    std::unique_ptr<ActivityCategory> alpha(
        new ActivityCategory(3, QStringLiteral("alpha"), false));
    list.append(beta.get());
    list.append(gamma.get());
    list.append(alpha.get());
    list.sort();
    QCOMPARE(namesOf(list), QStringList({QStringLiteral("alpha"), QStringLiteral("Beta"),
                                         QStringLiteral("gamma")}));

    QVERIFY(*alpha < *beta);
    QVERIFY(!(*gamma < *beta));
}

void TestRecords::activityAndCategoryEquality()
{
    const Activity upper(1, QStringLiteral("Private"), nullptr, false);
    const Activity lower(2, QStringLiteral("private"), nullptr, true);
    const Activity shorter(3, QStringLiteral("Privat"), nullptr, false);
    QVERIFY(upper == lower);
    QVERIFY(!(upper < lower));
    QVERIFY(!(lower < upper));
    QVERIFY(!(upper == shorter));

    const ActivityCategory a(1, QStringLiteral("Private"), false);
    const ActivityCategory b(2, QStringLiteral("PRIVATE"), false);
    const ActivityCategory c(3, QStringLiteral("Private "), false);
    QVERIFY(a == b);
    QVERIFY(!(a < b));
    QVERIFY(!(b < a));
    QVERIFY(!(a == c));
}

void TestRecords::tasksAtSameMomentSortByActivityNameWithCase()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    Activity *alpha = build.activity(QStringLiteral("alpha"), nullptr);
    Activity *zeta = build.activity(QStringLiteral("Zeta"), nullptr);
    QVTask *alphaTask = build.task(alpha, at(21, 10, 0), at(21, 11, 0));
    QVTask *zetaTask = build.task(zeta, at(21, 10, 0), at(21, 11, 0));

    doc.tasks.sort();
    QCOMPARE(doc.tasks.size(), 2);
    // Upper case letters come before lower case ones in a case-sensitive comparison.
    QCOMPARE(doc.tasks.at(0), zetaTask);
    QCOMPARE(doc.tasks.at(1), alphaTask);
    QVERIFY(*zetaTask < *alphaTask);
    QVERIFY(!(*alphaTask < *zetaTask));
}

void TestRecords::tasksSortByStartFirst()
{
    QuorvelDocument doc;
    DocumentBuilder build(doc);
    Activity *alpha = build.activity(QStringLiteral("alpha"), nullptr);
    Activity *zeta = build.activity(QStringLiteral("Zeta"), nullptr);
    QVTask *late = build.task(zeta, at(21, 14, 0), at(21, 15, 0));
    QVTask *running = build.task(zeta, at(21, 8, 0), QDateTime());
    QVTask *early = build.task(alpha, at(21, 10, 0), at(21, 11, 0));
    QVTask *previousDay = build.task(alpha, at(20, 16, 0), at(20, 17, 0));

    doc.tasks.sort();
    QCOMPARE(doc.tasks, QList<QVTask *>({previousDay, running, early, late}));
}

void TestRecords::taskEquality()
{
    Activity writing(1, QStringLiteral("Writing"), nullptr, false);
    Activity writingToo(2, QStringLiteral("Writing"), nullptr, false);
    Activity lowerWriting(3, QStringLiteral("writing"), nullptr, false);

    QVTask a(10, at(21, 10, 0), at(21, 11, 0), 0, &writing, QDateTime(), false);
    // Another object of the same name, another stop: equal all the same.
    QVTask b(11, at(21, 10, 0), at(21, 12, 0), 1, &writingToo, QDateTime(), false);
    QVTask otherCase(12, at(21, 10, 0), at(21, 11, 0), 0, &lowerWriting, QDateTime(), false);
    QVTask otherStart(13, at(21, 10, 1), at(21, 11, 0), 0, &writing, QDateTime(), false);

    QVERIFY(a == b);
    QVERIFY(b == a);
    QVERIFY(!(a < b));
    QVERIFY(!(b < a));
    QVERIFY(!(a == otherCase));
    QVERIFY(a < otherCase);
    QVERIFY(!(a == otherStart));
    QVERIFY(a < otherStart);
}

void TestRecords::sortingTaskWithoutActivity()
{
    Activity alpha(1, QStringLiteral("alpha"), nullptr, false);
    QVTask named(1, at(21, 10, 0), at(21, 11, 0), 0, &alpha, QDateTime(), false);
    QVTask orphan(2, at(21, 10, 0), at(21, 11, 0), 0, nullptr, QDateTime(), false);
    QVTask earlierOrphan(3, at(21, 9, 0), at(21, 9, 30), 0, nullptr, QDateTime(), false);
    QVTask orphanTwin(4, at(21, 10, 0), at(21, 10, 30), 0, nullptr, QDateTime(), false);

    SortedList<QVTask> list;
    list.append(&named);
    list.append(&orphan);
    list.append(&earlierOrphan);
    list.sort();
    // No activity sorts as an empty name, ahead of any real one at the same start.
    QCOMPARE(list, QList<QVTask *>({&earlierOrphan, &orphan, &named}));

    QVERIFY(orphan < named);
    QVERIFY(!(named < orphan));
    QVERIFY(orphan == orphanTwin);
    QVERIFY(!(orphan == named));
}

void TestRecords::textsInTwelveHourForm_data()
{
    QTest::addColumn<QDateTime>("when");
    QTest::addColumn<QString>("text");

    QTest::newRow("morning") << at(21, 9, 5) << QStringLiteral("11/21/26 9:05 AM");
    QTest::newRow("midnight") << at(21, 0, 0) << QStringLiteral("11/21/26 12:00 AM");
    QTest::newRow("noon") << at(21, 12, 0) << QStringLiteral("11/21/26 12:00 PM");
    QTest::newRow("afternoon") << at(21, 14, 30) << QStringLiteral("11/21/26 2:30 PM");
    QTest::newRow("last minute") << at(30, 23, 59, 59) << QStringLiteral("11/30/26 11:59 PM");
    QTest::newRow("new year") << QDateTime(QDate(2027, 1, 2), QTime(7, 45))
                              << QStringLiteral("1/2/27 7:45 AM");
}

void TestRecords::textsInTwelveHourForm()
{
    QFETCH(QDateTime, when);
    QFETCH(QString, text);

    // Twelve-hour form is the default of an en_US desktop with no setting written.
    QVTask task;
    task.setStart(when);
    task.setStop(when);
    QCOMPARE(task.startText, text);
    QCOMPARE(task.stopText, text);
}

void TestRecords::textsInTwentyFourHourForm_data()
{
    QTest::addColumn<QDateTime>("when");
    QTest::addColumn<QString>("text");

    QTest::newRow("morning") << at(21, 9, 5) << QStringLiteral("11/21/26 09:05");
    QTest::newRow("midnight") << at(21, 0, 0) << QStringLiteral("11/21/26 00:00");
    QTest::newRow("afternoon") << at(21, 14, 30) << QStringLiteral("11/21/26 14:30");
    QTest::newRow("last minute") << at(30, 23, 59, 59) << QStringLiteral("11/30/26 23:59");
}

void TestRecords::textsInTwentyFourHourForm()
{
    QFETCH(QDateTime, when);
    QFETCH(QString, text);

    setTwelveHourClock(false);
    QVTask task;
    task.setStart(when);
    task.setStop(when);
    QCOMPARE(task.startText, text);
    QCOMPARE(task.stopText, text);
}

void TestRecords::textsKeepTheSettingOfTheMomentTheyWereMade()
{
    QVTask task;
    task.setStart(at(21, 9, 5));
    task.setStop(at(21, 14, 30));
    QCOMPARE(task.startText, QStringLiteral("11/21/26 9:05 AM"));

    setTwelveHourClock(false);
    // Nothing rebuilds the texts until the times are set again.
    QCOMPARE(task.startText, QStringLiteral("11/21/26 9:05 AM"));
    QCOMPARE(task.stopText, QStringLiteral("11/21/26 2:30 PM"));

    task.setStart(at(21, 9, 5));
    QCOMPARE(task.startText, QStringLiteral("11/21/26 09:05"));
    QCOMPARE(task.stopText, QStringLiteral("11/21/26 2:30 PM"));

    setTwelveHourClock(true);
    QCOMPARE(task.startText, QStringLiteral("11/21/26 09:05"));
    task.setStop(at(21, 14, 30));
    QCOMPARE(task.stopText, QStringLiteral("11/21/26 2:30 PM"));
    task.setStart(at(21, 9, 5));
    QCOMPARE(task.startText, QStringLiteral("11/21/26 9:05 AM"));
}

QUORVEL_TEST_GUILESS_MAIN(TestRecords)
#include "tst_records.moc"
