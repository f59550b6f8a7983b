// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// "quorvel start" and "quorvel stop": the shortcut buttons' rules from a terminal.

#include "CommandParts.h"

#include "model/QuorvelDocument.h"
#include "model/TaskTimeText.h"
#include "platform/Clock.h"

#include <QRegularExpression>

namespace CommandParts {

namespace {

// The command line's own words for a refusal by the task rules: the window's say "now" and
// "Edit the task", which fit neither an --at nor a terminal.
QString refusalText(const TaskCommands::Outcome &outcome, const QString &activity,
                    const QDateTime &when)
{
    using Refusal = TaskCommands::Outcome::Refusal;
    const QString at = TaskTimeText::text(when);
    const QString started = TaskTimeText::text(outcome.refusedStart);
    switch (outcome.why) {
    case Refusal::StartOverlaps:
        return Commands::tr("“%1” cannot start at %2: it would overlap a recorded task.")
            .arg(activity, at);
    case Refusal::StopBeforeStart:
        return Commands::tr("“%1” cannot stop at %2, before it started (%3).")
            .arg(outcome.refusedActivity, at, started);
    case Refusal::StopOverlaps:
        return Commands::tr("“%1” cannot stop at %2: it would overlap the task after it.")
            .arg(outcome.refusedActivity, at);
    case Refusal::OtherStopBeforeStart:
        return Commands::tr("“%1” cannot start at %2: the running “%3” would have to stop then, "
                            "before it started (%4).")
            .arg(activity, at, outcome.refusedActivity, started);
    case Refusal::OtherStopOverlaps:
        return Commands::tr("“%1” cannot start at %2: the running “%3” would have to stop then, "
                            "and would overlap another task.")
            .arg(activity, at, outcome.refusedActivity);
    case Refusal::None:
        break;
    }
    return TaskMessages::oneLine(outcome.refusal.title + QLatin1String(": ")
                                 + outcome.refusal.text);
}

void noteLines(Commands::Result *result, const QStringList &notes)
{
    for (const QString &note : notes)
        append(result->out, note + QLatin1Char('\n'));
}

// A word as a shell takes it whole: in single quotes unless it is plain.
QString shellWord(const QString &word)
{
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9_.,:/+=@%-]+$"));
    if (plain.match(word).hasMatch())
        return word;
    QString quoted = word;
    quoted.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

} // namespace

void start(QuorvelDocument &doc, const Invocation &call, Commands::Result *result)
{
    if (refuseUnlessSetUp(doc, result))
        return;
    const QString name = call.positional.first();
    std::vector<QObject *> created;
    Activity *activity = nullptr;
    if (call.has("category")) {
        const QString categoryName = QuorvelDocument::cleanName(call.value("category"));
        for (Activity *a : startable(doc)) {
            if (a->category && a->category->name.compare(categoryName, Qt::CaseInsensitive) == 0
                && a->name.compare(QuorvelDocument::cleanName(name), Qt::CaseInsensitive) == 0) {
                activity = a;
                break;
            }
        }
        if (!activity) {
            QString refusal;
            activity = createActivity(doc, name, call.value("category"), &refusal, &created);
            if (!activity) {
                refuse(result, refusal);
                return;
            }
        }
    } else {
        const QList<Activity *> candidates = startable(doc);
        const Resolution resolution = resolve(name, candidates);
        activity = resolution.activity;
        if (!resolution.ambiguous.isEmpty()) {
            refuse(result, Commands::tr("“%1” could be any of these activities:%2")
                               .arg(name, candidateLines(resolution.ambiguous)));
            return;
        }
        if (!activity && candidates.isEmpty()) {
            refuse(result,
                   Commands::tr("no activity is called “%1”, and there are none yet.").arg(name));
            return;
        }
        if (!activity) {
            refuse(result, Commands::tr("no activity is called “%1”. The activities are:%2")
                               .arg(name, candidateLines(candidates)));
            return;
        }
    }

    const QDateTime when = call.at.isValid() ? call.at : Clock::currentTime(false);
    const TaskCommands::Outcome outcome = TaskCommands::start(doc, activity, when);
    if (outcome.refused) {
        removeCreated(doc, created);
        refuse(result, refusalText(outcome, activity->name, when));
        return;
    }
    if (!created.empty()) {
        append(result->out, Commands::tr("Created the activity “%1” in “%2”.")
                                    .arg(activity->name, categoryOf(activity))
                                + QLatin1Char('\n'));
    }
    noteLines(result, outcome.notes);
    result->changed = outcome.changed || !created.empty();
    result->change = TaskMessages::startChange(activity->name);
    result->removedUnderAMinute = outcome.removedUnderAMinute;
}

void stop(QuorvelDocument &doc, const Invocation &call, Commands::Result *result)
{
    if (refuseUnlessSetUp(doc, result))
        return;
    QList<QVTask *> running;
    QList<Activity *> runningActivities;
    for (QVTask *task : std::as_const(doc.tasks)) {
        if (!task->isRunning())
            continue;
        running << task;
        if (task->activity && !runningActivities.contains(task->activity))
            runningActivities << task->activity;
    }
    if (running.isEmpty()) {
        refuse(result, Commands::tr("no task is running."));
        return;
    }
    if (!call.positional.isEmpty()) {
        const QString name = call.positional.first();
        const Resolution resolution = resolve(name, runningActivities);
        Activity *activity = resolution.activity;
        if (!resolution.ambiguous.isEmpty()) {
            refuse(result, Commands::tr("“%1” could be any of these running activities:%2")
                               .arg(name, candidateLines(resolution.ambiguous)));
            return;
        }
        if (!activity) {
            refuse(result, Commands::tr("no running activity is called “%1”. Running:%2")
                               .arg(name, candidateLines(runningActivities)));
            return;
        }
        QList<QVTask *> ofActivity;
        for (QVTask *task : std::as_const(running)) {
            if (task->activity == activity)
                ofActivity << task;
        }
        running = ofActivity;
    }

    const QDateTime when = call.at.isValid() ? call.at : Clock::currentTime(false);
    const TaskCommands::Outcome outcome = TaskCommands::stop(doc, running, when);
    if (outcome.refused) {
        refuse(result, refusalText(outcome, QString(), when));
        // The way out of a task that a later task keeps from stopping now.
        if (outcome.latestStop.isValid()) {
            const QString command
                = QStringLiteral("quorvel stop %1 --at %2")
                      .arg(shellWord(outcome.trappedActivity), isoMinute(outcome.latestStop));
            append(result->err, Commands::tr("It can stop at %1, where the next task starts: %2")
                                        .arg(TaskTimeText::text(outcome.latestStop), command)
                                    + QLatin1Char('\n'));
        }
        return;
    }
    noteLines(result, outcome.notes);
    result->changed = outcome.changed;
    result->change = outcome.change;
    result->removedUnderAMinute = outcome.removedUnderAMinute;
}

} // namespace CommandParts
