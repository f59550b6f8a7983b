// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ReportText.h"

#include "model/QuorvelDocument.h"
#include "platform/TimeString.h"

#include <QDateTime>
#include <QHash>
#include <QLocale>

#ifdef Q_OS_LINUX
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <unordered_map>
#include <vector>

namespace {

const QString obsoleteOpen = QStringLiteral("<font color=#ff0000><i>");
const QString obsoleteClose = QStringLiteral("</i></font>");

QString shownName(const QString &name, bool obsolete, bool *obsoleteShown)
{
    if (!obsolete)
        return name.toHtmlEscaped();
    *obsoleteShown = true;
    return obsoleteOpen + name.toHtmlEscaped() + obsoleteClose;
}

int columnOf(const QuorvelDocument &doc, const Activity *activity)
{
    if (!activity->category)
        return -1;
    for (int c = 0; c < doc.categories.size(); ++c) {
        if (doc.categories.at(c) == activity->category)
            return c;
    }
    return -1;
}

bool rowShown(int minutes, bool includeZero, const Activity *activity, bool hasTasks)
{
    return minutes > 0 || (includeZero && (!activity->obsolete || hasTasks));
}

// The durations a report reads, from the document directly or from one pass over its tasks.
struct ReferenceSource
{
    const QuorvelDocument &doc;

    int periodMinutes(int a, const QDate &from, const QDate &to, bool *running) const
    {
        return doc.getActivityDuration(from, to, doc.activities.at(a), running);
    }
    int dayMinutes(int a, int, const QDate &day, bool *running) const
    {
        return doc.getActivityDuration(day, day, doc.activities.at(a), running);
    }
    bool hasTasks(int a) const { return doc.hasActivityGotTasks(doc.activities.at(a)); }
    int numActiveActivities() const { return doc.getNumActiveActivities(true); }
    int countNonzeroActivities(int, const QDate &day) const
    {
        return ReportText::countNonzeroActivities(doc, day);
    }
};

QString heading(const QString &menuName, const QDate &from, const QDate &to)
{
    return QStringLiteral("<qt bgcolor=#ffffff><p><font face=Arial size=5 color=#0000ff>")
           + menuName + QStringLiteral("</font></p><p><font face=Arial size=4 color=#0000ff>")
           + ReportText::tr("%1 to %2").arg(TimeString::shortDate(from), TimeString::shortDate(to))
           + QStringLiteral("</font></p><table border=0 cellpadding=2 cellspacing=1>");
}

QString unitLabel(bool decimalHours)
{
    return decimalHours ? ReportText::tr("hours") : ReportText::tr("hrs&nbsp;:&nbsp;mins");
}

QString notes(bool obsoleteShown, bool activeExcluded)
{
    QString text = QStringLiteral("</table>");
    if (obsoleteShown) {
        text += QStringLiteral("<p><font color=#ff0000>")
                + ReportText::tr("Activities and categories shown in<br><i>red italics</i> are "
                                 "obsolete.")
                + QStringLiteral("</font></p>");
    }
    if (activeExcluded) {
        text += QStringLiteral("<p><font color=#ff0000>")
                + ReportText::tr("There are <i>active</i> tasks in this time period<br>that are "
                                 "excluded from this report.")
                + QStringLiteral("</font></p>");
    }
    return text + QStringLiteral("</qt>");
}

// Formatted durations, each worked out once per report: a long time sheet repeats the same
// few hundred values tens of thousands of times.
class MinuteTexts
{
public:
    explicit MinuteTexts(bool decimalHours)
        : m_decimal(decimalHours)
        , m_cache(size_t(cached))
    {}

    const QString &operator()(int minutes)
    {
        QString &text
            = minutes >= 0 && minutes < cached ? m_cache[size_t(minutes)] : m_others[minutes];
        if (text.isNull())
            text = ReportText::formatMinutes(minutes, m_decimal);
        return text;
    }

