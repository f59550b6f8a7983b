// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "IdleWatcher.h"

#include "ChangeChannel.h"
#include "DesktopConfig.h"
#include "QuorvelMainWindow.h"
#include "model/Activity.h"
#include "model/QuorvelDocument.h"
#include "model/TaskCommands.h"
#include "model/TaskTimeText.h"
#include "platform/Clock.h"
#include "platform/idle/IdleSource.h"
#include "widgets/MessageBox.h"

#include <QCoreApplication>
#include <QEvent>

namespace {

const QString Key = QStringLiteral("AskIdleAfterMinutes");

QList<QVTask *> runningTasks(const QuorvelDocument &doc, const QList<int> &ids)
{
    QList<QVTask *> tasks;
    for (QVTask *task : doc.tasks) {
        if (task->isRunning() && ids.contains(task->id))
            tasks << task;
    }
    return tasks;
}

} // namespace

IdleWatcher::IdleWatcher(QuorvelMainWindow *window, IdleSource *source, const QString &reason)
    : QObject(window)
    , m_window(window)
    , m_source(source)
    , m_reason(reason)
{
    if (m_source) {
        connect(m_source, &IdleSource::wentIdle, this, &IdleWatcher::wentIdle);
        connect(m_source, &IdleSource::cameBack, this, &IdleWatcher::cameBack);
        // Input in every window of Quorvel, report windows and dialogs too.
        QCoreApplication::instance()->installEventFilter(this);
    }
    settingsChanged();
}

bool IdleWatcher::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::KeyPress:
    case QEvent::MouseButtonPress:
    case QEvent::MouseMove:
    case QEvent::Wheel:
    case QEvent::TouchBegin:
    case QEvent::TabletPress:
        // Only the person's own input: events the program sends itself are no sign of them.
        if (event->spontaneous() && !m_asking) {
            m_lastInput = Clock::currentTime(true);
            if (m_away)
                cameBack();
        }
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

int IdleWatcher::minutes()
{
    return DesktopConfig::number(Key, DefaultMinutes);
}

void IdleWatcher::setMinutes(int minutes)
{
    DesktopConfig::setNumber(Key, minutes);
}

void IdleWatcher::settingsChanged()
{
    if (m_source)
        m_source->watch(qint64(minutes()) * 60 * 1000);
}

void IdleWatcher::wentIdle(qint64 idleMs)
{
    if (m_asking || minutes() <= 0)
        return;
    const QDateTime now = Clock::currentTime(true);
    QDateTime left = now.addMSecs(-qMax<qint64>(0, idleMs));
    // The source may not have seen the input in Quorvel's own windows.
    if (m_lastInput.isValid() && m_lastInput > left && m_lastInput <= now)
        left = m_lastInput;
    m_away = true;
    m_leftExactly = left;
    left = QDateTime(left.date(), QTime(left.time().hour(), left.time().minute()));
    // Only the tasks the person left running: one started while away was started on purpose.
    QList<int> ids;
    for (const QVTask *task : m_window->document()->tasks) {
        if (task->isRunning() && task->start() <= left)
            ids << task->id;
    }
    m_left = ids.isEmpty() ? QDateTime() : left;
    m_taskIds = ids;
}

void IdleWatcher::cameBack()
{
    const bool wasAway = m_away;
    m_away = false;
    if (!wasAway || !m_left.isValid() || m_asking || m_waiting)
        return;
    m_back = Clock::currentTime(true);
    // Input in Quorvel after the source's last may leave less time away than the setting.
    if (m_leftExactly.msecsTo(m_back) < qint64(minutes()) * 60 * 1000) {
        m_left = QDateTime();
        m_taskIds.clear();
        return;
    }
    // Asked once no other question or editor is open in the window.
    m_waiting = true;
    m_window->changes()->whenFree(this, [this] {
        m_waiting = false;
        ask();
    });
}

void IdleWatcher::ask()
{
    if (!m_left.isValid())
        return;
    const QDateTime left = m_left;
    const QList<int> ids = m_taskIds;
    m_left = QDateTime();
    m_taskIds.clear();
    const QList<QVTask *> tasks = runningTasks(*m_window->document(), ids);
    if (tasks.isEmpty())
        return;

    QStringList names;
    for (const QVTask *task : tasks) {
        if (!names.contains(task->activityName()))
            names << task->activityName();
    }
    // Away until the return, also when the question had to wait for the window.
    const QDateTime back = m_back.isValid() ? m_back : Clock::currentTime(true);
    const QString leftText = TaskTimeText::moment(left);
    const QString text = tr("You have been away since %1, for %2 (hours and minutes).\n"
                            "Running then: %3.\n\nWhat should be done with the time away?")
                             .arg(leftText, TaskTimeText::runningTime(left, back),
                                  names.join(QStringLiteral(", ")));
    const QStringList buttons = {tr("Keep the Time"), tr("Stop at %1").arg(leftText),
                                 tr("Stop at %1 and Start Again").arg(leftText)};
    m_asking = true;
    QWidget *parent = m_window->isVisible() ? m_window : nullptr;
    const int answer = MessageBox::choose(parent, tr("Idle Time"), text, buttons, 0, 0);
    m_asking = false;
    if (answer == StopThen || answer == StopThenStartAgain) {
        settle(Answer(answer), left, ids);
        // The person answered away from the window's commands: written at once.
        m_window->flush();
    }
}

void IdleWatcher::settle(Answer answer, const QDateTime &left, const QList<int> &taskIds)
{
    QuorvelDocument &doc = *m_window->document();
    // The question ran an event loop: look the tasks up again.
    const QList<QVTask *> tasks = runningTasks(doc, taskIds);
    if (tasks.isEmpty())
        return;
    ChangeScope change(m_window->changes());
    QList<Activity *> activities;
    for (const QVTask *task : tasks) {
        if (task->activity && !activities.contains(task->activity))
            activities << task->activity;
    }
    const TaskCommands::Outcome stopped = TaskCommands::stop(doc, tasks, left);
    if (stopped.refused) {
        // A task stopped at the moment the person left can only overlap; the usual wording
        // speaks of "now".
        MessageBox::warning(m_window, stopped.refusal.title,
                            tr("Stopping at %1 would make a task overlap another one, so "
                               "nothing was changed.\nYou can Edit the task to set its stop "
                               "time.")
                                .arg(TaskTimeText::moment(left)));
        return;
    }
    const QString leftText = TaskTimeText::moment(left);
    change.setText(tr("Stop at %1").arg(leftText));
    if (!stopped.removedUnderAMinute.isEmpty()) {
        change.addNote(ChangeChannel::underAMinuteNote(stopped.removedUnderAMinute));
    }
    if (answer == StopThenStartAgain) {
        change.setText(tr("Stop at %1 and Start Again").arg(leftText));
        const QDateTime now = Clock::currentTime(false);
        for (Activity *activity : std::as_const(activities)) {
            const TaskCommands::Outcome started = TaskCommands::start(doc, activity, now);
            if (started.refused) {
                MessageBox::warning(m_window, started.refusal.title, started.refusal.text);
                break;
            }
        }
    }
}
