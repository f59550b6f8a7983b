// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Reading a data file keeps start and stop times as wall-clock values on days without a
// daylight-saving change and converts them on first use. Whatever the time zone, the result
// must be exactly what building QDateTime(date, time) at once gives: the same moment, the
// same display text, the same duration. CTest runs this test once per time zone (TZ).

#include "DocumentBuilder.h"
#include "TestEnvironment.h"
#include "model/TaskTimeText.h"
#include "platform/TimeString.h"

#include <QScopeGuard>
#include <QtTest>

#include <algorithm>
#include <ctime>

namespace {

struct Expected
{
    QDate startDate;
    QTime startTime;
    QDate stopDate;
    QTime stopTime;
    // Start or stop on or next to a day with a change of offset. In a repeated hour the
    // local time library picks either moment depending on what it converted before, so only
    // the wall-clock values are compared there.
    bool nearChange;
};

// The text a task shows for a moment built at once, with the twelve-hour clock on.
QString eagerText(const QDateTime &when)
{
    return TimeString::shortDate(when.date()) + QLatin1Char(' ')
           + TimeString::timeString(when.time(), true);
}

void appendMoment(QByteArray &out, const QDate &date, const QTime &time)
{
    out += QByteArray::number(date.year()) + '\n' + QByteArray::number(date.month()) + '\n'
           + QByteArray::number(date.day()) + '\n' + QByteArray::number(time.hour()) + '\n'
           + QByteArray::number(time.minute()) + '\n';
}

long offsetAt(std::time_t moment)
{
    std::tm parts = {};
    localtime_r(&moment, &parts);
    return parts.tm_gmtoff;
}

// The days whose wall-clock times a change of the local offset skips or repeats, as day
// numbers from 1970-01-01, found from moments alone (no local time is made into a moment):
// the offset every hour from first to last, and each change narrowed to its second.
QSet<qint64> unsteadyDays(std::time_t first, std::time_t last)
{
    tzset();
    QSet<qint64> days;
    long before = offsetAt(first);
    for (std::time_t t = first + 3600; t <= last; t += 3600) {
        const long after = offsetAt(t);
        if (after == before)
            continue;
        std::time_t low = t - 3600;
        std::time_t high = t;
        while (high - low > 1) {
            const std::time_t middle = low + (high - low) / 2;
            (offsetAt(middle) == before ? low : high) = middle;
        }
        // The wall-clock times from the lower reading to the higher are skipped or repeated.
        const qint64 from = qint64(high) + std::min(before, after);
        const qint64 to = qint64(high) + std::max(before, after);
        const auto dayOf = [](qint64 wall) {
            return wall >= 0 ? wall / 86400 : -((-wall + 86399) / 86400);
        };
        for (qint64 day = dayOf(from); day <= dayOf(to - 1); ++day)
            days.insert(day);
        before = after;
    }
    return days;
}

} // namespace

class TestWallClock : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void readTimesEqualTimesBuiltAtOnce_data();
    void readTimesEqualTimesBuiltAtOnce();
    void withoutBatchSameAsSetStart();
    void steadyDaysAsLocalTimeHasThem();
    void steadyDaysFollowTheZoneNamedNow();
};

void TestWallClock::init()
{
    TestEnvironment::wipe();
}

void TestWallClock::readTimesEqualTimesBuiltAtOnce_data()
{
    QTest::addColumn<int>("year");
    QTest::addColumn<int>("stepMinutes");
    // Steps that are prime to 60 put starts on every minute position of the hour over a year.
    QTest::newRow("2026 every 7 minutes") << 2026 << 7;
    QTest::newRow("2025 every 11 minutes") << 2025 << 11;
}

