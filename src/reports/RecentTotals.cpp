// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "RecentTotals.h"

#include "ReportData.h"
#include "model/QuorvelDocument.h"

#include <algorithm>

namespace {

qint64 midnight(const QDate &day)
{
    return QDateTime(day, QTime(0, 0)).toMSecsSinceEpoch();
}

qint64 nextMidnight(const QDate &day)
{
    return QDateTime(day, QTime(0, 0)).addDays(1).toMSecsSinceEpoch();
}

} // namespace

QDate RecentTotals::weekStart(const QDate &date, Qt::DayOfWeek firstDay)
{
    return date.addDays(-((date.dayOfWeek() - int(firstDay) + 7) % 7));
}

void RecentTotals::gather(const QuorvelDocument &doc, const QDate &from)
{
    m_tasks.clear();
    m_from = from;
    m_valid = true;
    // A day before the week as well: a shift of the clock never moves a moment by a day.
    const QDate low = from.addDays(-1);
    const QList<QVTask *> &tasks = doc.tasks;
    // The tasks are sorted by start (those without one first): those that start from that day
    // on are found by halving.
    const auto firstRecent
        = std::partition_point(tasks.begin(), tasks.end(), [&low](const QVTask *task) {
              const QDate start = task->startDate();
              return !start.isValid() || start < low;
          });
    // Earlier ones reach the week only by running, or by a stop on its days; their wall-clock
    // dates tell without a time conversion. (Should the list be out of order, a later task
    // among them is kept by its stop all the same.)
    for (auto it = tasks.begin(); it != firstRecent; ++it) {
        const QVTask *task = *it;
        if (task->isRunning() || task->stopDate() >= low)
            m_tasks.push_back(task);
    }
    m_tasks.insert(m_tasks.end(), firstRecent, tasks.end());
}

RecentTotals::Totals RecentTotals::totals(const QuorvelDocument &doc, const QDateTime &now,
                                          Qt::DayOfWeek firstDay)
{
    const QDate today = now.date();
    const QDate from = weekStart(today, firstDay);
    if (!m_valid || from != m_from)
        gather(doc, from);

    Totals totals;
    const qint64 weekFirst = midnight(from);
    const qint64 weekLast = nextMidnight(from.addDays(6));
    const qint64 dayFirst = midnight(today);
    const qint64 dayLast = nextMidnight(today);
    const qint64 moment = now.toMSecsSinceEpoch();
    for (const QVTask *task : m_tasks) {
        // As in the report: a time counts only where it has a category's column.
        if (!task->activity || !task->activity->category)
            continue;
        const QDateTime start = task->start();
        if (!start.isValid())
            continue;
        const qint64 s = start.toMSecsSinceEpoch();
        qint64 e = 0;
        int duration = 0;
        if (task->isRunning()) {
            // Up to now; one that starts later has no time yet.
            if (moment <= s)
                continue;
            e = moment;
            duration = int((e - s) / 1000 / 60);
            if (s < weekLast && e > weekFirst)
                totals.running = true;
        } else {
            e = task->stop().toMSecsSinceEpoch();
            duration = task->duration();
        }
        totals.today += ReportData::minutesWithin(s, e, duration, dayFirst, dayLast);
        totals.week += ReportData::minutesWithin(s, e, duration, weekFirst, weekLast);
    }
    return totals;
}
