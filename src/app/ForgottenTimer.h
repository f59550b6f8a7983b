// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QSet>

class QTimer;
class QuorvelMainWindow;
class TrayIcon;

// Reminds once of each task that has run for longer than the setting "Remind me when a task
// has run for N hours" (settings group "Desktop", key "RemindAfterHours"; 10 unless set, 0 for
// never): a desktop notification (org.freedesktop.Notifications) with the actions Stop and
// Keep that stays until it is answered, or, where no notification service answers, a message
// from the panel icon. Stop is "quorvel stop ACTIVITY" carried out by the window, with its
// rules and refusals. The panel icon marks the task until it is stopped or kept.
class ForgottenTimer : public QObject
{
    Q_OBJECT

public:
    static constexpr int DefaultHours = 10;

    ForgottenTimer(QuorvelMainWindow *window, QDBusConnection bus, TrayIcon *tray = nullptr);

    // The setting, in hours; 0 is off.
    static int hours();
    static void setHours(int hours);

    // The running tasks, by id, reminded of and neither stopped nor kept yet.
    QSet<int> overdueTasks() const { return m_overdue; }

public Q_SLOTS:
    // Looks at the running tasks now; runs every minute and when the tasks change.
    void check();

private Q_SLOTS:
    void actionInvoked(uint notification, const QString &action);
    void notificationClosed(uint notification, uint reason);

private:
    void remind(int taskId, const QString &activity, const QString &runningTime);
    void overdueChanged();
    void closeNotification(uint notification);
    bool isRunning(int taskId) const;

    struct Shown
    {
        int taskId;
        QString activity;
    };

    QuorvelMainWindow *m_window;
    QDBusConnection m_bus;
    TrayIcon *m_tray;
    QTimer *m_timer;
    // Tasks reminded of, by id: once per task.
    QSet<int> m_reminded;
    // Of those, the ones still running that nobody kept.
    QSet<int> m_overdue;
    // Notifications shown, to the task they ask about and the activity their Stop stops.
    QHash<uint, Shown> m_shown;
};
