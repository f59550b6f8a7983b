// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "reportwindows/Report.h"

// A day-by-day time sheet over the period: per day one row per activity with time (or every
// activity), a daily totals row, and the period totals at the end.
class PeriodTimeSheetReport : public PeriodReport
{
    Q_OBJECT

public:
    PeriodTimeSheetReport(QWidget *parent, QuorvelDocument *document);

    QString getMenuName() const override;
    QString getSettingsName() const override;
    QString getReportText() const override;
    QString getReportCsv() const override;
    // "Timesheet <today's short date>".
    QString getReportFileName() const override;
    // Over centuries, or with millions of rows, the time sheet is not made.
    QString refusal() const override;

    // How many activities have time on day.
    int countNonzeroActivities(const QDate &day) const;
};