    // A text made before by operator(), for a writer that only reads; a value never made
    // gives an empty text.
    QStringView made(int minutes) const
    {
        if (minutes >= 0 && minutes < cached)
            return m_cache[size_t(minutes)];
        const auto found = m_others.find(minutes);
        return found == m_others.end() ? QStringView() : QStringView(found->second);
    }

private:
    static constexpr int cached = 4 * 1440;
    bool m_decimal;
    std::vector<QString> m_cache;
    // Negative and very long durations are rare: only damaged data or many overlapping tasks.
    std::unordered_map<int, QString> m_others;
};

// An activity's row around its one duration: the name cell and the empty cells before the
// duration, and the empty cells after it. Without a column the row is all head.
struct RowPieces
{
    QString head;
    QString tail;
    int column = -1;
};

RowPieces rowPieces(const QuorvelDocument &doc, const Activity *activity, bool *obsoleteShown)
{
    static const QString emptyCell = QStringLiteral("<td align=center bgcolor=#e0e0e0>&nbsp;</td>");
    RowPieces pieces;
    pieces.column = columnOf(doc, activity);
    pieces.head = QStringLiteral("<td bgcolor=#c0c0c0>")
                  + shownName(activity->name, activity->obsolete, obsoleteShown)
                  + QStringLiteral("</td>");
    for (int c = 0; c < doc.categories.size(); ++c) {
        if (c < pieces.column || pieces.column < 0)
            pieces.head += emptyCell;
        else if (c == pieces.column)
            pieces.head += QStringLiteral("<td align=center bgcolor=#e0e0e0>");
        else
            pieces.tail += emptyCell;
    }
    if (pieces.column >= 0)
        pieces.tail.prepend(QStringLiteral("</td>"));
    return pieces;
}

template<typename Source>
QString summaryText(const QuorvelDocument &doc, const Source &source, const QDate &from,
                    const QDate &to, bool includeZero, bool decimalHours)
{
    const int categoryCount = doc.categories.size();
    std::vector<int> totals(size_t(categoryCount), 0);
    bool obsoleteShown = false;
    bool activeExcluded = false;

    QString text = heading(ReportText::summaryMenuName(), from, to);
    text += QStringLiteral("<tr><td rowspan=2 bgcolor=#c0c0c0>&nbsp;</td>");
    for (const ActivityCategory *c : doc.categories) {
        text += QStringLiteral("<td align=center bgcolor=#c0c0c0>")
                + shownName(c->name, c->obsolete, &obsoleteShown) + QStringLiteral("</td>");
    }
    text += QStringLiteral("</tr><tr>");
    const QString unitCell = QStringLiteral("<td align=center bgcolor=#c0c0c0><font size=-1>")
                             + unitLabel(decimalHours) + QStringLiteral("</font></td>");
    for (int c = 0; c < categoryCount; ++c)
        text += unitCell;
    text += QStringLiteral("</tr>");

    for (int a = 0; a < doc.activities.size(); ++a) {
        const Activity *activity = doc.activities.at(a);
        bool running = false;
        const int m = source.periodMinutes(a, from, to, &running);
        if (running)
            activeExcluded = true;
        if (!rowShown(m, includeZero, activity, m > 0 || source.hasTasks(a)))
            continue;
        text += QStringLiteral("<tr><td bgcolor=#c0c0c0>")
                + shownName(activity->name, activity->obsolete, &obsoleteShown)
                + QStringLiteral("</td>");
        const int column = columnOf(doc, activity);
        for (int c = 0; c < categoryCount; ++c) {
            text += QStringLiteral("<td align=center bgcolor=#e0e0e0>");
            if (c == column) {
                text += ReportText::formatMinutes(m, decimalHours);
                totals[size_t(c)] += m;
            } else {
                text += QStringLiteral("&nbsp;");
            }
            text += QStringLiteral("</td>");
        }
        text += QStringLiteral("</tr>");
    }

    text += QStringLiteral("<tr><td bgcolor=#c0c0c0>") + ReportText::tr("Totals")
            + QStringLiteral("</td>");
    for (int c = 0; c < categoryCount; ++c) {
        text += QStringLiteral("<td align=center bgcolor=#c0ffc0>")
                + ReportText::formatMinutes(totals[size_t(c)], decimalHours)
                + QStringLiteral("</td>");
    }
    text += QStringLiteral("</tr>");
    return text + notes(obsoleteShown, activeExcluded);
}

// The time sheet's title and column heads, up to its first day.
QString timeSheetHead(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                      bool decimalHours, bool *obsoleteShown)
{
    QString text = heading(ReportText::timeSheetMenuName(), from, to);
    text += QStringLiteral("<tr><td colspan=2 rowspan=2 bgcolor=#c0c0c0>&nbsp;</td>");
    for (const ActivityCategory *c : doc.categories) {
        text += QStringLiteral("<td align=center bgcolor=#c0c0c0>")
                + shownName(c->name, c->obsolete, obsoleteShown) + QStringLiteral("</td>");
    }
    text += QStringLiteral("<td rowspan=2 bgcolor=#c0c0c0>&nbsp;</td></tr><tr>");
    const QString unitCell = QStringLiteral("<td align=center bgcolor=#c0c0c0><font size=-1>")
                             + unitLabel(decimalHours) + QStringLiteral("</font></td>");
    for (int c = 0; c < doc.categories.size(); ++c)
        text += unitCell;
    return text + QStringLiteral("</tr>");
}

// Opens a day of `rows` activity rows: its first row and the date cell beside all of them.
QString dayCell(const QLocale &locale, const QDate &d, int rows)
{
    return QStringLiteral("<tr><td align=top bgcolor=#c0c0c0 rowspan=") + QString::number(rows + 1)
           + QLatin1Char('>') + locale.dayName(d.dayOfWeek(), QLocale::ShortFormat)
           + QStringLiteral("<br>")
           + ReportText::tr("%1&nbsp;%2", "a time sheet's day: the month's short name, the day")
                 .arg(locale.monthName(d.month(), QLocale::ShortFormat), QString::number(d.day()))
           + QStringLiteral("<br>") + QString::number(d.year()) + QStringLiteral("</td>");
}

// The empty cell that closes the first activity row of a day and spans all of them.
QString spacerCell(int rows)
{
    return QStringLiteral("<td align=center bgcolor=#e0e0e0 rowspan=") + QString::number(rows)
           + QStringLiteral(">&nbsp;</td>");
}

// The last row of a day. A day without activity rows has its first row still open.
QString dailyTotalsRow(const std::vector<int> &dayTotals, bool afterRows, MinuteTexts &minuteText)
{
    QString text = afterRows ? QStringLiteral("<tr>") : QString();
    text += QStringLiteral("<td bgcolor=#c0c0c0>") + ReportText::tr("Daily Totals")
            + QStringLiteral("</td>");
    int daySum = 0;
    for (const int m : dayTotals) {
        text += QStringLiteral("<td align=center bgcolor=#c0ffc0>") + minuteText(m)
                + QStringLiteral("</td>");
        daySum += m;
    }
    return text + QStringLiteral("<td align=center bgcolor=#c0ffc0>") + minuteText(daySum)
           + QStringLiteral("</td></tr>");
}

QString periodTotalsRow(const std::vector<int> &periodTotals, bool decimalHours)
{
    QString text = QStringLiteral("<tr><td colspan=2 bgcolor=#c0c0c0>")
                   + ReportText::tr("Period Totals") + QStringLiteral("</td>");
    int periodSum = 0;
    for (const int m : periodTotals) {
        text += QStringLiteral("<td align=center bgcolor=#c0ffc0>")
                + ReportText::formatMinutes(m, decimalHours) + QStringLiteral("</td>");
        periodSum += m;
    }
    return text + QStringLiteral("<td align=center bgcolor=#c0ffc0>")
           + ReportText::formatMinutes(periodSum, decimalHours) + QStringLiteral("</td></tr>");
}

// The time sheet written the plain way, row after row; the fast build below must match it.
template<typename Source>
QString timeSheetText(const QuorvelDocument &doc, const Source &source, const QDate &from,
                      const QDate &to, bool includeZero, bool decimalHours)
{
    const int categoryCount = doc.categories.size();
    std::vector<int> dayTotals(size_t(categoryCount), 0);
    std::vector<int> periodTotals(size_t(categoryCount), 0);
    bool obsoleteShown = false;
    bool activeExcluded = false;
    MinuteTexts minuteText(decimalHours);
    // The obsolete note is flagged by the rows written, not by building the pieces.
    std::vector<RowPieces> pieces(size_t(doc.activities.size()));
    bool ignored = false;
    for (int a = 0; a < doc.activities.size(); ++a)
        pieces[size_t(a)] = rowPieces(doc, doc.activities.at(a), &ignored);

    QString text = timeSheetHead(doc, from, to, decimalHours, &obsoleteShown);
    const QLocale locale;
    int dayIndex = 0;
    // An invalid date would never reach the end: such a period has no days.
    for (QDate d = from; d.isValid() && to.isValid() && d <= to; d = d.addDays(1), ++dayIndex) {
        const int n = includeZero ? source.numActiveActivities()
                                  : source.countNonzeroActivities(dayIndex, d);
        text += dayCell(locale, d, n);
        std::fill(dayTotals.begin(), dayTotals.end(), 0);
        bool firstRow = true;
        for (int a = 0; a < doc.activities.size(); ++a) {
            const Activity *activity = doc.activities.at(a);
            bool running = false;
            const int m = source.dayMinutes(a, dayIndex, d, &running);
            if (running)
                activeExcluded = true;
            if (!rowShown(m, includeZero, activity, m > 0 || source.hasTasks(a)))
                continue;
            if (!firstRow)
                text += QStringLiteral("<tr>");
            const RowPieces &row = pieces[size_t(a)];
            if (activity->obsolete)
                obsoleteShown = true;
            text += row.head;
            if (row.column >= 0) {
                text += minuteText(m);
                text += row.tail;
                dayTotals[size_t(row.column)] += m;
                periodTotals[size_t(row.column)] += m;
            }
            if (firstRow)
                text += spacerCell(n);
            text += QStringLiteral("</tr>");
            firstRow = false;
        }
        text += dailyTotalsRow(dayTotals, !firstRow, minuteText);
    }
    text += periodTotalsRow(periodTotals, decimalHours);
    return text + notes(obsoleteShown, activeExcluded);
}

// --- One pass over the tasks -----------------------------------------------------------------

// A task's share of the stretch [first, last), by the same cases and the same truncation as
// the document's own per-activity sum; all moments in milliseconds since the epoch.
int share(qint64 s, qint64 e, int duration, qint64 first, qint64 last)
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
    const QuorvelDocument &doc;
    bool perDay = false;
    int dayCount = 0;
    std::vector<char> taskFlags;     // per activity: has tasks
    std::vector<int> periodTotals;   // per activity
    std::vector<char> periodRunning; // per activity
    std::vector<int> dayTotals;      // per activity and day, day-major within an activity
    bool anyDayRunning = false;
    int activeActivities = 0;
    std::vector<int> nonzeroPerDay;

