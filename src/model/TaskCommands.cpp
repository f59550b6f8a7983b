// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

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

QString TaskMessages::startChange(const QString &activity)
{
    return tr("Start of %1").arg(activity);
}

QString TaskMessages::stopChange(const QStringList &activities)
{
    return tr("Stop of %1").arg(activities.join(tr(", ")));
}

QString TaskMessages::underAMinuteChange()
{
    return tr("Removal of a Task Under a Minute");
}

QString TaskMessages::recordChange(Record record, Change change, const QString &name)
{
    static const char *const texts[2][3] = {
        {QT_TR_NOOP("New Category %1"), QT_TR_NOOP("Edit Category %1"),
         QT_TR_NOOP("Delete Category %1")},
        {QT_TR_NOOP("New Activity %1"), QT_TR_NOOP("Edit Activity %1"),
         QT_TR_NOOP("Delete Activity %1")},
    };
    return tr(texts[int(record)][int(change)]).arg(name);
}

QString TaskMessages::keepRunningWithoutButton(const QStringList &activities)
{
    if (activities.isEmpty())
        return QString();
    return activities.size() == 1
               ? tr("%1 is running now; it keeps running without a shortcut button.")
                     .arg(activities.first())
               : tr("%1 are running now; they keep running without shortcut buttons.")
                     .arg(activities.join(tr(", ")));
}

QString TaskMessages::runningWithoutButtonNote(const QStringList &activities,
                                               const QString &undoKey)
{
    if (activities.isEmpty())
        return QString();
    return activities.size() == 1
               ? tr("%1 keeps running without a shortcut button. %2 brings the button back.")
                     .arg(activities.first(), undoKey)
               : tr("%1 keep running without shortcut buttons. %2 brings the buttons back.")
                     .arg(activities.join(tr(", ")), undoKey);
}

QString TaskMessages::stopAt(const QDateTime &when)
{
    return tr("Stop at %1").arg(TaskTimeText::moment(when));
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

// The checks of stopping task at when, made before anything changes: true, with the refusal
// in *outcome, when it cannot stop then.
bool stopRefusal(const QuorvelDocument &doc, const QVTask *task, const QDateTime &when, bool other,
                 TaskCommands::Outcome *outcome)
{
    using Refusal = TaskCommands::Outcome::Refusal;
    outcome->refusedActivity = task->activityName();
    outcome->refusedStart = task->start();
    switch (doc.validateTask(task->start(), when, when, task)) {
    case QuorvelDocument::StopBeforeStart:
        outcome->refusal
            = other ? TaskMessages::otherStartsInFuture() : TaskMessages::cannotStopFuture();
        outcome->why = other ? Refusal::OtherStopBeforeStart : Refusal::StopBeforeStart;
        return true;
    case QuorvelDocument::Overlaps:
        outcome->refusal
            = other ? TaskMessages::otherWouldOverlap() : TaskMessages::cannotStopOverlap();
        outcome->why = other ? Refusal::OtherStopOverlaps : Refusal::StopOverlaps;
        if (!other) {
            outcome->trappedActivity = task->activityName();
            outcome->latestStop = doc.latestStop(task);
        }
        return true;
    default:
        return false;
    }
}

// Stops a task whose checks passed; one of less than a minute is taken out and deleted.
void stopChecked(QuorvelDocument &doc, QVTask *task, const QDateTime &when,
                 TaskCommands::Outcome *outcome)
{
    if (doc.validateTask(task->start(), when, when, task) == QuorvelDocument::ZeroDuration) {
        outcome->notes << TaskCommands::tr("Deleted %1: tasks of less than 1 minute duration "
                                           "are not logged.")
                              .arg(quoted(task));
        outcome->removedUnderAMinute << task->activityName();
        doc.removeTask(task);
        delete task;
        return;
    }
    doc.stopTask(task, when);
    outcome->notes << TaskCommands::tr("Stopped %1 at %2 (%3).")
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
        outcome.why = Outcome::Refusal::StartOverlaps;
        outcome.refusedActivity = activity->name;
        return outcome;
    }
    if (!concurrent) {
        for (const QVTask *other : std::as_const(others)) {
            if (stopRefusal(doc, other, when, true, &outcome)) {
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
            stopChecked(doc, other, when, &outcome);
    }
    doc.includeShortcut(task);
    doc.tasks.sort();
    outcome.notes << tr("Started %1 at %2.").arg(quoted(task), TaskTimeText::text(when));
    outcome.change = TaskMessages::startChange(task->activityName());
    return outcome;
}

TaskCommands::Outcome TaskCommands::stop(QuorvelDocument &doc, const QList<QVTask *> &tasks,
                                         const QDateTime &when)
{
    Outcome outcome;
    for (const QVTask *task : tasks) {
        if (stopRefusal(doc, task, when, false, &outcome)) {
            outcome.refused = true;
            return outcome;
        }
    }
    QStringList stopped;
    int count = 0;
    for (QVTask *task : tasks) {
        if (!task->isRunning())
            continue;
        if (!stopped.contains(task->activityName()))
            stopped << task->activityName();
        stopChecked(doc, task, when, &outcome);
        ++count;
    }
    outcome.changed = count > 0;
    // When every one of them lasted under a minute, their removal is the change.
    if (outcome.changed)
        outcome.change = outcome.removedUnderAMinute.size() == count
                             ? TaskMessages::underAMinuteChange()
                             : TaskMessages::stopChange(stopped);
    return outcome;
}
