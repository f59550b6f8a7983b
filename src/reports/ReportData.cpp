// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ReportData.h"

#include "model/QuorvelDocument.h"

#include <QDateTime>
#include <QHash>

#include <algorithm>
#include <limits>

namespace {

// Turns local dates and times into epoch milliseconds without a time-zone look-up on days
// whose UTC offset holds all day, which are nearly all of them.
class DayTable
{
public:
    DayTable(const QDate &first, const QDate &last)
        : m_first(first)
    {
        for (QDate d = first; d.isValid() && d <= last; d = d.addDays(1)) {
            const QDateTime midnight(d, QTime(0, 0));
            const QDateTime lastMoment(d, QTime(23, 59, 59, 999));
            const QDateTime nextMidnight(d.addDays(1), QTime(0, 0));
            // A day of 25 hours repeats an hour, whose times the offset at its ends misses.
            const bool steady = midnight.time() == QTime(0, 0)
                                && midnight.offsetFromUtc() == lastMoment.offsetFromUtc()
                                && midnight.msecsTo(nextMidnight) == qint64(86400) * 1000;
            m_start.push_back(steady ? midnight.toMSecsSinceEpoch() : unsteady);
        }
    }

    // The moment's epoch milliseconds; a QDateTime conversion only off the table.
    template<typename Slow>
    qint64 msecs(const QDate &date, const QTime &time, Slow slow) const
    {
        const qint64 i = m_first.daysTo(date);
        if (date.isValid() && time.isValid() && i >= 0 && i < qint64(m_start.size())
            && m_start[size_t(i)] != unsteady) {
            return m_start[size_t(i)] + time.msecsSinceStartOfDay();
        }
        return slow().toMSecsSinceEpoch();
    }

private:
    static constexpr qint64 unsteady = std::numeric_limits<qint64>::min();
    QDate m_first;
    std::vector<qint64> m_start;
};

qint64 epochOfMidnight(const QDate &d)
{
    return QDateTime(d, QTime(0, 0)).toMSecsSinceEpoch();
}

qint64 epochOfNextMidnight(const QDate &d)
{
    return QDateTime(d, QTime(0, 0)).addDays(1).toMSecsSinceEpoch();
}

// Periods longer than this many days (ten years) look at their tasks' dates before making
// their day table.
constexpr qint64 longPeriodDays = 3653;

// What one pass over the tasks learns for the activities in list order.
struct ScannedSource
{
    bool perDay = false;
    int dayCount = 0;
    std::vector<char> taskFlags;     // per activity: has tasks
    std::vector<int> periodTotals;   // per activity
    std::vector<char> periodRunning; // per activity
    std::vector<int> dayTotals;      // per activity and day, day-major within an activity
    bool anyDayRunning = false;

