// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Starting any activity without the task editor (Task → Start…), and the status bar.

#include "QuorvelMainWindow.h"

#include "ChangeChannel.h"
#include "StatusBarPanel.h"
#include "dialogs/QuickStart.h"
#include "model/QuorvelDocument.h"
#include "views/MainWidget.h"

#include <QAction>
#include <QMenu>
#include <QStatusBar>
#include <QTimer>

namespace {

// How long the note that an activity already runs stays in the status bar.
constexpr int AlreadyRunningNoteMs = 10 * 1000;

} // namespace

void QuorvelMainWindow::addQuickStartItem(QMenu *taskMenu)
{
    // After the menu's own entries, which keep their places.
    taskMenu->addSeparator();
    m_quickStart = new QAction(tr("Start…"), this);
    m_quickStart->setObjectName(QStringLiteral("quickStart"));
    m_quickStart->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_N));
    connect(m_quickStart, &QAction::triggered, this, &QuorvelMainWindow::quickStart);
    taskMenu->addAction(m_quickStart);
}

void QuorvelMainWindow::setupStatusBar()
{
    // Permanent, so that the notes after a change, shown at the left, cover none of it.
    m_statusPanel = new StatusBarPanel(this);
    statusBar()->addPermanentWidget(m_statusPanel);
    connect(this, &QuorvelMainWindow::tasksChanged, m_statusPanel,
            &StatusBarPanel::documentChanged);
    connect(m_timer, &QTimer::timeout, m_statusPanel, &StatusBarPanel::tick);
}

void QuorvelMainWindow::quickStart()
{
    // From the panel icon too, while an editor or a question may be open here.
    m_changes->whenFree(this, [this] {
        QuickStart dialog(*m_document, this);
        if (dialog.exec() != QDialog::Accepted)
            return;
        // The window was not free while the list was open: the activity is still there.
        if (Activity *activity = dialog.chosenActivity())
            startActivity(activity);
    });
}

void QuorvelMainWindow::startActivity(Activity *activity)
{
    if (!activity || m_changes->isChanging() || m_document->activities.findRef(activity) < 0)
        return;
    // Its button is on already: pressing it again would start nothing either.
    for (const QVTask *task : std::as_const(m_document->tasks)) {
        if (task->activity == activity && task->isRunning() && task->shortcut >= 1
            && task->shortcut <= 3) {
            statusBar()->showMessage(tr("%1 is running already.").arg(activity->name),
                                     AlreadyRunningNoteMs);
            return;
        }
    }
    {
        ChangeScope change(m_changes);
        disableButtons();
        startTaskOf(activity, change);
        enableButtons();
    }
    showBalloonTips();
}
