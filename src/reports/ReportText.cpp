#include "ReportText.h"

#include "model/QuorvelDocument.h"
#include "platform/TimeString.h"

#include <QDateTime>
#include <QHash>
#include <QLocale>

#include <algorithm>
#include <limits>
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
    qsizetype rowsEstimate(bool) const { return 0; }
    qsizetype dayCountEstimate() const { return 0; }
    int countNonzeroActivities(int, const QDate &day) const
    {
        int count = 0;
        for (const Activity *a : doc.activities) {
            bool ignored = false;
            if (doc.getActivityDuration(day, day, a, &ignored) > 0)
                ++count;
        }
        return count;
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
        if (minutes < 0 || minutes >= cached) {
            m_other = ReportText::formatMinutes(minutes, m_decimal);
            return m_other;
        }
        QString &text = m_cache[size_t(minutes)];
        if (text.isNull())
            text = ReportText::formatMinutes(minutes, m_decimal);
        return text;
    }

private:
    static constexpr int cached = 4 * 1440;
    bool m_decimal;
    std::vector<QString> m_cache;
    QString m_other;
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

    QString text = heading(ReportText::timeSheetMenuName(), from, to);
    text += QStringLiteral("<tr><td colspan=2 rowspan=2 bgcolor=#c0c0c0>&nbsp;</td>");
    for (const ActivityCategory *c : doc.categories) {
        text += QStringLiteral("<td align=center bgcolor=#c0c0c0>")
                + shownName(c->name, c->obsolete, &obsoleteShown) + QStringLiteral("</td>");
    }
    text += QStringLiteral("<td rowspan=2 bgcolor=#c0c0c0>&nbsp;</td></tr><tr>");
    const QString unitCell = QStringLiteral("<td align=center bgcolor=#c0c0c0><font size=-1>")
                             + unitLabel(decimalHours) + QStringLiteral("</font></td>");
    for (int c = 0; c < categoryCount; ++c)
        text += unitCell;
    text += QStringLiteral("</tr>");

    // Room for the whole text at once: a year of rows runs to tens of millions of characters.
    qsizetype rowLength = 0;
    for (int a = 0; a < doc.activities.size(); ++a) {
        pieces[size_t(a)] = rowPieces(doc, doc.activities.at(a), &ignored);
        rowLength
            = std::max(rowLength, pieces[size_t(a)].head.size() + pieces[size_t(a)].tail.size());
    }
    const qsizetype dayLength = (categoryCount + 4) * 48 + 100;
    text.reserve(text.size() + source.rowsEstimate(includeZero) * (rowLength + 100)
                 + source.dayCountEstimate() * dayLength + 2000);

    const QLocale locale;
    int dayIndex = 0;
    for (QDate d = from; d <= to; d = d.addDays(1), ++dayIndex) {
        const int n = includeZero ? source.numActiveActivities()
                                  : source.countNonzeroActivities(dayIndex, d);
        text += QStringLiteral("<tr><td align=top bgcolor=#c0c0c0 rowspan=")
                + QString::number(n + 1) + QLatin1Char('>')
                + locale.dayName(d.dayOfWeek(), QLocale::ShortFormat) + QStringLiteral("<br>")
                + locale.monthName(d.month(), QLocale::ShortFormat) + QStringLiteral("&nbsp;")
                + QString::number(d.day()) + QStringLiteral("<br>") + QString::number(d.year())
                + QStringLiteral("</td>");
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
            if (firstRow) {
                text += QStringLiteral("<td align=center bgcolor=#e0e0e0 rowspan=")
                        + QString::number(n) + QStringLiteral(">&nbsp;</td>");
            }
            text += QStringLiteral("</tr>");
            firstRow = false;
        }
        if (!firstRow)
            text += QStringLiteral("<tr>");
        text += QStringLiteral("<td bgcolor=#c0c0c0>") + ReportText::tr("Daily Totals")
                + QStringLiteral("</td>");
        int daySum = 0;
        for (int c = 0; c < categoryCount; ++c) {
            text += QStringLiteral("<td align=center bgcolor=#c0ffc0>")
                    + minuteText(dayTotals[size_t(c)]) + QStringLiteral("</td>");
            daySum += dayTotals[size_t(c)];
        }
        text += QStringLiteral("<td align=center bgcolor=#c0ffc0>") + minuteText(daySum)
                + QStringLiteral("</td></tr>");
    }

    text += QStringLiteral("<tr><td colspan=2 bgcolor=#c0c0c0>") + ReportText::tr("Period Totals")
            + QStringLiteral("</td>");
    int periodSum = 0;
    for (int c = 0; c < categoryCount; ++c) {
        text += QStringLiteral("<td align=center bgcolor=#c0ffc0>")
                + ReportText::formatMinutes(periodTotals[size_t(c)], decimalHours)
                + QStringLiteral("</td>");
        periodSum += periodTotals[size_t(c)];
    }
    text += QStringLiteral("<td align=center bgcolor=#c0ffc0>")
            + ReportText::formatMinutes(periodSum, decimalHours) + QStringLiteral("</td></tr>");
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
        for (QDate d = first; d <= last; d = d.addDays(1)) {
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
        dayCount = from <= to ? int(from.daysTo(to)) + 1 : 0;
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
        const DayTable table(low.addDays(-1), high.addDays(1));

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
        return dayTotals[size_t(a) * size_t(dayCount) + size_t(dayIndex)];
    }
    bool hasTasks(int a) const { return taskFlags[size_t(a)]; }
    int numActiveActivities() const { return activeActivities; }
    qsizetype rowsEstimate(bool includeZero) const
    {
        if (includeZero)
            return qsizetype(activeActivities) * dayCount;
        qsizetype rows = 0;
        for (int n : nonzeroPerDay)
            rows += n;
        return rows;
    }
    qsizetype dayCountEstimate() const { return dayCount; }
    int countNonzeroActivities(int dayIndex, const QDate &) const
    {
        return nonzeroPerDay[size_t(dayIndex)];
    }
};

} // namespace

QString ReportText::summaryMenuName()
{
    return tr("Period Summary Report");
}

QString ReportText::timeSheetMenuName()
{
    return tr("Period Time Sheet");
}

QString ReportText::formatMinutes(int minutes, bool decimalHours)
{
    if (decimalHours)
        return QString::asprintf("%5.4f", minutes / 60.0);
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
    return timeSheetText(doc, source, from, to, includeZero, decimalHours);
}