    ScannedSource(const QuorvelDocument &doc, const QDate &from, const QDate &to, bool days)
        : perDay(days)
    {
        const int activityCount = doc.activities.size();
        QHash<const Activity *, int> indexOf;
        indexOf.reserve(activityCount);
        for (int a = 0; a < activityCount; ++a)
            indexOf.insert(doc.activities.at(a), a);
        taskFlags.assign(size_t(activityCount), 0);
        periodTotals.assign(size_t(activityCount), 0);
        periodRunning.assign(size_t(activityCount), 0);
        dayCount = from.isValid() && to.isValid() && from <= to ? int(from.daysTo(to)) + 1 : 0;
        if (perDay)
            dayTotals.assign(size_t(activityCount) * size_t(dayCount), 0);

        const qint64 periodFirst = epochOfMidnight(from);
        const qint64 periodLast = epochOfNextMidnight(to);
        std::vector<qint64> dayFirst;
        std::vector<qint64> dayLast;
        if (perDay) {
            for (int i = 0; i < dayCount; ++i) {
                const QDate d = from.addDays(i);
                dayFirst.push_back(epochOfMidnight(d));
                dayLast.push_back(epochOfNextMidnight(d));
            }
        }
        // Every boundary lies on these dates; a task wholly more than a day away from all of
        // them takes no share (daylight-saving shifts are far less than a day).
        const QDate low = std::min(from, to.addDays(1)).addDays(-1);
        const QDate high = std::max(from, to.addDays(1)).addDays(1);
        // Over a long period the table covers only the days that have tasks: a summary over
        // decades needs no entry for every day of them. A shorter period is not worth the pass.
        QDate firstTaskDate = low.addDays(-1);
        QDate lastTaskDate = high.addDays(1);
        if (low.daysTo(high) > longPeriodDays) {
            firstTaskDate = lastTaskDate = QDate();
            for (const QVTask *t : doc.tasks) {
                for (const QDate &d : {t->startDate(), t->stopDate()}) {
                    if (!d.isValid())
                        continue;
                    if (!firstTaskDate.isValid() || d < firstTaskDate)
                        firstTaskDate = d;
                    if (!lastTaskDate.isValid() || d > lastTaskDate)
                        lastTaskDate = d;
                }
            }
        }
        const DayTable table(std::max(low.addDays(-1), firstTaskDate.addDays(-1)),
                             std::min(high.addDays(1), lastTaskDate.addDays(1)));

        for (const QVTask *t : doc.tasks) {
            const auto found = indexOf.constFind(t->activity);
            if (found == indexOf.constEnd())
                continue;
            const int a = found.value();
            taskFlags[size_t(a)] = 1;
            const QDate sd = t->startDate();
            const QTime st = t->startTime();
            if (t->isRunning()) {
                const qint64 s = table.msecs(sd, st, [t] { return t->start(); });
                if (s < periodLast)
                    periodRunning[size_t(a)] = 1;
                if (perDay && dayCount > 0 && s < dayLast.back())
                    anyDayRunning = true;
                continue;
            }
            const QDate ed = t->stopDate();
            if (sd.isValid() && st.isValid()) {
                const QDate lowDate = std::min(sd, ed);
                const QDate highDate = std::max(sd, ed);
                if (highDate < low || lowDate > high)
                    continue;
            }
            const qint64 s = table.msecs(sd, st, [t] { return t->start(); });
            const qint64 e = table.msecs(ed, t->stopTime(), [t] { return t->stop(); });
            const int duration
                = (sd.isValid() && st.isValid()) ? int((e - s) / 1000 / 60) : t->duration();
            periodTotals[size_t(a)]
                += ReportData::minutesWithin(s, e, duration, periodFirst, periodLast);
            if (!perDay || dayCount == 0)
                continue;
            // The days the task can reach: those within a day of its start and stop dates.
            int firstDay = 0;
            int lastDay = dayCount - 1;
            if (sd.isValid() && st.isValid()) {
                firstDay = int(std::max<qint64>(0, from.daysTo(std::min(sd, ed)) - 1));
                lastDay = int(std::min<qint64>(dayCount - 1, from.daysTo(std::max(sd, ed)) + 1));
            }
            int *row = dayTotals.data() + size_t(a) * size_t(dayCount);
            for (int i = firstDay; i <= lastDay; ++i)
                row[i] += ReportData::minutesWithin(s, e, duration, dayFirst[size_t(i)],
                                                    dayLast[size_t(i)]);
        }
    }

    int minutesOnDay(int a, int dayIndex) const
    {
        return dayTotals[size_t(a) * size_t(dayCount) + size_t(dayIndex)];
    }
};

// A row shows with time; without, only when zero rows are asked for and the activity is still
// in use or has tasks outside the period.
bool rowShown(int minutes, bool includeZero, bool obsolete, bool hasTasks)
{
    return minutes > 0 || (includeZero && (!obsolete || hasTasks));
}

} // namespace