    ScannedSource(const QuorvelDocument &document, const QDate &from, const QDate &to, bool days)
        : doc(document)
        , perDay(days)
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
            periodTotals[size_t(a)] += share(s, e, duration, periodFirst, periodLast);
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
                row[i] += share(s, e, duration, dayFirst[size_t(i)], dayLast[size_t(i)]);
        }

        for (int a = 0; a < activityCount; ++a) {
            if (!doc.activities.at(a)->obsolete || taskFlags[size_t(a)])
                ++activeActivities;
        }
        if (perDay) {
            nonzeroPerDay.assign(size_t(dayCount), 0);
            for (int a = 0; a < activityCount; ++a) {
                const int *row = dayTotals.data() + size_t(a) * size_t(dayCount);
                for (int i = 0; i < dayCount; ++i) {
                    if (row[i] > 0)
                        ++nonzeroPerDay[size_t(i)];
                }
            }
        }
    }

    int periodMinutes(int a, const QDate &, const QDate &, bool *running) const
    {
        *running = periodRunning[size_t(a)];
        return periodTotals[size_t(a)];
    }
    // The running flag is reported once, on the first day, for the whole period: the report
    // only needs to know whether any day had one.
    int dayMinutes(int a, int dayIndex, const QDate &, bool *running) const
    {
        *running = anyDayRunning;
        return minutesOnDay(a, dayIndex);
    }
    bool hasTasks(int a) const { return taskFlags[size_t(a)]; }
    int numActiveActivities() const { return activeActivities; }
    // What dayMinutes() gives, without the running flag.
    int minutesOnDay(int a, int dayIndex) const
    {
        return dayTotals[size_t(a) * size_t(dayCount) + size_t(dayIndex)];
    }
    int countNonzeroActivities(int dayIndex, const QDate &) const
    {
        return nonzeroPerDay[size_t(dayIndex)];
    }
};

