// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "reportwindows/PeriodSummaryReport.h"
#include "reportwindows/PeriodTimeSheetReport.h"

#include "model/QuorvelDocument.h"
#include "platform/TimeString.h"
#include "reports/ReportText.h"

PeriodSummaryReport::PeriodSummaryReport(QWidget *parent, QuorvelDocument *document)
    : PeriodReport(parent, document)
{}

QString PeriodSummaryReport::getMenuName() const
{
    return ReportText::summaryMenuName();
}

QString PeriodSummaryReport::getSettingsName() const
{
    return ReportText::summarySettingsName();
}

QString PeriodSummaryReport::getReportText() const
{
    return ReportText::periodSummary(*document(), fromDate(), toDate(), includeZeroActivities(),
                                     decimalHours());
}

QString PeriodSummaryReport::getReportCsv() const
{
    return ReportText::periodSummaryCsv(*document(), fromDate(), toDate(), includeZeroActivities());
}

QString PeriodSummaryReport::getReportFileName() const
{
    return tr("Summary %1").arg(TimeString::shortDate(today()));
}

PeriodTimeSheetReport::PeriodTimeSheetReport(QWidget *parent, QuorvelDocument *document)
    : PeriodReport(parent, document)
{}

QString PeriodTimeSheetReport::getMenuName() const
{
    return ReportText::timeSheetMenuName();
}

QString PeriodTimeSheetReport::getSettingsName() const
{
    return ReportText::timeSheetSettingsName();
}

QString PeriodTimeSheetReport::getReportText() const
{
    return ReportText::periodTimeSheet(*document(), fromDate(), toDate(), includeZeroActivities(),
                                       decimalHours());
}

QString PeriodTimeSheetReport::refusal() const
{
    return ReportText::timeSheetRefusal(*document(), fromDate(), toDate(), includeZeroActivities());
}

QString PeriodTimeSheetReport::getReportCsv() const
{
    return ReportText::periodTimeSheetCsv(*document(), fromDate(), toDate(),
                                          includeZeroActivities());
}

QString PeriodTimeSheetReport::getReportFileName() const
{
    return tr("Timesheet %1").arg(TimeString::shortDate(today()));
}

int PeriodTimeSheetReport::countNonzeroActivities(const QDate &day) const
{
    return ReportText::countNonzeroActivities(*document(), day);
}