void TestWallClock::readTimesEqualTimesBuiltAtOnce()
{
    QFETCH(int, year);
    QFETCH(int, stepMinutes);
    qInfo("TZ=%s", qgetenv("TZ").constData());

    // Every minute of a day with a change of offset (found by the offsets at midnight), and
    // a step through the rest of the year.
    QList<Expected> expected;
    const QDate first(year, 1, 1);
    const QDate last(year, 12, 31);
    int minuteOfYear = 0;
    for (QDate day = first; day <= last; day = day.addDays(1)) {
        const bool change = QDateTime(day.addDays(-1), QTime(0, 0)).offsetFromUtc()
                            != QDateTime(day.addDays(2), QTime(0, 0)).offsetFromUtc();
        for (int m = 0; m < 24 * 60; ++m, ++minuteOfYear) {
            if (!change && minuteOfYear % stepMinutes != 0)
                continue;
            const QTime start(m / 60, m % 60);
            // Stop 13 wall-clock minutes later, possibly on the next day.
            const int stopMinute = m + 13;
            const QDate stopDate = day.addDays(stopMinute / (24 * 60));
            const QTime stop((stopMinute % (24 * 60)) / 60, stopMinute % 60);
            expected.append({day, start, stopDate, stop, change});
        }
    }

    QByteArray file = "--start--\n105\n5000\n1\n1\nWork\n0\n1\n2\nTyping\n0\n0\n";
    file += QByteArray::number(expected.size()) + '\n';
    for (int i = 0; i < expected.size(); ++i) {
        file += QByteArray::number(10 + i) + "\n0\n0\n";
        appendMoment(file, expected[i].startDate, expected[i].startTime);
        appendMoment(file, expected[i].stopDate, expected[i].stopTime);
        file += "0\n0\n0\n0\n0\n0\n0\n";
    }
    file += "0\n--end--\n";

    QuorvelDocument doc;
    const QString original = QString::fromUtf8(file);
    QVERIFY(doc.populateFromByteArray(file.data(), int(file.size())));
    QCOMPARE(doc.tasks.size(), expected.size());
    // Written back before any time was asked for, the file is the same.
    QCOMPARE(doc.getDocumentString(), original);

    for (int i = 0; i < expected.size(); ++i) {
        const QVTask *task = doc.tasks.at(i);
        const QDateTime start(expected[i].startDate, expected[i].startTime);
        const QDateTime stop(expected[i].stopDate, expected[i].stopTime);
        // Texts first: they must not depend on whether the moment was converted yet.
        QCOMPARE(task->startText, eagerText(start));
        QCOMPARE(task->stopText, eagerText(stop));
        QVERIFY(!task->isRunning());
        if (expected[i].nearChange) {
            QCOMPARE(task->start().date(), start.date());
            QCOMPARE(task->start().time(), start.time());
            QCOMPARE(task->stop().date(), stop.date());
            QCOMPARE(task->stop().time(), stop.time());
            continue;
        }
        QCOMPARE(task->start(), start);
        QCOMPARE(task->start().toMSecsSinceEpoch(), start.toMSecsSinceEpoch());
        QCOMPARE(task->start().timeSpec(), Qt::LocalTime);
        QCOMPARE(task->start().time(), start.time());
        QCOMPARE(task->stop(), stop);
        QCOMPARE(task->stop().toMSecsSinceEpoch(), stop.toMSecsSinceEpoch());
        QCOMPARE(task->stop().time(), stop.time());
        QCOMPARE(task->duration(), int(start.secsTo(stop) / 60));
    }

    // And after every time was converted: nothing was shifted on the way.
    QCOMPARE(doc.getDocumentString(), original);
}

void TestWallClock::withoutBatchSameAsSetStart()
{
    const QDate date(2026, 3, 29);
    for (int m = 0; m < 24 * 60; m += 5) {
        const QTime time(m / 60, m % 60);
        QVTask wall;
        wall.setStartWallClock(date, time);
        wall.setStopWallClock(date.addDays(1), time);
        QVTask direct;
        direct.setStart(QDateTime(date, time));
        direct.setStop(QDateTime(date.addDays(1), time));
        QCOMPARE(wall.start(), direct.start());
        QCOMPARE(wall.startText, direct.startText);
        QCOMPARE(wall.stop(), direct.stop());
        QCOMPARE(wall.stopText, direct.stopText);
    }
}