// Asks for the large text's memory to come in huge pages. A fresh buffer is faulted in page
// by page as it is first written, and at 4 KiB a page that costs more than the writing itself:
// about 100 ms for the 137 MB of a year's time sheet on the 2-core development machine (a
// virtual machine), and a second thread does not help, as the faults contend in the kernel.
// Huge pages make 512 times fewer faults. Only for blocks of 32 MiB and more, which glibc maps
// on their own, so that the advice reaches nothing else and ends with the text. It is advice:
// where huge pages are off, nothing changes but the speed.
void adviseHugePages(QString &text)
{
#if defined(Q_OS_LINUX) && defined(MADV_HUGEPAGE)
    const size_t bytes = size_t(text.size()) * sizeof(QChar);
    if (bytes < size_t(32) << 20)
        return;
    const uintptr_t pageSize = uintptr_t(sysconf(_SC_PAGESIZE));
    const uintptr_t begin = reinterpret_cast<uintptr_t>(text.data());
    const uintptr_t first = (begin + pageSize - 1) & ~(pageSize - 1);
    madvise(reinterpret_cast<void *>(first), begin + bytes - first, MADV_HUGEPAGE);
#else
    Q_UNUSED(text);
#endif
}

// The time sheet from the one pass over the tasks. A year of it is tens of millions of
// characters, and writing them is nearly all of its cost: the page faults of a fresh buffer
// and the copying. So every day is laid out and measured first, by the same code that later
// writes it, and the text is then copied piece by piece into a buffer of exactly its size: no
// growth, no second copy, no formatting while writing.
class FastTimeSheet
{
public:
    FastTimeSheet(const QuorvelDocument &doc, const ScannedSource &source, bool includeZero,
                  bool decimalHours)
        : m_doc(doc)
        , m_source(source)
        , m_includeZero(includeZero)
        , m_decimalHours(decimalHours)
        , m_minuteText(decimalHours)
    {
        bool ignored = false;
        for (const Activity *activity : doc.activities)
            m_rows.push_back({rowPieces(doc, activity, &ignored), activity->obsolete});
    }