int ReportData::minutesWithin(qint64 s, qint64 e, int duration, qint64 first, qint64 last)
{
    if (s >= first && e <= last)
        return duration;
    if (s < first && e > last)
        return int((last - first) / 1000 / 60);
    if (s < first && e > first && e <= last)
        return int((e - first) / 1000 / 60);
    if (s >= first && s < last && e > last)
        return int((last - s) / 1000 / 60);
    return 0;
}

ReportData ReportData::collect(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                               bool includeZero, ReportKind kind)
{
    const bool perDay = kind == ReportKind::TimeSheet;
    const ScannedSource source(doc, from, to, perDay);
    ReportData data;
    data.kind = kind;
    data.from = from;
    data.to = to;

    // Every category is listed, in the heads and the totals, so an obsolete one always shows.
    QHash<const ActivityCategory *, int> columnOf;
    for (int c = 0; c < doc.categories.size(); ++c) {
        const ActivityCategory *category = doc.categories.at(c);
        data.categories.push_back({category->name, category->obsolete});
        if (category->obsolete)
            data.obsoleteShown = true;
        if (!columnOf.contains(category))
            columnOf.insert(category, c);
    }
    for (const Activity *activity : doc.activities) {
        const ActivityCategory *category = activity->category;
        data.activities.push_back({activity->name, category ? category->name : QString(),
                                   category ? columnOf.value(category, -1) : -1,
                                   activity->obsolete});
    }
    data.totals.assign(data.categories.size(), 0);

    const auto addRow = [&](int a, int minutes, std::vector<int> *dayTotals) {
        if (!rowShown(minutes, includeZero, data.activities[size_t(a)].obsolete,
                      minutes > 0 || source.taskFlags[size_t(a)]))
            return;
        data.rows.push_back({a, minutes});
        const ReportActivity &activity = data.activities[size_t(a)];
        if (activity.obsolete)
            data.obsoleteShown = true;
        if (activity.column < 0)
            return;
        data.totals[size_t(activity.column)] += minutes;
        if (dayTotals)
            (*dayTotals)[size_t(activity.column)] += minutes;
    };

    const int activityCount = int(data.activities.size());
    if (!perDay) {
        for (int a = 0; a < activityCount; ++a) {
            if (source.periodRunning[size_t(a)])
                data.runningLeftOut = true;
            addRow(a, source.periodTotals[size_t(a)], nullptr);
        }
        return data;
    }
    // Running tasks have no time in a report; the note tells of one started before the
    // period's end, once for the whole time sheet.
    data.runningLeftOut = source.anyDayRunning && activityCount > 0;
    data.days.resize(size_t(source.dayCount));
    for (int i = 0; i < source.dayCount; ++i) {
        ReportDay &day = data.days[size_t(i)];
        day.date = from.addDays(i);
        day.firstRow = int(data.rows.size());
        day.totals.assign(data.categories.size(), 0);
        for (int a = 0; a < activityCount; ++a)
            addRow(a, source.minutesOnDay(a, i), &day.totals);
        day.rowCount = int(data.rows.size()) - day.firstRow;
    }
    return data;
}

bool operator==(const ReportCategory &a, const ReportCategory &b)
{
    return a.name == b.name && a.obsolete == b.obsolete;
}

bool operator==(const ReportActivity &a, const ReportActivity &b)
{
    return a.name == b.name && a.category == b.category && a.column == b.column
           && a.obsolete == b.obsolete;
}

bool operator==(const ReportRow &a, const ReportRow &b)
{
    return a.activity == b.activity && a.minutes == b.minutes;
}

bool operator==(const ReportDay &a, const ReportDay &b)
{
    return a.date == b.date && a.firstRow == b.firstRow && a.rowCount == b.rowCount
           && a.totals == b.totals;
}

bool operator==(const ReportData &a, const ReportData &b)
{
    return a.kind == b.kind && a.from == b.from && a.to == b.to && a.categories == b.categories
           && a.activities == b.activities && a.rows == b.rows && a.days == b.days
           && a.totals == b.totals && a.obsoleteShown == b.obsoleteShown
           && a.runningLeftOut == b.runningLeftOut;
}
