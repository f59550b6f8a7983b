// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ReportReference.h"

#include "model/QuorvelDocument.h"
#include "reports/ReportHtml.h"

namespace {

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

// The names and columns, the same for every report of doc.
ReportData start(const QuorvelDocument &doc, const QDate &from, const QDate &to, ReportKind kind)
{
    ReportData data;
    data.kind = kind;
    data.from = from;
    data.to = to;
    for (const ActivityCategory *c : doc.categories) {
        data.categories.push_back({c->name, c->obsolete});
        data.obsoleteShown = data.obsoleteShown || c->obsolete;
    }
    for (const Activity *a : doc.activities) {
        data.activities.push_back(
            {a->name, a->category ? a->category->name : QString(), columnOf(doc, a), a->obsolete});
    }
    data.totals.assign(data.categories.size(), 0);
    return data;
}

// Asks the document for activity a's minutes from first to last and adds its row when shown:
// one with time, or with none when zero rows are wanted and the activity is not obsolete or
// has tasks (outside the period).
void addRow(const QuorvelDocument &doc, ReportData &data, int a, const QDate &first,
            const QDate &last, bool includeZero, std::vector<int> *dayTotals)
{
    const Activity *activity = doc.activities.at(a);
    bool running = false;
    const int minutes = doc.getActivityDuration(first, last, activity, &running);
    if (running)
        data.runningLeftOut = true;
    const bool shown
        = minutes > 0
          || (includeZero && (!activity->obsolete || doc.hasActivityGotTasks(activity)));
    if (!shown)
        return;
    data.rows.push_back({a, minutes});
    if (activity->obsolete)
        data.obsoleteShown = true;
    const int column = data.activities[size_t(a)].column;
    if (column < 0)
        return;
    data.totals[size_t(column)] += minutes;
    if (dayTotals)
        (*dayTotals)[size_t(column)] += minutes;
}

} // namespace

ReportData ReportReference::summary(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                                    bool includeZero)
{
    ReportData data = start(doc, from, to, ReportKind::Summary);
    for (int a = 0; a < doc.activities.size(); ++a)
        addRow(doc, data, a, from, to, includeZero, nullptr);
    return data;
}

ReportData ReportReference::timeSheet(const QuorvelDocument &doc, const QDate &from,
                                      const QDate &to, bool includeZero)
{
    ReportData data = start(doc, from, to, ReportKind::TimeSheet);
    // An invalid date would never reach the end: such a period has no days.
    for (QDate d = from; d.isValid() && to.isValid() && d <= to; d = d.addDays(1)) {
        ReportDay day;
        day.date = d;
        day.firstRow = int(data.rows.size());
        day.totals.assign(data.categories.size(), 0);
        for (int a = 0; a < doc.activities.size(); ++a)
            addRow(doc, data, a, d, d, includeZero, &day.totals);
        day.rowCount = int(data.rows.size()) - day.firstRow;
        data.days.push_back(day);
    }
    return data;
}

QString ReportReference::summaryHtml(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                                     bool includeZero, bool decimalHours)
{
    return ReportHtml::summary(summary(doc, from, to, includeZero), decimalHours);
}

QString ReportReference::timeSheetHtml(const QuorvelDocument &doc, const QDate &from,
                                       const QDate &to, bool includeZero, bool decimalHours)
{
    return ReportHtml::timeSheet(timeSheet(doc, from, to, includeZero), decimalHours);
}
