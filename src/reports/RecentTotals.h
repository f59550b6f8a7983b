// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QDate>
#include <QDateTime>

#include <vector>

class QuorvelDocument;
class QVTask;

// Today's and this week's minutes for the window's status bar, by the period summary report's
// rules (a task's whole minutes within each day, truncated per task, only tasks of an activity
// with a category), except that a running task counts up to now.
//
// The tasks that can reach this week are gathered once and kept until invalidate() (the
// document changed) or a day outside them is asked for, so that the totals of every minute
// convert a few task times, not those of the whole history. The tasks are not owned.
class RecentTotals
{
public:
    struct Totals
    {
        int today = 0;
        int week = 0;
        // A running task counted into the week.
        bool running = false;
    };

    // Forgets the tasks gathered: the document's tasks may have changed or gone.
    void invalidate() { m_valid = false; }

    // The totals at now, the week beginning on firstDay.
    Totals totals(const QuorvelDocument &doc, const QDateTime &now, Qt::DayOfWeek firstDay);

    // The first day of the week that holds date, the week beginning on firstDay.
    static QDate weekStart(const QDate &date, Qt::DayOfWeek firstDay);

    // How many tasks the last gathering kept (for tests and benchmarks).
    int gathered() const { return int(m_tasks.size()); }

private:
    void gather(const QuorvelDocument &doc, const QDate &from);

    bool m_valid = false;
    QDate m_from;
    std::vector<const QVTask *> m_tasks;
};
