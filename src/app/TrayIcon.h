// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QIcon>
#include <QList>
#include <QObject>
#include <QSet>

#include <memory>

class QAction;
class QMenu;
class QSystemTrayIcon;
class QTimer;
class QuorvelMainWindow;

// Quorvel in the panel (a StatusNotifierItem on KDE, and on GNOME with the AppIndicator
// extension). Its icon tells whether a task runs, its tooltip lists the running tasks with
// their running times, and its menu has the three shortcut buttons (clicking the buttons
// themselves: the same command, with every refusal and question), then every running task
// with its running time (a click stops it by the same rules), "Start…" (the window's quick
// start), "Open Quorvel" and "Quit", which ends Quorvel. The window closed while a task runs stays
// here (QuorvelMainWindow::closeEvent); should the panel go away meanwhile, the window comes back.
// A task the reminder asked about is marked in the icon and the tooltip until it is stopped or kept
// (ForgottenTimer).
class TrayIcon : public QObject
{
    Q_OBJECT

public:
    explicit TrayIcon(QuorvelMainWindow *window);
    ~TrayIcon() override;

    // Puts the icon into the panel; false when the desktop has no panel for it.
    bool show();
    bool isShown() const;

    QMenu *menu() const { return m_menu.get(); }
    // The entry of a shortcut button, 1 to 3.
    QAction *shortcutAction(int slot) const;
    // The entries of the running tasks, "Stop “activity” (h:mm)", oldest first.
    QList<QAction *> runningActions() const { return m_running; }
    // "Start…": the window's quick start.
    QAction *startAction() const { return m_start; }
    QAction *openAction() const { return m_open; }
    QAction *quitAction() const { return m_quit; }
    // "Quorvel", then a line "activity<tab>H:MM" for each running task, oldest first; a task
    // that has run past the reminder's hours has "H:MM (still running?)".
    QString toolTip() const;
    // Whether the icon shows a running task.
    bool showsRunning() const { return m_showsRunning; }
    // Whether the icon shows a task that has run past the reminder's hours.
    bool showsOverdue() const { return m_showsOverdue; }

    // The running tasks, by id, that the reminder asked about and nobody answered yet.
    void setOverdueTasks(const QSet<int> &taskIds);

    // Brings the entries, the tooltip and the icon up to date with the window.
    void refresh();
    // Looks whether the panel is still there (every few seconds): without it, closing the
    // window ends Quorvel again, and a hidden window is shown.
    void checkPanel();
    // A message from the icon, where the desktop has no notification service.
    void showMessage(const QString &title, const QString &text);

    // --- Test seam: a panel where the platform has none (offscreen). show() then succeeds
    // and the icon counts as shown, without a QSystemTrayIcon; turned off again, the panel
    // has gone away at the next checkPanel().
    static void setPanelForTesting(bool on);

private:
    // Puts an entry for every running task after the buttons' entries.
    void refreshRunning();

    QuorvelMainWindow *m_window;
    std::unique_ptr<QMenu> m_menu;
    QSystemTrayIcon *m_icon = nullptr;
    QAction *m_shortcuts[3] = {};
    QAction *m_open = nullptr;
    QAction *m_quit = nullptr;
    QAction *m_start = nullptr;
    QAction *m_separator = nullptr;
    QList<QAction *> m_running;
    // The ids of the tasks those entries stand for, in order.
    QList<int> m_runningIds;
    QTimer *m_timer = nullptr;
    QTimer *m_panelTimer = nullptr;
    QIcon m_idleIcon;
    QIcon m_runningIcon;
    QIcon m_overdueIcon;
    QSet<int> m_overdue;
    bool m_showsRunning = false;
    bool m_showsOverdue = false;
    bool m_shownForTesting = false;
    // Whether the panel was there at the last look.
    bool m_panelThere = false;
};
