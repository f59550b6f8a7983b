// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "reportwindows/Report.h"

// The time spent on each activity over the whole period, one column per category, with a
// totals row.
class PeriodSummaryReport : public PeriodReport
{
    Q_OBJECT

public:
    PeriodSummaryReport(QWidget *parent, QuorvelDocument *document);

    QString getMenuName() const override;
    QString getSettingsName() const override;
    QString getReportText() const override;
    QString getReportCsv() const override;
    // "Summary <today's short date>".
    QString getReportFileName() const override;
};
