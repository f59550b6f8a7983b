#include "TaskCommands.h"

#include "QuorvelDocument.h"
#include "TaskTimeText.h"

#include <memory>
#include <vector>

TaskMessages::Message TaskMessages::cannotStartOverlap()
{
    return {tr("Cannot Start Task"), tr("This task cannot be started\nnow because this would "
                                        "cause it\nto overlap with another task.\n")};
}

TaskMessages::Message TaskMessages::cannotStopFuture()
{
    return {tr("Cannot Stop Task"),
            tr("This task cannot be stopped\nnow because its start time is in\nthe future. To "
               "set a specific\nfuture stop time, you can Edit\nthe task.")};
}

TaskMessages::Message TaskMessages::cannotStopOverlap()
{
    return {tr("Cannot Stop Task"),
            tr("This task cannot be stopped\nnow because this would cause it\nto overlap with "
               "another task.\nYou can Edit the task to set\na stop time.")};
}

TaskMessages::Message TaskMessages::otherStartsInFuture()
{
    return {tr("Time Validation Error"),
            tr("Unable to stop another task now, as\nits start time is in the future.")};
}

TaskMessages::Message TaskMessages::otherWouldOverlap()
{
    return {tr("Time Validation Error"),
            tr("Unable to stop another task now,\nas it would cause tasks to overlap.")};
}

TaskMessages::Message TaskMessages::sameActivityActive()
{
    return {tr("Warning"), tr("There are other tasks with\nthe same activity still\nactive.")};
}

TaskMessages::Message TaskMessages::zeroDurationQuestion()
{
    return {tr("Zero Duration Task"),
            tr("Tasks of less than 1 minute\nduration are not logged, so\nthis task will be "
               "deleted.\n\nWould you like to skip this\nwarning message in future?")};
}

QString TaskMessages::oneLine(const QString &text)
{
    QString line = text;
    line.replace(QLatin1Char('\n'), QLatin1Char(' '));
    return line.simplified();
}

namespace {

QString quoted(const QVTask *task)
{
    return TaskCommands::tr("“%1”").arg(task->activityName());
}

// The checks of stopping task at when, made before anything changes: a refusal, or none.
bool stopRefusal(const QuorvelDocument &doc, const QVTask *task, const QDateTime &when, bool other,
                 TaskMessages::Message *refusal)
{
    switch (doc.validateTask(task->start(), when, when, task)) {
    case QuorvelDocument::StopBeforeStart:
        *refusal = other ? TaskMessages::otherStartsInFuture() : TaskMessages::cannotStopFuture();
        return true;
    case QuorvelDocument::Overlaps:
        *refusal = other ? TaskMessages::otherWouldOverlap() : TaskMessages::cannotStopOverlap();
        return true;
    default:
        return false;
    }
}

// Stops a task whose checks passed; one of less than a minute is taken out and deleted.
void stopChecked(QuorvelDocument &doc, QVTask *task, const QDateTime &when, QStringList *notes)
{
    if (doc.validateTask(task->start(), when, when, task) == QuorvelDocument::ZeroDuration) {
        *notes << TaskCommands::tr("Deleted %1: tasks of less than 1 minute duration are not "
                                   "logged.")
                      .arg(quoted(task));
        doc.removeTask(task);
        delete task;
        return;
    }
    doc.stopTask(task, when);
    *notes << TaskCommands::tr("Stopped %1 at %2 (%3).")
                  .arg(quoted(task), TaskTimeText::text(when),
                       TaskTimeText::runningTime(task->start(), when));
}

} // namespace

TaskCommands::Outcome TaskCommands::start(QuorvelDocument &doc, Activity *activity,
                                          const QDateTime &when)
{
    Outcome outcome;
    const bool concurrent = doc.configuration.allowConcurrentTasks();
    QList<QVTask *> others;
    for (QVTask *task : std::as_const(doc.tasks)) {
        if (!task->isRunning())
            continue;
        if (!concurrent && task->activity == activity) {
            outcome.notes << tr("%1 is already running, since %2.")
                                 .arg(quoted(task), TaskTimeText::text(task->start()));
            return outcome;
        }
        others << task;
    }

    if (doc.validateTask(when, when.addSecs(60), when, nullptr) == QuorvelDocument::Overlaps) {
        outcome.refused = true;
        outcome.refusal = TaskMessages::cannotStartOverlap();
        return outcome;
    }
    if (!concurrent) {
        for (const QVTask *other : std::as_const(others)) {
            if (stopRefusal(doc, other, when, true, &outcome.refusal)) {
                outcome.refused = true;
                return outcome;
            }
        }
    }

    auto *task = new QVTask();
    task->id = doc.allocateId();
    task->setStart(when);
    task->shortcut = 0;
    task->activity = activity;
    doc.tasks.append(task);
    outcome.changed = true;

    if (concurrent) {
        for (const QVTask *other : std::as_const(others)) {
            if (other->activity == activity) {
                outcome.notes << TaskMessages::oneLine(TaskMessages::sameActivityActive().text);
                break;
            }
        }
    } else {
        for (QVTask *other : std::as_const(others))
            stopChecked(doc, other, when, &outcome.notes);
    }
    doc.includeShortcut(task);
    doc.tasks.sort();
    outcome.notes << tr("Started %1 at %2.").arg(quoted(task), TaskTimeText::text(when));
    return outcome;
}

TaskCommands::Outcome TaskCommands::stop(QuorvelDocument &doc, const QList<QVTask *> &tasks,
                                         const QDateTime &when)
{
    Outcome outcome;
    for (const QVTask *task : tasks) {
        if (stopRefusal(doc, task, when, false, &outcome.refusal)) {
            outcome.refused = true;
            return outcome;
        }
    }
    for (QVTask *task : tasks) {
        if (!task->isRunning())
            continue;
        stopChecked(doc, task, when, &outcome.notes);
        outcome.changed = true;
    }
    return outcome;
}