    QString text(const QDate &from, const QDate &to)
    {
        const int dayCount = m_source.dayCount;
        bool obsoleteShown = false;
        bool activeExcluded = false;
        const QString head = timeSheetHead(m_doc, from, to, m_decimalHours, &obsoleteShown);

        // Everything that depends on more than one row, and every minute text, is made here,
        // so that writing only copies.
        std::vector<int> dayTotals(size_t(m_doc.categories.size()), 0);
        std::vector<int> periodTotals(dayTotals.size(), 0);
        const QLocale locale;
        m_days.resize(size_t(dayCount));
        for (int i = 0; i < dayCount; ++i) {
            const QDate d = from.addDays(i);
            std::fill(dayTotals.begin(), dayTotals.end(), 0);
            bool anyRow = false;
            for (int a = 0; a < int(m_rows.size()); ++a) {
                bool running = false;
                const int m = m_source.dayMinutes(a, i, d, &running);
                if (running)
                    activeExcluded = true;
                if (!shown(a, m))
                    continue;
                anyRow = true;
                const Row &row = m_rows[size_t(a)];
                if (row.obsolete)
                    obsoleteShown = true;
                if (row.pieces.column >= 0) {
                    m_minuteText(m);
                    dayTotals[size_t(row.pieces.column)] += m;
                    periodTotals[size_t(row.pieces.column)] += m;
                }
            }
            const int n = m_includeZero ? m_source.numActiveActivities()
                                        : m_source.countNonzeroActivities(i, d);
            Day &day = m_days[size_t(i)];
            day.open = dayCell(locale, d, n);
            day.spacer = spacerCell(n);
            day.totals = dailyTotalsRow(dayTotals, anyRow, m_minuteText);
            Measure measure;
            writeDay(measure, i);
            day.length = measure.length;
        }
        const QString foot
            = periodTotalsRow(periodTotals, m_decimalHours) + notes(obsoleteShown, activeExcluded);

        qsizetype length = head.size() + foot.size();
        for (const Day &day : m_days)
            length += day.length;
        QString text(length, Qt::Uninitialized);
        adviseHugePages(text);
        Copy out(text.data());
        out.put(head);
        for (int i = 0; i < dayCount; ++i)
            writeDay(out, i);
        out.put(foot);
        Q_ASSERT(out.at == text.data() + text.size());
        return text;
    }

private:
    struct Row
    {
        RowPieces pieces;
        bool obsolete = false;
    };

    // A day's texts that are not per activity, and its length in the text.
    struct Day
    {
        QString open;
        QString spacer;
        QString totals;
        qsizetype length = 0;
    };

    // The two ways of writing a day: counting its characters, and copying them.
    struct Measure
    {
        qsizetype length = 0;
        void put(QStringView piece) { length += piece.size(); }
    };
    struct Copy
    {
        explicit Copy(QChar *to)
            : at(to)
        {}
        void put(QStringView piece)
        {
            std::memcpy(at, piece.data(), size_t(piece.size()) * sizeof(QChar));
            at += piece.size();
        }
        QChar *at;
    };

    bool shown(int a, int minutes) const
    {
        return rowShown(minutes, m_includeZero, m_doc.activities.at(a),
                        minutes > 0 || m_source.hasTasks(a));
    }

    // The rows of a day as timeSheetText() writes them.
    template<typename Sink>
    void writeDay(Sink &out, int dayIndex) const
    {
        const Day &day = m_days[size_t(dayIndex)];
        out.put(day.open);
        bool firstRow = true;
        for (int a = 0; a < int(m_rows.size()); ++a) {
            const int m = m_source.minutesOnDay(a, dayIndex);
            if (!shown(a, m))
                continue;
            if (!firstRow)
                out.put(u"<tr>");
            const RowPieces &row = m_rows[size_t(a)].pieces;
            out.put(row.head);
            if (row.column >= 0) {
                out.put(m_minuteText.made(m));
                out.put(row.tail);
            }
            if (firstRow)
                out.put(day.spacer);
            out.put(u"</tr>");
            firstRow = false;
        }
        out.put(day.totals);
    }

    const QuorvelDocument &m_doc;
    const ScannedSource &m_source;
    bool m_includeZero;
    bool m_decimalHours;
    MinuteTexts m_minuteText;
    std::vector<Row> m_rows;
    std::vector<Day> m_days;
};

// The reports' names, in English for the settings and translated for the menu.
const char SummaryName[] = QT_TRANSLATE_NOOP("ReportText", "Period Summary Report");
const char TimeSheetName[] = QT_TRANSLATE_NOOP("ReportText", "Period Time Sheet");

} // namespace

QString ReportText::summaryMenuName()
{
    return tr(SummaryName);
}

QString ReportText::timeSheetMenuName()
{
    return tr(TimeSheetName);
}

QString ReportText::summarySettingsName()
{
    return QString::fromLatin1(SummaryName);
}

QString ReportText::timeSheetSettingsName()
{
    return QString::fromLatin1(TimeSheetName);
}

int ReportText::countNonzeroActivities(const QuorvelDocument &doc, const QDate &day)
{
    int count = 0;
    for (const Activity *a : doc.activities) {
        bool ignored = false;
        if (doc.getActivityDuration(day, day, a, &ignored) > 0)
            ++count;
    }
    return count;
}

