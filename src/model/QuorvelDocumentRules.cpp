// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The task rules and queries of QuorvelDocument: validation, shortcut slots, stopping and
// removing tasks, totals per activity, clean-up of withdrawn records and the sample data.

#include "QuorvelDocument.h"

#include <QSet>

namespace {

bool holdsSlot(const QVTask *task)
{
    return task->shortcut >= 1 && task->shortcut <= 3;
}

} // namespace

int QuorvelDocument::allocateId()
{
    return nextId++;
}

ActivityCategory *QuorvelDocument::addCategory(const QString &name)
{
    auto *category = new ActivityCategory(allocateId(), name, false);
    categories.append(category);
    categories.sort();
    return category;
}

Activity *QuorvelDocument::addActivity(const QString &name, ActivityCategory *category)
{
    auto *activity = new Activity(allocateId(), name, category, false);
    activities.append(activity);
    activities.sort();
    return activity;
}

int QuorvelDocument::validateTask(const QDateTime &start, const QDateTime &stop,
                                  const QDateTime &excludeStart, const QVTask *task) const
{
    if (stop < start)
        return StopBeforeStart;
    if (stop == start)
        return ZeroDuration;
    if (configuration.allowConcurrentTasks())
        return Valid;

    for (const QVTask *t : tasks) {
        if (t == task || t->start() == excludeStart)
            continue;
        const QDateTime s = t->start();
        // A running task occupies its first minute only.
        const QDateTime e = t->isRunning() ? s.addSecs(60) : t->stop();
        if (timesOverlap(start, stop, s, e))
            return Overlaps;
    }
    return Valid;
}

void QuorvelDocument::includeShortcut(QVTask *task)
{
    // A task without an activity (from a damaged file) never gets a button.
    if (!task->activity || task->activity->obsolete || task->shortcut != 0)
        return;

    bool used[4] = {false, false, false, false};
    QVTask *stoppedCandidate = nullptr;
    QVTask *runningCandidate = nullptr;
    for (QVTask *t : tasks) {
        if (holdsSlot(t)) {
            used[t->shortcut] = true;
            if (!t->isRunning()) {
                if (!stoppedCandidate || t->stop() < stoppedCandidate->stop())
                    stoppedCandidate = t;
            } else if (!runningCandidate || t->start() < runningCandidate->start()) {
                runningCandidate = t;
            }
            // The button already showing this activity moves to the new task.
            if (t->activity == task->activity && t != task) {
                task->shortcut = t->shortcut;
                task->modified();
                t->shortcut = 0;
                t->modified();
                return;
            }
        }
    }

    for (int slot = 1; slot <= 3; ++slot) {
        if (!used[slot]) {
            task->shortcut = slot;
            task->modified();
            return;
        }
    }

    // All three are taken: reuse the button that has stood stopped longest, else take it
    // from the task that has been running longest.
    QVTask *loser = stoppedCandidate ? stoppedCandidate : runningCandidate;
    if (!loser)
        return;
    task->shortcut = loser->shortcut;
    task->modified();
    loser->shortcut = 0;
    loser->modified();
}

void QuorvelDocument::passSlotOn(const QVTask *task, bool alsoStopped)
{
    if (!task->activity)
        return;
    for (auto it = tasks.crbegin(); it != tasks.crend(); ++it) {
        if ((*it)->activity == task->activity && (*it)->isRunning()) {
            includeShortcut(*it);
            return;
        }
    }
    if (!alsoStopped)
        return;
    // The earliest stopped task of the activity in list order takes the slot.
    for (QVTask *t : tasks) {
        if (t->activity == task->activity && !t->isRunning()) {
            includeShortcut(t);
            return;
        }
    }
}

void QuorvelDocument::stopTask(QVTask *task, const QDateTime &when)
{
    task->modified();
    task->setStop(when);
    if (holdsSlot(task))
        passSlotOn(task, false);
}

void QuorvelDocument::removeTask(QVTask *task)
{
    tasks.removeRef(task);
    if (task->synchronised)
        deletedTaskIds.append(task->id);
    if (holdsSlot(task))
        passSlotOn(task, true);
}

QDateTime QuorvelDocument::latestStop(const QVTask *task) const
{
    if (!task || !task->isRunning())
        return QDateTime();
    const QDateTime start = task->start();
    QDateTime next;
    for (const QVTask *t : tasks) {
        const QDateTime s = t->start();
        if (t != task && s > start && (!next.isValid() || s < next))
            next = s;
    }
    if (!next.isValid() || validateTask(start, next, next, task) != Valid)
        return QDateTime();
    return next;
}

bool QuorvelDocument::purgedBy(const QVTask *task, const QDateTime &cutOff)
{
    return !task->isRunning() && task->stop() < cutOff;
}

