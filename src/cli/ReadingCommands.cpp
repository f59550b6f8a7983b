// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The commands that only read: "status", "list", "activities" and "report".

#include "CommandParts.h"

#include "model/QuorvelDocument.h"
#include "model/TaskTimeText.h"
#include "platform/Clock.h"
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

void report(const QuorvelDocument &doc, const Invocation &call, Commands::Result *result)
{
    const bool summary = call.positional.first() == QLatin1String("summary");
    const QString format = call.has("format") ? call.value("format") : QStringLiteral("html");
    const bool zero = call.has("zero");
    const bool decimal = call.has("decimal");
    QString text;
    if (format == QLatin1String("csv")) {
        text = summary ? ReportText::periodSummaryCsv(doc, call.from, call.to, zero)
                       : ReportText::periodTimeSheetCsv(doc, call.from, call.to, zero);
    } else if (format == QLatin1String("text")) {
        text = summary ? ReportText::periodSummaryText(doc, call.from, call.to, zero, decimal)
                       : ReportText::periodTimeSheetText(doc, call.from, call.to, zero, decimal);
    } else {
        text = summary ? ReportText::periodSummary(doc, call.from, call.to, zero, decimal)
                       : ReportText::periodTimeSheet(doc, call.from, call.to, zero, decimal);
        text += QLatin1Char('\n');
    }
    append(result->out, text);
}

} // namespace CommandParts