QString ReportText::formatMinutes(int minutes, bool decimalHours)
{
    if (decimalHours) {
        // The locale's decimal separator (a comma in German), and no group separators, which
        // QLocale would add; the CSV keeps its point.
        QString text = QString::asprintf("%5.4f", minutes / 60.0);
        const QString point = QLocale().decimalPoint();
        if (point != QLatin1String("."))
            text.replace(QLatin1Char('.'), point);
        return text;
    }
    return QString::asprintf("%d:%02d", minutes / 60, minutes % 60);
}

QString ReportText::periodSummaryReference(const QuorvelDocument &doc, const QDate &from,
                                           const QDate &to, bool includeZero, bool decimalHours)
{
    return summaryText(doc, ReferenceSource{doc}, from, to, includeZero, decimalHours);
}

QString ReportText::periodTimeSheetReference(const QuorvelDocument &doc, const QDate &from,
                                             const QDate &to, bool includeZero, bool decimalHours)
{
    return timeSheetText(doc, ReferenceSource{doc}, from, to, includeZero, decimalHours);
}

QString ReportText::periodSummary(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                                  bool includeZero, bool decimalHours)
{
    const ScannedSource source(doc, from, to, false);
    return summaryText(doc, source, from, to, includeZero, decimalHours);
}

QString ReportText::periodTimeSheet(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                                    bool includeZero, bool decimalHours)
{
    const ScannedSource source(doc, from, to, true);
    return FastTimeSheet(doc, source, includeZero, decimalHours).text(from, to);
}

