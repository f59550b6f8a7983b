// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Tasks entered, edited, deleted and purged through the editor and the purge dialog.

#include "QuorvelMainWindow.h"

#include "ChangeChannel.h"
#include "dialogs/PurgeTasks.h"
#include "dialogs/TaskEdit.h"
#include "model/QuorvelDocument.h"
#include "views/MainWidget.h"
#include "widgets/MessageBox.h"

#include <QLocale>

#include <memory>

void QuorvelMainWindow::purge()
{
    PurgeTasks dialog(this);
    dialog.setDateTime(getQVTime(false));
    dialog.setCounter(
        [this](const QDateTime &cutOff) { return m_document->countPurgedBy(cutOff); });
    if (dialog.exec() != QDialog::Accepted)
        return;
    const QDateTime cutOff = dialog.getDateTime();

    ChangeScope change(m_changes);
    const int purged = m_document->purge(cutOff);
    if (purged > 0)
        m_mainWidget->selectedTask = nullptr;
    change.setText(purged == 1 ? tr("Purge of 1 Task")
                               : tr("Purge of %1 Tasks").arg(QLocale().toString(purged)));
}

// Start and stop as the editor's radio buttons say; with none on, the value stays.
void QuorvelMainWindow::takeEditorTimes(const TaskEdit &editor, QVTask *task)
{
    if (editor.radStartNow->isChecked())
        task->setStart(editor.currentTime);
    else if (editor.radStartSpecified->isChecked())
        task->setStart(editor.getStartDateTime());
    if (editor.radStopNow->isChecked())
        task->setStop(editor.currentTime);
    else if (editor.radStopSpecified->isChecked())
        task->setStop(editor.getStopDateTime());
    else if (editor.radStopLater->isChecked())
        task->setStop(QDateTime());
}

void QuorvelMainWindow::newTask()
{
    TaskEdit editor(nullptr, m_document.get(), this);
    editor.changes = m_changes;
    editor.setWindowTitle(tr("Quorvel - New Task"));
    if (editor.exec() != QDialog::Accepted)
        return;

    {
        ChangeScope change(m_changes);
        auto *task = new QVTask();
        task->id = m_document->allocateId();
        takeEditorTimes(editor, task);
        task->activity = editor.selectedActivity;
        m_document->tasks.append(task);

        if (!stopOtherTasks(task, editor.currentTime, false, change)) {
            m_document->removeTask(task);
            giveIdBack(task);
            delete task;
            return;
        }
        change.setText(tr("New Task %1").arg(task->activityName()));
        m_document->includeShortcut(task);
        m_mainWidget->selectedTask = task;
        // The document applies its stop rules, such as passing the button on.
        if (!task->isRunning())
            m_document->stopTask(task, task->stop());
        m_document->tasks.sort();
    }
    showBalloonTips();
}

void QuorvelMainWindow::giveIdBack(const QVTask *task)
{
    // A task that was never made leaves no trace, not even its id.
    if (m_document->nextId == task->id + 1)
        m_document->nextId = task->id;
}

void QuorvelMainWindow::editTask()
{
    QVTask *task = m_mainWidget->selectedTask;
    if (!task) {
        updateView(nullptr);
        return;
    }
    const QDateTime oldStart = task->start();
    const QDateTime oldStop = task->stop();
    const QDateTime oldStamp = task->modifiedTime;
    Activity *const oldActivity = task->activity;

    TaskEdit editor(task, m_document.get(), this);
    editor.changes = m_changes;
    editor.setWindowTitle(tr("Quorvel - Edit Task"));
    if (editor.exec() != QDialog::Accepted)
        return;

    ChangeScope change(m_changes);
    task->modified();
    takeEditorTimes(editor, task);
    task->activity = editor.selectedActivity;

    if (stopOtherTasks(task, editor.currentTime, true, change)) {
        change.setText(tr("Edit Task %1").arg(task->activityName()));
    } else {
        task->setStart(oldStart);
        task->setStop(oldStop);
        task->modifiedTime = oldStamp;
        task->activity = oldActivity;
    }

    // A button stands for one activity: the older task of the new activity gives its up.
    bool shortcutTaken = false;
    if (task->activity != oldActivity) {
        for (QVTask *other : std::as_const(m_document->tasks)) {
            if (other != task && other->activity == task->activity && other->shortcut >= 1
                && other->shortcut <= 3) {
                other->shortcut = 0;
                other->modified();
                shortcutTaken = true;
            }
        }
    }

    const bool wasRunning = !oldStop.isValid();
    if (!task->isRunning()) {
        if (wasRunning)
            m_document->stopTask(task, task->stop());
    } else {
        m_document->includeShortcut(task);
    }

    if (task->start() != oldStart || shortcutTaken)
        m_document->tasks.sort();
}

void QuorvelMainWindow::deleteTask()
{
    QVTask *task = m_mainWidget->selectedTask;
    if (!task) {
        updateView(nullptr);
        return;
    }
    if (!MessageBox::ask(this, tr("Delete Task"),
                         tr("Are you sure you want to delete\n%1?").arg(task->activityName())))
        return;
    // Deleted once the view no longer shows it.
    const std::unique_ptr<QVTask> deleted(task);
    ChangeScope change(m_changes);
    change.setText(tr("Delete Task %1").arg(task->activityName()));
    // The selection stays at the same row of the table: on the task shown after the deleted
    // one (or before it, at the end), also while the find bar shows only some tasks.
    QVTask *neighbour = m_mainWidget->neighbourShown(task);
    m_document->removeTask(task);
    m_mainWidget->selectedTask = neighbour;
}
