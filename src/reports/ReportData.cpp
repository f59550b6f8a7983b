// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ReportData.h"

#include "model/DocumentFormat.h"
#include "model/QuorvelDocument.h"

#include <QDateTime>
#include <QHash>

#include <algorithm>
#include <ctime>
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
        if (!first.isValid() || !last.isValid() || first > last)
            return;
        m_start.reserve(size_t(first.daysTo(last)) + 1);
        // The midnight of each day, the next one stepped from it by a plain 24 hours and
        // confirmed by the C library's local time, which QDateTime itself asks: one cheap
        // look-up per day instead of three local-time conversions. Off the years where both
        // surely agree, and after a day that is not steady, QDateTime finds the midnight.
        qint64 midnight = 0;
        long offset = 0;
        bool known = false;
        for (QDate d = first; d.isValid() && d <= last; d = d.addDays(1)) {
            if (!known) {
                const QDateTime made(d, QTime(0, 0));
                known = made.time() == QTime(0, 0) && made.date() == d;
                midnight = made.toMSecsSinceEpoch();
                offset = made.offsetFromUtc();
            }
            const QDate next = d.addDays(1);
            const qint64 nextMidnight = midnight + qint64(86400) * 1000;
            bool steady = false;
            if (known && d.year() > 1970 && next.year() < 2038) {
                const time_t seconds = time_t(nextMidnight / 1000);
                struct tm parts = {};
                steady = ::localtime_r(&seconds, &parts) && parts.tm_hour == 0 && parts.tm_min == 0
                         && parts.tm_sec == 0 && parts.tm_year + 1900 == next.year()
                         && parts.tm_mon + 1 == next.month() && parts.tm_mday == next.day()
                         && parts.tm_gmtoff == offset;
            } else if (known) {
                const QDateTime lastMoment(d, QTime(23, 59, 59, 999));
                const QDateTime following(next, QTime(0, 0));
                // A day of 25 hours repeats an hour, whose times the offset at its ends misses.
                steady = offset == lastMoment.offsetFromUtc()
                         && following.toMSecsSinceEpoch() == nextMidnight
                         && following.offsetFromUtc() == offset;
            }
            m_start.push_back(steady ? midnight : unsteady);
            midnight = nextMidnight;
            known = steady;
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

// Adds minutes to a total, held at the ends of int: a task recorded over millennia (a year
// typed wrong, a damaged file) must give a large number, not an overflow.
void addMinutes(int &total, int minutes)
{
    total = int(std::clamp<qint64>(qint64(total) + minutes, std::numeric_limits<int>::min(),
                                   std::numeric_limits<int>::max()));
}

// Periods longer than this many days (ten years) look at their tasks' dates before making
// their day table.
constexpr qint64 longPeriodDays = 3653;

// A task as a report sees it: its activity's place in the list and its wall-clock times. The
// task itself when it comes from a document, whose moment in a repeated hour is its own.
struct ReportTask
{
    int activity = -1;
    QDate startDate;
    QTime startTime;
    QDate stopDate;
    QTime stopTime;
    const QVTask *task = nullptr;
    // From records, a moment that is not plainly a date and time as QDateTime made it, which
    // its parts may no longer give back (beyond the year 9999 it keeps no date).
    QDateTime madeStart;
    QDateTime madeStop;

    bool running() const { return !(stopDate.isValid() && stopTime.isValid()); }
    QDateTime start() const
    {
        return task ? task->start()
                    : (madeStart.isNull() ? QDateTime(startDate, startTime) : madeStart);
    }
    QDateTime stop() const
    {
        return task ? task->stop() : (madeStop.isNull() ? QDateTime(stopDate, stopTime) : madeStop);
    }
    int duration() const { return task ? task->duration() : int(start().secsTo(stop()) / 60); }
};

// The dates every boundary of a period lies within: a task wholly more than a day away from
// them takes no share (daylight-saving shifts are far less than a day).
struct PeriodReach
{
    PeriodReach(const QDate &from, const QDate &to)
        : low(std::min(from, to.addDays(1)).addDays(-1))
        , high(std::max(from, to.addDays(1)).addDays(1))
    {}

    // True when a stopped task cannot reach the period.
    bool outside(const ReportTask &task) const
    {
        return !task.running() && task.startDate.isValid() && task.startTime.isValid()
               && (std::max(task.startDate, task.stopDate) < low
                   || std::min(task.startDate, task.stopDate) > high);
    }

    const QDate low;
    const QDate high;
};

// The tasks of a document, looked at where they are.
struct DocumentTasks
{
    const QuorvelDocument &doc;
    const QHash<const Activity *, int> &indexOf;
    std::vector<char> hasTasks; // none known before the pass

    template<typename Visit>
    void forEach(Visit visit) const
    {
        for (const QVTask *t : doc.tasks) {
            const auto found = indexOf.constFind(t->activity);
            if (found != indexOf.constEnd())
                visit(ReportTask{found.value(), t->startDate(), t->startTime(), t->stopDate(),
                                 t->stopTime(), t, QDateTime(), QDateTime()});
        }
    }
};

// The tasks read from records: only those that can reach the period are kept, and every task
// read marks its activity as having tasks.
struct KeptTasks
{
    std::vector<char> hasTasks; // per activity, grown as tasks name them
    std::vector<ReportTask> kept;

    void mark(int activity)
    {
        if (size_t(activity) >= hasTasks.size())
            hasTasks.resize(size_t(activity) + 1, 0);
        hasTasks[size_t(activity)] = 1;
    }

    template<typename Visit>
    void forEach(Visit visit) const
    {
        for (const ReportTask &t : kept)
            visit(t);
    }
};

// What one pass over the kept tasks learns for the activities in list order.
struct ScannedSource
{
    bool perDay = false;
    int dayCount = 0;
    std::vector<char> taskFlags;     // per activity: has tasks
    std::vector<int> periodTotals;   // per activity
    std::vector<char> periodRunning; // per activity
    std::vector<int> dayTotals;      // per activity and day, day-major within an activity
    bool anyDayRunning = false;

    template<typename Tasks>
    ScannedSource(const Tasks &tasks, int activityCount, const QDate &from, const QDate &to,
                  bool days)
        : perDay(days)
    {
        const PeriodReach reach(from, to);
        taskFlags.assign(size_t(activityCount), 0);
        for (size_t a = 0; a < taskFlags.size() && a < tasks.hasTasks.size(); ++a)
            taskFlags[a] = tasks.hasTasks[a];
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
        const QDate low = reach.low;
        const QDate high = reach.high;
        // Over a long period the table covers only the days that have tasks: a summary over
        // decades needs no entry for every day of them. A shorter period is not worth the pass.
        QDate firstTaskDate = low.addDays(-1);
        QDate lastTaskDate = high.addDays(1);
        if (low.daysTo(high) > longPeriodDays) {
            firstTaskDate = lastTaskDate = QDate();
            tasks.forEach([&](const ReportTask &t) {
                for (const QDate &d : {t.startDate, t.stopDate}) {
                    if (!d.isValid())
                        continue;
                    if (!firstTaskDate.isValid() || d < firstTaskDate)
                        firstTaskDate = d;
                    if (!lastTaskDate.isValid() || d > lastTaskDate)
                        lastTaskDate = d;
                }
            });
        }
        const DayTable table(std::max(low.addDays(-1), firstTaskDate.addDays(-1)),
                             std::min(high.addDays(1), lastTaskDate.addDays(1)));

        tasks.forEach([&](const ReportTask &t) {
            if (t.activity < 0 || t.activity >= activityCount)
                return;
            const size_t a = size_t(t.activity);
            taskFlags[a] = 1;
            if (reach.outside(t))
                return;
            const QDate sd = t.startDate;
            const QTime st = t.startTime;
            if (t.running()) {
                const qint64 s = table.msecs(sd, st, [&t] { return t.start(); });
                if (s < periodLast)
                    periodRunning[a] = 1;
                if (perDay && dayCount > 0 && s < dayLast.back())
                    anyDayRunning = true;
                return;
            }
            const QDate ed = t.stopDate;
            const qint64 s = table.msecs(sd, st, [&t] { return t.start(); });
            const qint64 e = table.msecs(ed, t.stopTime, [&t] { return t.stop(); });
            const int duration
                = (sd.isValid() && st.isValid()) ? int((e - s) / 1000 / 60) : t.duration();
            addMinutes(periodTotals[a],
                       ReportData::minutesWithin(s, e, duration, periodFirst, periodLast));
            if (!perDay || dayCount == 0)
                return;
            // The days the task can reach: those within a day of its start and stop dates.
            int firstDay = 0;
            int lastDay = dayCount - 1;
            if (sd.isValid() && st.isValid()) {
                firstDay = int(std::max<qint64>(0, from.daysTo(std::min(sd, ed)) - 1));
                lastDay = int(std::min<qint64>(dayCount - 1, from.daysTo(std::max(sd, ed)) + 1));
            }
            int *row = dayTotals.data() + a * size_t(dayCount);
            for (int i = firstDay; i <= lastDay; ++i)
                addMinutes(row[i], ReportData::minutesWithin(s, e, duration, dayFirst[size_t(i)],
                                                             dayLast[size_t(i)]));
        });
    }

    int minutesOnDay(int a, int dayIndex) const
    {
        return dayTotals[size_t(a) * size_t(dayCount) + size_t(dayIndex)];
    }
};

// Reads the records a report needs out of a document string: the categories, the activities,
// and of the tasks only those that can reach the period, looked at first by their dates as
// read so that the rest are never converted.
class RecordsSink : public DocumentFormat::CatalogueSink
{
public:
    RecordsSink(const PeriodReach &reach, KeptTasks &tasks)
        : m_reach(reach)
        , m_tasks(tasks)
    {
        const bool plain = reach.low.year() >= 1 && reach.high.year() <= 9999;
        m_lowDay = plain ? DocumentFormat::WallClock::dayNumber(reach.low) : -1;
        m_highDay = plain ? DocumentFormat::WallClock::dayNumber(reach.high) : -1;
    }

    bool task(const DocumentFormat::TaskRecord &record) override
    {
        const int a = record.activityPosition;
        if (a < 0 || a >= int(activities.size()))
            return true;
        if (m_lowDay >= 0 && !record.stop.isNull()) {
            // -1 unless certainly a valid date and time, which QDate and QTime then decide.
            const qint64 startDay = record.start.plainDay();
            const qint64 stopDay = record.stop.plainDay();
            if (startDay >= 0 && stopDay >= 0
                && (std::max(startDay, stopDay) < m_lowDay
                    || std::min(startDay, stopDay) > m_highDay)) {
                m_tasks.mark(a);
                return true;
            }
        }
        // As the document's reader makes them: a time not given stays null, and one off the
        // plain years and times holds what QDateTime makes of it.
        ReportTask task;
        task.activity = a;
        if (!record.start.isNull()) {
            task.startDate = record.start.date();
            task.startTime = record.start.time();
            if (!record.start.isPlainlyValid())
                task.madeStart = made(&task.startDate, &task.startTime);
        }
        if (!record.stop.isNull()) {
            task.stopDate = record.stop.date();
            task.stopTime = record.stop.time();
            if (!record.stop.isPlainlyValid())
                task.madeStop = made(&task.stopDate, &task.stopTime);
        }
        m_tasks.mark(a);
        if (!m_reach.outside(task))
            m_tasks.kept.push_back(task);
        return true;
    }

private:
    // What the document's task holds of a date and time that are not plainly both: the
    // date-time they make, and its parts.
    static QDateTime made(QDate *date, QTime *time)
    {
        const QDateTime moment(*date, *time);
        *date = moment.date();
        *time = moment.time();
        return moment;
    }

    const PeriodReach m_reach;
    KeptTasks &m_tasks;
    qint64 m_lowDay = -1;
    qint64 m_highDay = -1;
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

namespace {

// The report from its catalogue (categories and activities as listed, an activity's column
// already found) and its tasks: the one place that decides which rows show and where a time
// goes.
template<typename Tasks>
ReportData assemble(ReportData data, const Tasks &tasks, bool includeZero)
{
    const bool perDay = data.kind == ReportKind::TimeSheet;
    const int activityCount = int(data.activities.size());
    const ScannedSource source(tasks, activityCount, data.from, data.to, perDay);

    // Every category is listed, in the heads and the totals, so an obsolete one always shows.
    for (const ReportCategory &category : data.categories) {
        if (category.obsolete)
            data.obsoleteShown = true;
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
        addMinutes(data.totals[size_t(activity.column)], minutes);
        if (dayTotals)
            addMinutes((*dayTotals)[size_t(activity.column)], minutes);
    };

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
        day.date = data.from.addDays(i);
        day.firstRow = int(data.rows.size());
        day.totals.assign(data.categories.size(), 0);
        for (int a = 0; a < activityCount; ++a)
            addRow(a, source.minutesOnDay(a, i), &day.totals);
        day.rowCount = int(data.rows.size()) - day.firstRow;
    }
    return data;
}

ReportData emptyReport(const QDate &from, const QDate &to, ReportKind kind)
{
    ReportData data;
    data.kind = kind;
    data.from = from;
    data.to = to;
    return data;
}

} // namespace

ReportData ReportData::collect(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                               bool includeZero, ReportKind kind)
{
    ReportData data = emptyReport(from, to, kind);
    QHash<const ActivityCategory *, int> columnOf;
    for (int c = 0; c < doc.categories.size(); ++c) {
        const ActivityCategory *category = doc.categories.at(c);
        data.categories.push_back({category->name, category->obsolete});
        if (!columnOf.contains(category))
            columnOf.insert(category, c);
    }
    QHash<const Activity *, int> indexOf;
    indexOf.reserve(doc.activities.size());
    for (int a = 0; a < doc.activities.size(); ++a) {
        const Activity *activity = doc.activities.at(a);
        const ActivityCategory *category = activity->category;
        data.activities.push_back({activity->name, category ? category->name : QString(),
                                   category ? columnOf.value(category, -1) : -1,
                                   activity->obsolete});
        indexOf.insert(activity, a);
    }
    return assemble(std::move(data), DocumentTasks{doc, indexOf, {}}, includeZero);
}

bool ReportData::collect(const char *data, int length, const QDate &from, const QDate &to,
                         bool includeZero, ReportKind kind, ReportData *report,
                         const DocumentFormat::Passing *passing)
{
    KeptTasks tasks;
    RecordsSink sink(PeriodReach(from, to), tasks);
    if (!DocumentFormat::read(data, length, sink, passing))
        return false;

    // As a document read from the string keeps them: an obsolete activity only with tasks,
    // an obsolete category only with an activity kept.
    const size_t activityCount = sink.activities.size();
    tasks.hasTasks.resize(activityCount, 0);
    std::vector<int> newPlace(activityCount, -1);
    std::vector<char> categoryUsed(sink.categories.size(), 0);
    for (size_t a = 0; a < activityCount; ++a) {
        const DocumentFormat::ActivityRecord &record = sink.activities[a];
        if (record.obsolete && !tasks.hasTasks[a])
            continue;
        const int c = record.categoryPosition;
        if (c >= 0 && c < int(categoryUsed.size()))
            categoryUsed[size_t(c)] = 1;
    }
    ReportData result = emptyReport(from, to, kind);
    std::vector<int> column(sink.categories.size(), -1);
    for (size_t c = 0; c < sink.categories.size(); ++c) {
        const DocumentFormat::CategoryRecord &record = sink.categories[c];
        if (record.obsolete && !categoryUsed[c])
            continue;
        column[c] = int(result.categories.size());
        result.categories.push_back({record.name, record.obsolete});
    }
    std::vector<char> keptHasTasks;
    for (size_t a = 0; a < activityCount; ++a) {
        const DocumentFormat::ActivityRecord &record = sink.activities[a];
        if (record.obsolete && !tasks.hasTasks[a])
            continue;
        const int c = record.categoryPosition;
        const bool inList = c >= 0 && c < int(column.size());
        newPlace[a] = int(result.activities.size());
        result.activities.push_back({record.name,
                                     inList ? sink.categories[size_t(c)].name : QString(),
                                     inList ? column[size_t(c)] : -1, record.obsolete});
        keptHasTasks.push_back(tasks.hasTasks[a]);
    }
    tasks.hasTasks = std::move(keptHasTasks);
    for (ReportTask &task : tasks.kept)
        task.activity = newPlace[size_t(task.activity)];
    *report = assemble(std::move(result), tasks, includeZero);
    return true;
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
