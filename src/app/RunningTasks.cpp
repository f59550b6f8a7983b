// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Starting and stopping tasks live: the shortcut buttons, concurrent tasks and Stop.

#include "QuorvelMainWindow.h"

#include "ChangeChannel.h"
#include "model/QuorvelDocument.h"
#include "platform/Config.h"
#include "views/MainWidget.h"
#include "widgets/MessageBox.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QMessageBox>
#include <QSignalBlocker>
#include <QToolButton>

#include <memory>
#include <vector>

void QuorvelMainWindow::restoreConcurrentToggle()
{
    const QSignalBlocker blocker(m_concurrent);
    m_concurrent->setChecked(m_document->configuration.allowConcurrentTasks());
}

void QuorvelMainWindow::concurrentToggled(bool on)
{
    Configuration &configuration = m_document->configuration;
    if (on) {
        configuration.setAllowConcurrentTasks(true);
        return;
    }
    if (!m_document->activeTasks()) {
        configuration.setAllowConcurrentTasks(false);
        return;
    }
    if (!MessageBox::ask(this, tr("Disable Concurrent Tasks"),
                         tr("This will stop any active tasks.\nProceed?"))) {
        restoreConcurrentToggle();
        return;
    }

    ChangeScope change(m_changes);
    const QDateTime now = getQVTime(false);
    bool deletedReported = false;
    QStringList stopped;
    const QList<QVTask *> tasks = m_document->tasks;
    for (QVTask *task : tasks) {
        if (!task->isRunning())
            continue;
        if (now < task->start()) {
            MessageBox::information(
                this, tr("Cannot Disable Concurrent Tasks"),
                tr("An active task cannot be stopped\nnow because its start time is in\nthe "
                   "future. To set a specific\nfuture stop time, you can Edit\nthe task."));
            // What was stopped before the refusal stays stopped.
            restoreConcurrentToggle();
            return;
        }
        stopped << task->activityName();
        change.setText(TaskMessages::stopChange(stopped));
        if (now == task->start()) {
            // Shorter than a minute: never logged.
            change.addNote(ChangeChannel::underAMinuteNote({task->activityName()}));
            m_document->removeTask(task);
            updateView(nullptr);
            delete task;
            if (!deletedReported) {
                deletedReported = true;
                MessageBox::information(this, tr("Active Task Deleted"),
                                        tr("One or more active tasks have\nbeen deleted because "
                                           "their\nduration was less than\na minute."));
            }
        } else {
            m_document->stopTask(task, now);
            updateView(task);
        }
    }
    configuration.setAllowConcurrentTasks(false);
    change.setText(tr("Disable Concurrent Tasks"));
}

bool QuorvelMainWindow::stopOtherTasks(QVTask *task, const QDateTime &when, bool updateEachView,
                                       ChangeScope &change)
{
    // Only a running task keeps others from running.
    if (!task || !task->isRunning())
        return true;

    if (m_document->configuration.allowConcurrentTasks()) {
        for (const QVTask *other : std::as_const(m_document->tasks)) {
            if (other != task && other->isRunning() && other->activity == task->activity) {
                const TaskMessages::Message message = TaskMessages::sameActivityActive();
                MessageBox::information(this, message.title, message.text);
                break;
            }
        }
        return true;
    }

    // Tasks of less than a minute are dropped; they go when this function returns.
    std::vector<std::unique_ptr<QVTask>> dropped;
    QStringList stopped;
    const QList<QVTask *> tasks = m_document->tasks;
    for (QVTask *other : tasks) {
        if (other == task || !other->isRunning())
            continue;
        switch (m_document->validateTask(other->start(), when, when, other)) {
        case QuorvelDocument::Valid:
            stopped << other->activityName();
            change.setText(TaskMessages::stopChange(stopped));
            m_document->stopTask(other, when);
            if (updateEachView)
                updateView(other);
            break;
        case QuorvelDocument::StopBeforeStart:
            showMessage(TaskMessages::otherStartsInFuture(), true);
            return false;
        case QuorvelDocument::ZeroDuration:
            // Said nowhere else: the status bar tells, with the way back.
            change.addNote(ChangeChannel::underAMinuteNote({other->activityName()}));
            m_document->removeTask(other);
            dropped.emplace_back(other);
            updateView(nullptr);
            break;
        default:
            showMessage(TaskMessages::otherWouldOverlap(), true);
            return false;
        }
    }
    return true;
}