int QuorvelDocument::countPurgedBy(const QDateTime &cutOff) const
{
    int count = 0;
    for (const QVTask *t : tasks)
        count += purgedBy(t, cutOff) ? 1 : 0;
    return count;
}

int QuorvelDocument::purge(const QDateTime &cutOff)
{
    const QList<QVTask *> all = tasks;
    int count = 0;
    for (QVTask *t : all) {
        if (!purgedBy(t, cutOff))
            continue;
        removeTask(t);
        delete t;
        ++count;
    }
    return count;
}

bool QuorvelDocument::activeTasks() const
{
    for (const QVTask *t : tasks) {
        if (t->isRunning())
            return true;
    }
    return false;
}

QStringList QuorvelDocument::runningActivities(const QList<QVTask *> &tasks, bool onButtons)
{
    QStringList names;
    for (const QVTask *t : tasks) {
        if (t->isRunning() && (!onButtons || holdsSlot(t)) && !names.contains(t->activityName()))
            names << t->activityName();
    }
    return names;
}

int QuorvelDocument::getActivityDuration(const QDate &from, const QDate &to,
                                         const Activity *activity, bool *running) const
{
    const QDateTime first(from, QTime(0, 0));
    const QDateTime last = QDateTime(to, QTime(0, 0)).addDays(1);
    *running = false;
    int total = 0;
    for (const QVTask *t : tasks) {
        if (t->activity != activity)
            continue;
        const QDateTime s = t->start();
        if (t->isRunning()) {
            if (s < last)
                *running = true;
            continue;
        }
        const QDateTime e = t->stop();
        // Each task's share is truncated to whole minutes on its own.
        if (s >= first && e <= last)
            total += t->duration();
        else if (s < first && e > last)
            total += int(first.secsTo(last) / 60);
        else if (s < first && e > first && e <= last)
            total += int(first.secsTo(e) / 60);
        else if (s >= first && s < last && e > last)
            total += int(s.secsTo(last) / 60);
    }
    return total;
}

int QuorvelDocument::getNumActiveActivities(bool includeUsedObsolete) const
{
    int count = 0;
    for (const Activity *a : activities) {
        if (!a->obsolete || (includeUsedObsolete && hasActivityGotTasks(a)))
            ++count;
    }
    return count;
}

int QuorvelDocument::getNumActiveCategories() const
{
    int count = 0;
    for (const ActivityCategory *c : categories) {
        if (!c->obsolete)
            ++count;
    }
    return count;
}

bool QuorvelDocument::hasActivityGotTasks(const Activity *activity) const
{
    for (const QVTask *t : tasks) {
        if (t->activity == activity)
            return true;
    }
    return false;
}

void QuorvelDocument::removeObsoleteActivitiesAndCategories()
{
    // One pass over the tasks and one over the activities, so a large or hostile file
    // costs linear time here.
    QSet<const Activity *> used;
    for (const QVTask *t : tasks)
        used.insert(t->activity);

    SortedList<Activity> keptActivities;
    keptActivities.reserve(activities.size());
    QList<Activity *> droppedActivities;
    for (Activity *a : std::as_const(activities)) {
        if (a->obsolete && !used.contains(a))
            droppedActivities.append(a);
        else
            keptActivities.append(a);
    }
    activities = keptActivities;
    qDeleteAll(droppedActivities);

    QSet<const ActivityCategory *> referenced;
    for (const Activity *a : std::as_const(activities))
        referenced.insert(a->category);

    SortedList<ActivityCategory> keptCategories;
    keptCategories.reserve(categories.size());
    QList<ActivityCategory *> droppedCategories;
    for (ActivityCategory *c : std::as_const(categories)) {
        if (c->obsolete && !referenced.contains(c))
            droppedCategories.append(c);
        else
            keptCategories.append(c);
    }
    categories = keptCategories;
    qDeleteAll(droppedCategories);
}

void QuorvelDocument::createSampleData()
{
    clear();
    // Category names are kept as they are in every language.
    auto *rate1 = new ActivityCategory(allocateId(), QStringLiteral("Bill rate 1"), false);
    auto *rate2 = new ActivityCategory(allocateId(), QStringLiteral("Bill rate 2"), false);
    auto *privat = new ActivityCategory(allocateId(), QStringLiteral("Private"), false);
    categories.append(rate1);
    categories.append(rate2);
    categories.append(privat);

    const struct
    {
        const char *name;
        ActivityCategory *category;
    } samples[] = {
        {QT_TR_NOOP("Consulting for client R. Vance"), rate1},
        {QT_TR_NOOP("Project Alpha Development"), rate2},
        {QT_TR_NOOP("Project Alpha Documentation"), rate1},
        {QT_TR_NOOP("Home Project Beta"), privat},
        {QT_TR_NOOP("Home Project Delta"), privat},
    };
    for (const auto &sample : samples)
        activities.append(new Activity(allocateId(), tr(sample.name), sample.category, false));

    categories.sort();
    activities.sort();
}