// Every day from 1971 to 2037 in the zone the test runs in: a day is steady exactly when no
// change of offset skips or repeats any of its wall-clock times.
void TestWallClock::steadyDaysAsLocalTimeHasThem()
{
    const QByteArray zone = qgetenv("TZ");
    qInfo("TZ=%s", zone.constData());
    const QDate first(1971, 1, 1);
    const QDate last(2037, 12, 31);
    const QDate epoch(1970, 1, 1);
    const QSet<qint64> unsteady = unsteadyDays(std::time_t(epoch.daysTo(first) - 2) * 86400,
                                               std::time_t(epoch.daysTo(last) + 2) * 86400);
    int unsteadyFound = 0;
    // Asked forwards and backwards: which of two equal readings of a repeated midnight the C
    // library takes follows the day asked before.
    for (const bool forwards : {true, false}) {
        unsteadyFound = 0;
        for (QDate date = forwards ? first : last; date >= first && date <= last;
             date = date.addDays(forwards ? 1 : -1)) {
            const bool expected = !unsteady.contains(epoch.daysTo(date));
            if (TaskTimeText::isSteadyDay(date) != expected)
                QFAIL(qPrintable(QStringLiteral("%1: steady is %2, expected %3")
                                     .arg(date.toString(Qt::ISODate))
                                     .arg(!expected)
                                     .arg(expected)));
            unsteadyFound += expected ? 0 : 1;
        }
    }
    // The zones with daylight saving that the test is run in have changed twice a year for
    // decades; UTC never changes.
    static const QByteArrayList changing
        = {"Europe/Berlin",    "America/New_York", "America/Havana",
           "America/Santiago", "America/St_Johns", "Australia/Lord_Howe"};
    if (changing.contains(zone))
        QVERIFY2(unsteadyFound >= 2 * 40, qPrintable(QString::number(unsteadyFound)));
    else if (zone == "UTC")
        QCOMPARE(unsteadyFound, 0);
    // On 25 October 1987 St John's went back from 00:01 to 23:01 of the day before, whose
    // last hour was seen twice although its midnight came once; and Apia skipped
    // 30 December 2011 whole.
    if (zone == "America/St_Johns") {
        QVERIFY(!TaskTimeText::isSteadyDay(QDate(1987, 10, 24)));
        QVERIFY(!TaskTimeText::isSteadyDay(QDate(1987, 10, 25)));
        QVERIFY(TaskTimeText::isSteadyDay(QDate(1987, 10, 23)));
        QVERIFY(TaskTimeText::isSteadyDay(QDate(1987, 10, 26)));
    } else if (zone == "Pacific/Apia") {
        QVERIFY(!TaskTimeText::isSteadyDay(QDate(2011, 12, 30)));
        QVERIFY(TaskTimeText::isSteadyDay(QDate(2011, 12, 28)));
        QVERIFY(TaskTimeText::isSteadyDay(QDate(2012, 1, 2)));
    }
}

// A zone named anew in the same process is the one asked about from then on, for the days
// asked about before as well: 2024 changed to summer time on 31 March in Berlin and on 10 March
// in New York.
void TestWallClock::steadyDaysFollowTheZoneNamedNow()
{
    const QByteArray zone = qgetenv("TZ");
    const bool zoneSet = qEnvironmentVariableIsSet("TZ");
    const auto restore = qScopeGuard([&] {
        if (zoneSet)
            qputenv("TZ", zone);
        else
            qunsetenv("TZ");
        tzset();
    });
    const QDate berlinChange(2024, 3, 31);
    const QDate newYorkChange(2024, 3, 10);
    for (int round = 0; round < 2; ++round) {
        qputenv("TZ", "Europe/Berlin");
        QVERIFY(TaskTimeText::isSteadyDay(berlinChange.addDays(-1)));
        QVERIFY(!TaskTimeText::isSteadyDay(berlinChange));
        QVERIFY(TaskTimeText::isSteadyDay(berlinChange.addDays(1)));
        QVERIFY(TaskTimeText::isSteadyDay(newYorkChange));

        qputenv("TZ", "America/New_York");
        QVERIFY(TaskTimeText::isSteadyDay(berlinChange.addDays(-1)));
        QVERIFY(TaskTimeText::isSteadyDay(berlinChange));
        QVERIFY(TaskTimeText::isSteadyDay(berlinChange.addDays(1)));
        QVERIFY(!TaskTimeText::isSteadyDay(newYorkChange));

        qputenv("TZ", "UTC");
        QVERIFY(TaskTimeText::isSteadyDay(berlinChange));
        QVERIFY(TaskTimeText::isSteadyDay(newYorkChange));
    }
}

QUORVEL_TEST_GUILESS_MAIN(TestWallClock)
#include "tst_wallclock.moc"
