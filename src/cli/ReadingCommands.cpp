// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The commands that only read: "status", "list", "activities" and "report".

#include "CommandParts.h"

#include "model/DocumentFormat.h"
#include "model/QVTask.h"
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

namespace {

// The rows of the tasks that start within the days asked for, as the window's table shows
// them, made as the reader hands over the records: no task of the history is kept. One
// reading finds the columns' widths and a second writes the rows, so that a long history's
// list never lies in memory whole.
class ListSink : public DocumentFormat::CatalogueSink
{
public:
    // Only finds the widths while result is null.
    ListSink(const Invocation &call, Commands::Result *result, int startWidth = 0,
             int stopWidth = 0)
        : m_call(call)
        , m_result(result)
        , m_startWidth(startWidth)
        , m_stopWidth(stopWidth)
    {}

    bool task(const DocumentFormat::TaskRecord &record) override
    {
        // One task made over for each record, so that its texts and its day are exactly
        // what the window's table would show.
        if (record.start.isNull())
            m_task.setStart(QDateTime());
        else
            m_task.setStartWallClock(record.start.date(), record.start.time());
        if (record.stop.isNull())
            m_task.setStop(QDateTime());
        else
            m_task.setStopWallClock(record.stop.date(), record.stop.time());
        if (!startsWithin(&m_task, m_call))
            return true;
        if (!m_result) {
            m_startWidth = qMax(m_startWidth, int(m_task.startText.size()));
            m_stopWidth = qMax(m_stopWidth, int(m_task.stopText.size()));
            return true;
        }
        const int position = record.activityPosition;
        const QString name = position >= 0 && size_t(position) < activities.size()
                                 ? activities[size_t(position)].name
                                 : QString();
        append(m_result->out, m_task.startText.leftJustified(m_startWidth) + QLatin1String("  ")
                                  + m_task.stopText.leftJustified(m_stopWidth) + QLatin1String("  ")
                                  + name + QLatin1Char('\n'));
        handOnPiece(m_result);
        return true;
    }

    int startWidth() const { return m_startWidth; }
    int stopWidth() const { return m_stopWidth; }

private:
    const Invocation &m_call;
    Commands::Result *m_result;
    int m_startWidth;
    int m_stopWidth;
    QVTask m_task;
};

} // namespace

bool listRecords(const char *data, int length, const Invocation &call, Commands::Result *result,
                 const DocumentFormat::Passing *passing)
{
    // The twelve-hour choice read once, and each day's text made once for both readings.
    const TaskTimeText::Batch textBatch;
    ListSink widths(call, nullptr);
    if (!DocumentFormat::read(data, length, widths, passing))
        return false;
    ListSink rows(call, result, widths.startWidth(), widths.stopWidth());
    if (!DocumentFormat::read(data, length, rows, passing)) {
        result->out.clear();
        return false;
    }
    return true;
}

void activities(const QuorvelDocument &doc, Commands::Result *result)
{
    QString text;
    for (const Activity *activity : startable(doc))
        text += activity->name + QLatin1Char('\n');
    append(result->out, text);
}

namespace {

// Writes the report's text from its computed data, in the format asked for.
void writeText(const ReportData &data, const Invocation &call, Commands::Result *result)
{
    const bool summary = data.kind == ReportKind::Summary;
    const QString format = call.has("format") ? call.value("format") : QStringLiteral("html");
    const bool decimal = call.has("decimal");
    if (format == QLatin1String("csv")) {
        append(result->out, summary ? ReportCsv::summary(data) : ReportCsv::timeSheet(data));
    } else if (format == QLatin1String("text")) {
        append(result->out, summary ? ReportPlainText::summary(data, decimal)
                                    : ReportPlainText::timeSheet(data, decimal));
    } else {
        // A report goes out as it is written, never held whole, neither as text nor as its
        // bytes: a long period's time sheet is tens of megabytes.
        const auto writePiece = [result](QStringView piece) {
            result->out += piece.toUtf8();
            handOnPiece(result);
        };
        if (summary)
            ReportHtml::handOnSummary(data, decimal, writePiece);
        else
            ReportHtml::handOnTimeSheet(data, decimal, writePiece);
        result->out += '\n';
    }
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
    writeText(data, call, result);
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
