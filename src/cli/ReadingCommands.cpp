// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The commands that only read: "status", "list", "activities" and "report".

#include "CommandParts.h"

#include "model/QuorvelDocument.h"
#include "model/TaskTimeText.h"
#include "platform/Clock.h"
#include "reports/ReportCsv.h"
#include "reports/ReportData.h"
#include "reports/ReportHtml.h"
#include "reports/ReportPlainText.h"
#include "reports/ReportText.h"

namespace CommandParts {

namespace {

bool startsWithin(const QVTask *task, const Invocation &call)
{
    const QDate day = task->startDate();
    if (call.from.isValid() && (!day.isValid() || day < call.from))
        return false;
    if (call.to.isValid() && (!day.isValid() || day > call.to))
        return false;
    return true;
}

} // namespace

void status(const QuorvelDocument &doc, const Invocation &call, Commands::Result *result)
{
    const bool json = call.value("format") == QLatin1String("json");
    const QDateTime now = Clock::currentTime(true);
    QString text;
    QStringList objects;
    for (const QVTask *task : doc.tasks) {
        if (!task->isRunning())
            continue;
        const QDateTime started = task->start();
        // A start in the future (set by hand) has run for no time yet.
        const QDateTime until = qMax(started, now);
        const QString time = TaskTimeText::runningTime(started, until);
        objects << QStringLiteral("{\"activity\":%1,\"category\":%2,\"start\":%3,"
                                  "\"seconds\":%4,\"time\":%5}")
                       .arg(jsonString(task->activityName()),
                            jsonString(categoryOf(task->activity)), jsonString(isoMinute(started)),
                            QString::number(started.secsTo(until)), jsonString(time));
        text += task->activityName() + QLatin1Char('\t') + time + QLatin1Char('\n');
    }
    if (json)
        text = QStringLiteral("{\"running\":[") + objects.join(QLatin1Char(','))
               + QStringLiteral("]}\n");
    append(result->out, text);
    if (objects.isEmpty()) {
        result->exitCode = Commands::Refused;
        if (!json)
            append(result->err, Commands::tr("No task is running.") + QLatin1Char('\n'));
    }
}

void list(const QuorvelDocument &doc, const Invocation &call, Commands::Result *result)
{
    int startWidth = 0;
    int stopWidth = 0;
    for (const QVTask *task : doc.tasks) {
        if (!startsWithin(task, call))
            continue;
        startWidth = qMax(startWidth, int(task->startText.size()));
        stopWidth = qMax(stopWidth, int(task->stopText.size()));
    }
    QString text;
    for (const QVTask *task : doc.tasks) {
        if (!startsWithin(task, call))
            continue;
        text += task->startText.leftJustified(startWidth) + QLatin1String("  ")
                + task->stopText.leftJustified(stopWidth) + QLatin1String("  ")
                + task->activityName() + QLatin1Char('\n');
    }
    append(result->out, text);
}

void activities(const QuorvelDocument &doc, Commands::Result *result)
{
    QString text;
    for (const Activity *activity : startable(doc))
        text += activity->name + QLatin1Char('\n');
    append(result->out, text);
}

namespace {

// The report's text from its computed data, in the format asked for.
QString reportText(const ReportData &data, const Invocation &call)
{
    const bool summary = data.kind == ReportKind::Summary;
    const QString format = call.has("format") ? call.value("format") : QStringLiteral("html");
    const bool decimal = call.has("decimal");
    if (format == QLatin1String("csv"))
        return summary ? ReportCsv::summary(data) : ReportCsv::timeSheet(data);
    if (format == QLatin1String("text"))
        return summary ? ReportPlainText::summary(data, decimal)
                       : ReportPlainText::timeSheet(data, decimal);
    // The line end added in place: a copy of a long report would cost as much as writing it.
    QString html
        = summary ? ReportHtml::summary(data, decimal) : ReportHtml::timeSheet(data, decimal);
    html += QLatin1Char('\n');
    return html;
}

ReportKind reportKind(const Invocation &call)
{
    return call.positional.first() == QLatin1String("summary") ? ReportKind::Summary
                                                               : ReportKind::TimeSheet;
}

// Writes the report, or refuses one with more rows than a report writes.
void writeReport(const ReportData &data, const Invocation &call, Commands::Result *result)
{
    if (qsizetype(data.rows.size()) > ReportText::MaxReportRows) {
        refuse(result,
               Commands::tr("the time sheet of that period would have %1 rows, more than the "
                            "%2 a report writes; choose a shorter period, or leave out --zero.")
                   .arg(qulonglong(data.rows.size()))
                   .arg(ReportText::MaxReportRows));
        return;
    }
    append(result->out, reportText(data, call));
}

} // namespace

void report(const QuorvelDocument &doc, const Invocation &call, Commands::Result *result)
{
    writeReport(ReportData::collect(doc, call.from, call.to, call.has("zero"), reportKind(call)),
                call, result);
}

bool reportRecords(const char *data, int length, const Invocation &call, Commands::Result *result,
                   const DocumentFormat::Passing *passing)
{
    ReportData report;
    if (!ReportData::collect(data, length, call.from, call.to, call.has("zero"), reportKind(call),
                             &report, passing))
        return false;
    writeReport(report, call, result);
    return true;
}

} // namespace CommandParts
