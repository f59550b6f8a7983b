// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ReportText.h"

#include "ReportCsv.h"
#include "ReportData.h"
#include "ReportHtml.h"
#include "ReportPlainText.h"
#include "model/QuorvelDocument.h"

#include <QLocale>

namespace {

// The reports' names, in English for the settings and translated for the menu.
const char SummaryName[] = QT_TRANSLATE_NOOP("ReportText", "Period Summary Report");
const char TimeSheetName[] = QT_TRANSLATE_NOOP("ReportText", "Period Time Sheet");

ReportData summaryData(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                       bool includeZero)
{
    return ReportData::collect(doc, from, to, includeZero, ReportKind::Summary);
}

ReportData timeSheetData(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                         bool includeZero)
{
    return ReportData::collect(doc, from, to, includeZero, ReportKind::TimeSheet);
}

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

QString ReportText::timeSheetRefusal(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                                     bool includeZero)
{
    if (from.isValid() && to.isValid() && from.daysTo(to) >= MaxTimeSheetDays)
        return tr("A time sheet covers at most %1 days. Choose a shorter period.")
            .arg(MaxTimeSheetDays);
    // A day has at most a row per activity (and one for tasks without): a period too short to
    // reach the limit needs no time sheet computed to say so.
    if (from.isValid() && to.isValid() && from <= to
        && (from.daysTo(to) + 1) * (qint64(doc.activities.size()) + 1) <= MaxReportRows)
        return QString();
    const qsizetype rows = qsizetype(timeSheetData(doc, from, to, includeZero).rows.size());
    if (rows > MaxReportRows)
        return tr("The time sheet of that period would have %1 rows, more than the %2 a report "
                  "shows. Choose a shorter period, or leave out the activities without time.")
            .arg(rows)
            .arg(MaxReportRows);
    return QString();
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

QString ReportText::periodSummary(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                                  bool includeZero, bool decimalHours)
{
    return ReportHtml::summary(summaryData(doc, from, to, includeZero), decimalHours);
}

QString ReportText::periodTimeSheet(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                                    bool includeZero, bool decimalHours)
{
    return ReportHtml::timeSheet(timeSheetData(doc, from, to, includeZero), decimalHours);
}

QString ReportText::periodSummaryCsv(const QuorvelDocument &doc, const QDate &from, const QDate &to,
                                     bool includeZero)
{
    return ReportCsv::summary(summaryData(doc, from, to, includeZero));
}

QString ReportText::periodTimeSheetCsv(const QuorvelDocument &doc, const QDate &from,
                                       const QDate &to, bool includeZero)
{
    return ReportCsv::timeSheet(timeSheetData(doc, from, to, includeZero));
}

QString ReportText::periodSummaryText(const QuorvelDocument &doc, const QDate &from,
                                      const QDate &to, bool includeZero, bool decimalHours)
{
    return ReportPlainText::summary(summaryData(doc, from, to, includeZero), decimalHours);
}

QString ReportText::periodTimeSheetText(const QuorvelDocument &doc, const QDate &from,
                                        const QDate &to, bool includeZero, bool decimalHours)
{
    return ReportPlainText::timeSheet(timeSheetData(doc, from, to, includeZero), decimalHours);
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