QString ReportText::csvField(const QString &value)
{
    if (!value.contains(QLatin1Char(',')) && !value.contains(QLatin1Char('"'))
        && !value.contains(QLatin1Char('\n')) && !value.contains(QLatin1Char('\r')))
        return value;
    QString quoted = value;
    quoted.replace(QLatin1String("\""), QLatin1String("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

namespace {

// Whether a cell would run as a formula, were it not for the quotes before position quotes.
bool wouldRun(const QString &cell, qsizetype *quotes)
{
    qsizetype i = 0;
    while (i < cell.size() && cell.at(i) == QLatin1Char('\''))
        ++i;
    *quotes = i;
    if (i == cell.size())
        return false;
    const QChar c = cell.at(i);
    return c == QLatin1Char('=') || c == QLatin1Char('+') || c == QLatin1Char('-')
           || c == QLatin1Char('@') || c == QLatin1Char('\t') || c == QLatin1Char('\r');
}

} // namespace

QString ReportText::csvName(const QString &name)
{
    qsizetype quotes = 0;
    return wouldRun(name, &quotes) ? QLatin1Char('\'') + name : name;
}

QString ReportText::nameFromCsv(const QString &cell)
{
    qsizetype quotes = 0;
    return wouldRun(cell, &quotes) && quotes > 0 ? cell.mid(1) : cell;
}

namespace {

QString csvRow(const QStringList &fields)
{
    QStringList quoted;
    for (const QString &field : fields)
        quoted.append(ReportText::csvField(field));
    return quoted.join(QLatin1Char(',')) + QLatin1String("\r\n");
}

QString categoryName(const Activity *activity)
{
    return activity->category ? activity->category->name : QString();
}

} // namespace

QString ReportText::periodSummaryCsv(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                                     bool includeZero)
{
    const ScannedSource source(doc, from, to, false);
    QString text = csvRow({tr("Activity"), tr("Category"), tr("Minutes"), tr("Hours")});
    for (int a = 0; a < doc.activities.size(); ++a) {
        const Activity *activity = doc.activities.at(a);
        bool running = false;
        const int m = source.periodMinutes(a, from, to, &running);
        if (!rowShown(m, includeZero, activity, m > 0 || source.hasTasks(a)))
            continue;
        text += csvRow({csvName(activity->name), csvName(categoryName(activity)),
                        QString::number(m), QString::number(m / 60.0, 'f', 4)});
    }
    return text;
}

QString ReportText::periodTimeSheetCsv(const QuorvelDocument &doc, const QDate &from,
                                       const QDate &to, bool includeZero)
{
    const ScannedSource source(doc, from, to, true);
    QString text = csvRow({tr("Date"), tr("Activity"), tr("Category"), tr("Minutes")});
    int dayIndex = 0;
    for (QDate d = from; d.isValid() && to.isValid() && d <= to; d = d.addDays(1), ++dayIndex) {
        const QString date = d.toString(Qt::ISODate);
        for (int a = 0; a < doc.activities.size(); ++a) {
            const Activity *activity = doc.activities.at(a);
            const int m = source.minutesOnDay(a, dayIndex);
            if (!rowShown(m, includeZero, activity, m > 0 || source.hasTasks(a)))
                continue;
            text += csvRow({date, csvName(activity->name), csvName(categoryName(activity)),
                            QString::number(m)});
        }
    }
    return text;
}

namespace {

// Lays out a plain-text report: free lines, and rows of three columns (a name and a category
// left-aligned, a time right-aligned) two blanks apart. A column is as wide as its widest cell
// in the whole report, so a report is laid out twice by the same code: once to measure the
// columns and once to write into a buffer reserved for all of it.
class TextColumns
{
public:
    void line(QStringView text)
    {
        if (m_writing) {
            m_text += text;
            m_text += u'\n';
        } else {
            m_lineLength += text.size() + 1;
        }
    }

    void row(QStringView name, QStringView category, QStringView time)
    {
        if (!m_writing) {
            m_widths[0] = std::max(m_widths[0], name.size());
            m_widths[1] = std::max(m_widths[1], category.size());
            m_widths[2] = std::max(m_widths[2], time.size());
            ++m_rows;
            return;
        }
        const qsizetype start = m_text.size();
        m_text += name;
        pad(m_widths[0] - name.size() + gap);
        m_text += category;
        pad(m_widths[1] - category.size() + gap + m_widths[2] - time.size());
        m_text += time;
        // A row that ends in empty cells would otherwise end in their padding.
        qsizetype end = m_text.size();
        while (end > start && m_text.at(end - 1) == u' ')
            --end;
        m_text.truncate(end);
        m_text += u'\n';
    }

    // Ends the measuring: the same lines follow once more, to be written.
    void startWriting()
    {
        m_writing = true;
        const qsizetype rowLength = m_widths[0] + m_widths[1] + m_widths[2] + 2 * gap + 1;
        m_text.reserve(m_lineLength + m_rows * rowLength);
    }

    QString take() { return std::move(m_text); }

private:
    static constexpr qsizetype gap = 2;

    void pad(qsizetype blanks) { m_text.resize(m_text.size() + blanks, u' '); }

    bool m_writing = false;
    qsizetype m_widths[3] = {0, 0, 0};
    qsizetype m_rows = 0;
    qsizetype m_lineLength = 0;
    QString m_text;
};

// Runs lay (a callable taking a TextColumns) twice: to measure, then to write.
template<typename Lay>
QString laidOut(const Lay &lay)
{
    TextColumns out;
    lay(out);
    out.startWriting();
    lay(out);
    return out.take();
}

// The names as the text reports show them, an obsolete one marked by an asterisk, as the
// terminal has no red italics; made once per report rather than once per row.
struct TextNames
{
    std::vector<QString> activities;
    std::vector<QString> indentedActivities; // for the rows under a day of the time sheet
    std::vector<int> columns;                // the activity's category, or -1
    std::vector<QString> categories;
    bool obsoleteCategory = false;

    explicit TextNames(const QuorvelDocument &doc)
    {
        const QString indent = QStringLiteral("  ");
        for (const ActivityCategory *c : doc.categories) {
            categories.push_back(marked(c->name, c->obsolete));
            if (c->obsolete)
                obsoleteCategory = true;
        }
        for (const Activity *a : doc.activities) {
            activities.push_back(marked(a->name, a->obsolete));
            indentedActivities.push_back(indent + activities.back());
            columns.push_back(columnOf(doc, a));
        }
    }

    // An activity's category cell: empty when the activity has no column, as in the rich text.
    QStringView categoryOf(int a) const
    {
        const int column = columns[size_t(a)];
        return column >= 0 ? QStringView(categories[size_t(column)]) : QStringView();
    }

    static QString marked(const QString &name, bool obsolete)
    {
        return obsolete ? name + QStringLiteral(" *") : name;
    }
};

QString textPeriod(const QDate &from, const QDate &to)
{
    return ReportText::tr("%1 to %2").arg(TimeString::shortDate(from), TimeString::shortDate(to));
}

QString textUnit(bool decimalHours)
{
    return decimalHours ? ReportText::tr("hours") : ReportText::tr("hrs:mins");
}

// The notes under a text report, after one empty line.
struct TextNotes
{
    QString obsolete = ReportText::tr("Activities and categories marked * are obsolete.");
    QString active = ReportText::tr(
        "There are active tasks in this time period that are excluded from this report.");

    void write(TextColumns &out, bool obsoleteShown, bool activeExcluded) const
    {
        if (!obsoleteShown && !activeExcluded)
            return;
        out.line({});
        if (obsoleteShown)
            out.line(obsolete);
        if (activeExcluded)
            out.line(active);
    }
};

} // namespace

QString ReportText::periodSummaryText(const QuorvelDocument &doc, const QDate &from,
                                      const QDate &to, bool includeZero, bool decimalHours)
{
    const ScannedSource source(doc, from, to, false);
    const TextNames names(doc);
    const QString title = summaryMenuName();
    const QString period = textPeriod(from, to);
    const QString activityHead = tr("Activity");
    const QString categoryHead = tr("Category");
    const QString unit = textUnit(decimalHours);
    const QString totalsLabel = tr("Totals");
    const QString totalLabel = tr("Total");
    const TextNotes notes;
    MinuteTexts minuteText(decimalHours);

    const auto lay = [&](TextColumns &out) {
        std::vector<int> totals(size_t(doc.categories.size()), 0);
        // Every category is listed in the totals, so an obsolete one is always shown.
        bool obsoleteShown = names.obsoleteCategory;
        bool activeExcluded = false;
        out.line(title);
        out.line(period);
        out.line({});
        out.row(activityHead, categoryHead, unit);
        for (int a = 0; a < doc.activities.size(); ++a) {
            const Activity *activity = doc.activities.at(a);
            bool running = false;
            const int m = source.periodMinutes(a, from, to, &running);
            if (running)
                activeExcluded = true;
            if (!rowShown(m, includeZero, activity, m > 0 || source.hasTasks(a)))
                continue;
            if (activity->obsolete)
                obsoleteShown = true;
            // Without a category the rich text has no cell for the time and no total takes it.
            const int column = names.columns[size_t(a)];
            QStringView time;
            if (column >= 0) {
                time = minuteText(m);
                totals[size_t(column)] += m;
            }
            out.row(names.activities[size_t(a)], names.categoryOf(a), time);
        }
        out.line({});
        int sum = 0;
        for (int c = 0; c < doc.categories.size(); ++c) {
            out.row(c == 0 ? QStringView(totalsLabel) : QStringView(), names.categories[size_t(c)],
                    minuteText(totals[size_t(c)]));
            sum += totals[size_t(c)];
        }
        out.row(totalLabel, {}, minuteText(sum));
        notes.write(out, obsoleteShown, activeExcluded);
    };
    return laidOut(lay);
}

QString ReportText::periodTimeSheetText(const QuorvelDocument &doc, const QDate &from,
                                        const QDate &to, bool includeZero, bool decimalHours)
{
    const ScannedSource source(doc, from, to, true);
    const TextNames names(doc);
    const QString title = timeSheetMenuName();
    const QString period = textPeriod(from, to);
    // The day rows are indented under their day; the indent counts in the first column.
    const QString indent = QStringLiteral("  ");
    const QString activityHead = indent + tr("Activity");
    const QString categoryHead = tr("Category");
    const QString unit = textUnit(decimalHours);
    const QString dailyLabel = indent + tr("Daily Totals");
    const QString periodLabel = tr("Period Totals");
    const QString totalLabel = tr("Total");
    const TextNotes notes;
    MinuteTexts minuteText(decimalHours);

    std::vector<QString> dayHeads;
    const QLocale locale;
    for (int i = 0; i < source.dayCount; ++i) {
        const QDate d = from.addDays(i);
        dayHeads.push_back(locale.dayName(d.dayOfWeek(), QLocale::ShortFormat) + QLatin1Char(' ')
                           + TimeString::shortDate(d));
    }

    const auto lay = [&](TextColumns &out) {
        const int categoryCount = doc.categories.size();
        std::vector<int> periodTotals(size_t(categoryCount), 0);
        bool obsoleteShown = names.obsoleteCategory;
        bool activeExcluded = false;
        out.line(title);
        out.line(period);
        out.line({});
        for (int i = 0; i < source.dayCount; ++i) {
            const QDate d = from.addDays(i);
            out.line(dayHeads[size_t(i)]);
            out.row(activityHead, categoryHead, unit);
            int daySum = 0;
            for (int a = 0; a < doc.activities.size(); ++a) {
                const Activity *activity = doc.activities.at(a);
                bool running = false;
                const int m = source.dayMinutes(a, i, d, &running);
                if (running)
                    activeExcluded = true;
                if (!rowShown(m, includeZero, activity, m > 0 || source.hasTasks(a)))
                    continue;
                if (activity->obsolete)
                    obsoleteShown = true;
                const int column = names.columns[size_t(a)];
                QStringView time;
                if (column >= 0) {
                    time = minuteText(m);
                    daySum += m;
                    periodTotals[size_t(column)] += m;
                }
                out.row(names.indentedActivities[size_t(a)], names.categoryOf(a), time);
            }
            out.row(dailyLabel, {}, minuteText(daySum));
            out.line({});
        }
        int sum = 0;
        for (int c = 0; c < categoryCount; ++c) {
            out.row(c == 0 ? QStringView(periodLabel) : QStringView(), names.categories[size_t(c)],
                    minuteText(periodTotals[size_t(c)]));
            sum += periodTotals[size_t(c)];
        }
        // Without categories the total row is the only one, and carries the label.
        out.row(categoryCount == 0 ? QStringView(periodLabel) : QStringView(), totalLabel,
                minuteText(sum));
        notes.write(out, obsoleteShown, activeExcluded);
    };
    return laidOut(lay);
}