void QuorvelMainWindow::disableButtons()
{
    for (int slot = 1; slot <= 3; ++slot) {
        QToolButton *button = m_mainWidget->button(slot);
        button->blockSignals(true);
        button->setEnabled(false);
    }
    // Show the disabled buttons at once; user input waits until the command is done.
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

void QuorvelMainWindow::enableButtons()
{
    for (int slot = 1; slot <= 3; ++slot) {
        QToolButton *button = m_mainWidget->button(slot);
        button->setEnabled(!button->text().isEmpty());
        button->blockSignals(false);
    }
}

void QuorvelMainWindow::shortcutToggled(int shortcut, bool on, QToolButton *button)
{
    // Events processed while the buttons are disabled must not start a second command.
    if (m_changes->isChanging())
        return;
    {
        ChangeScope change(m_changes);
        disableButtons();

        QVTask *shown = nullptr;
        for (QVTask *task : std::as_const(m_document->tasks)) {
            if (task->shortcut == shortcut) {
                shown = task;
                break;
            }
        }
        if (shown) {
            if (on)
                startShortcutTask(shown, button, change);
            else if (shown->isRunning() && !stopNow(shown, change))
                button->setChecked(true);
        }
        enableButtons();
    }
    showBalloonTips();
}

void QuorvelMainWindow::startShortcutTask(QVTask *shown, QToolButton *button, ChangeScope &change)
{
    if (shown->isRunning())
        return;
    if (!startTaskOf(shown->activity, change))
        button->setChecked(false);
}

bool QuorvelMainWindow::startTaskOf(Activity *activity, ChangeScope &change)
{
    const QDateTime now = getQVTime(false);
    if (m_document->validateTask(now, now.addSecs(60), now, nullptr) == QuorvelDocument::Overlaps) {
        showMessage(TaskMessages::cannotStartOverlap(), false);
        return false;
    }

    auto *task = new QVTask();
    task->id = m_document->allocateId();
    task->setStart(now);
    task->shortcut = 0;
    task->activity = activity;
    m_document->tasks.append(task);

    if (!stopOtherTasks(task, now, false, change)) {
        m_document->removeTask(task);
        giveIdBack(task);
        delete task;
        return false;
    }
    change.setText(TaskMessages::startChange(task->activityName()));
    m_document->includeShortcut(task);
    m_mainWidget->selectedTask = task;
    m_document->tasks.sort();
    return true;
}

bool QuorvelMainWindow::stopNow(QVTask *task, ChangeScope &change)
{
    const QDateTime now = getQVTime(false);
    switch (m_document->validateTask(task->start(), now, now, task)) {
    case QuorvelDocument::Valid:
        change.setText(TaskMessages::stopChange({task->activityName()}));
        m_document->stopTask(task, now);
        m_mainWidget->selectedTask = task;
        return true;
    case QuorvelDocument::StopBeforeStart:
        showMessage(TaskMessages::cannotStopFuture(), false);
        return false;
    case QuorvelDocument::ZeroDuration: {
        bool warn = true;
        {
            Config config(Configuration::storeName(), Config::User);
            config.setGroup(Configuration::localSettingsGroup());
            warn = config.readBoolEntry(QStringLiteral("WarnDeleteZeroTasks"), true);
        }
        if (warn
            && MessageBox::ask(this, TaskMessages::zeroDurationQuestion().title,
                               TaskMessages::zeroDurationQuestion().text)) {
            Config config(Configuration::storeName(), Config::User);
            config.setGroup(Configuration::localSettingsGroup());
            config.writeEntry(QStringLiteral("WarnDeleteZeroTasks"), false);
        }
        // The answer only decides about warning again: the task is never kept.
        change.setText(TaskMessages::underAMinuteChange());
        change.addNote(ChangeChannel::underAMinuteNote({task->activityName()}));
        m_document->removeTask(task);
        m_mainWidget->selectedTask = nullptr;
        updateView(nullptr);
        delete task;
        return true;
    }
    default:
        break;
    }

    // A later task is in the way: the refusal offers to stop where that task starts.
    const TaskMessages::Message refusal = TaskMessages::cannotStopOverlap();
    const QDateTime latest = m_document->latestStop(task);
    if (!latest.isValid()) {
        showMessage(refusal, false);
        return false;
    }
    const int choice = MessageBox::choose(this, refusal.title, refusal.text,
                                          {TaskMessages::stopAt(latest), tr("OK")}, 1, 1,
                                          QMessageBox::Information);
    if (choice != 0)
        return false;
    // Nothing else changed meanwhile: the window was not free while the box was open.
    change.setText(TaskMessages::stopChange({task->activityName()}));
    m_document->stopTask(task, latest);
    m_mainWidget->selectedTask = task;
    return true;
}

void QuorvelMainWindow::stopRunningTask(int taskId)
{
    m_changes->whenFree(this, [this, taskId] {
        for (QVTask *task : std::as_const(m_document->tasks)) {
            if (task->id == taskId && task->isRunning()) {
                {
                    ChangeScope change(m_changes);
                    stopNow(task, change);
                }
                showBalloonTips();
                return;
            }
        }
    });
}

void QuorvelMainWindow::shortcut1Toggled(bool on)
{
    shortcutToggled(1, on, m_mainWidget->button(1));
}

void QuorvelMainWindow::shortcut2Toggled(bool on)
{
    shortcutToggled(2, on, m_mainWidget->button(2));
}

void QuorvelMainWindow::shortcut3Toggled(bool on)
{
    shortcutToggled(3, on, m_mainWidget->button(3));
}
