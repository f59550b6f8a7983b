// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QDate>
#include <QString>

#include <vector>

namespace DocumentFormat {
struct Passing;
}

class QuorvelDocument;

enum class ReportKind { Summary, TimeSheet };

struct ReportCategory
{
    QString name;
    bool obsolete = false;
};

// An activity as a report's rows name it.
struct ReportActivity
{
    QString name;
    QString category; // its category's name, empty without one
    int column = -1;  // its category's place in ReportData::categories, or -1
    bool obsolete = false;
};

// A row the report shows: an activity of ReportData::activities and its minutes.
struct ReportRow
{
    int activity = 0;
    int minutes = 0;
};

// A day of a time sheet: its rows, a stretch of ReportData::rows, and its totals per category.
struct ReportDay
{
    QDate date;
    int firstRow = 0;
    int rowCount = 0;
    std::vector<int> totals;
};

// A period report as computed once from a document; the HTML, CSV and plain-text renderers only
// write it out. A summary's rows are the period's; a time sheet's are those of its days, day
// after day. A time of an activity without a column counts in no total.
struct ReportData
{
    ReportKind kind = ReportKind::Summary;
    QDate from;
    QDate to;
    std::vector<ReportCategory> categories;
    std::vector<ReportActivity> activities;
    std::vector<ReportRow> rows;
    std::vector<ReportDay> days;
    std::vector<int> totals; // per category over the period
    bool obsoleteShown = false;
    bool runningLeftOut = false;

    // The report of doc over from to to (both inclusive), in one pass over the tasks. The only
    // place that decides which rows show, where a time goes, and that running tasks stay out.
    static ReportData collect(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                              bool includeZero, ReportKind kind);

    // The same report straight from a document string (the data file's contents), equal to
    // the one of the document read from it, without building that document: a task is looked
    // at by its dates as read, and only one that can reach the period is converted further.
    // False, with *report untouched, when the string cannot be read as a document. passing,
    // when given, hears how far the reading has come.
    static bool collect(const char *data, int length, const QDate &from, const QDate &to,
                        bool includeZero, ReportKind kind, ReportData *report,
                        const DocumentFormat::Passing *passing = nullptr);

    // A task's whole minutes within the stretch [first, last): all of its duration when it lies
    // inside, else the minutes of the part inside, truncated per task as the document's own
    // per-activity sum does. Moments in milliseconds since the epoch.
    static int minutesWithin(qint64 s, qint64 e, int duration, qint64 first, qint64 last);
};

bool operator==(const ReportCategory &a, const ReportCategory &b);
bool operator==(const ReportActivity &a, const ReportActivity &b);
bool operator==(const ReportRow &a, const ReportRow &b);
bool operator==(const ReportDay &a, const ReportDay &b);
bool operator==(const ReportData &a, const ReportData &b);
inline bool operator!=(const ReportData &a, const ReportData &b)
{
    return !(a == b);
}
