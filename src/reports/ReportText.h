// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QCoreApplication>
#include <QDate>
#include <QString>

class QuorvelDocument;

// The two period reports of a document over a period of days (both ends inclusive) as rich
// text, CSV and plain text: each computed once as ReportData, then written by its renderer.
class ReportText
{
    Q_DECLARE_TR_FUNCTIONS(ReportText)

public:
    // The reports' names as the Report menu shows them.
    static QString summaryMenuName();
    static QString timeSheetMenuName();
    // The same names in English, as the settings keep them in every language.
    static QString summarySettingsName();
    static QString timeSheetSettingsName();

    // The most a time sheet is made for: the days of its period (about a hundred years), and
    // its rows (with zero rows, one per activity and day). More would be gigabytes of text
    // that no one reads and memory may not hold.
    static constexpr int MaxTimeSheetDays = 36525;
    static constexpr qsizetype MaxReportRows = 1000000;
    // Why the window does not make the time sheet of that period, in words; empty when it
    // makes it.
    static QString timeSheetRefusal(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                                    bool includeZero);

    // How many of the document's activities have time on day (running tasks left out).
    static int countNonzeroActivities(const QuorvelDocument &doc, const QDate &day);

    // m minutes as "h:mm", or as decimal hours with four decimals and the locale's decimal
    // separator.
    static QString formatMinutes(int minutes, bool decimalHours);

    static QString periodSummary(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                                 bool includeZero, bool decimalHours);
    static QString periodTimeSheet(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                                   bool includeZero, bool decimalHours);

    // The reports' rows as CSV for spreadsheets (RFC 4180: a header row, a field quoted when
    // it holds a comma, a quote or a line break, lines ended by CR LF). The summary has one
    // row per activity (activity, category, minutes, hours), the time sheet one per activity
    // and day (ISO date, activity, category, minutes): the rows the reports show, running
    // tasks left out.
    static QString periodSummaryCsv(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                                    bool includeZero);
    static QString periodTimeSheetCsv(const QuorvelDocument &doc, const QDate &from,
                                      const QDate &to, bool includeZero);
    // One CSV field, quoted when it needs to be.
    static QString csvField(const QString &value);
    // A name as a CSV cell holds it. A spreadsheet runs a cell that begins with =, +, -, @, a
    // tab or a carriage return as a formula, so such a name gets a quote ' in front, which
    // the spreadsheet shows as text; so does one that begins so after quotes, so that
    // nameFromCsv() can always take exactly that quote off again.
    static QString csvName(const QString &name);
    static QString nameFromCsv(const QString &cell);

    // The reports as plain text for a terminal: the same rows and numbers as the rich texts,
    // in aligned columns. Lines end with a line feed.
    static QString periodSummaryText(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                                     bool includeZero, bool decimalHours);
    static QString periodTimeSheetText(const QuorvelDocument &doc, const QDate &from,
                                       const QDate &to, bool includeZero, bool decimalHours);
};
