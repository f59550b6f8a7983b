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
// Keep, or, where no notification service answers, a message from the panel icon. Stop is
// "quorvel stop ACTIVITY" carried out by the window, with its rules and refusals.
class ForgottenTimer : public QObject
{
    Q_OBJECT

public:
    static constexpr int DefaultHours = 10;

    ForgottenTimer(QuorvelMainWindow *window, QDBusConnection bus, TrayIcon *tray = nullptr);

    // The setting, in hours; 0 is off.
    static int hours();
    static void setHours(int hours);

public Q_SLOTS:
    // Looks at the running tasks now; runs every minute and when the tasks change.
    void check();

private Q_SLOTS:
    void actionInvoked(uint notification, const QString &action);
    void notificationClosed(uint notification, uint reason);

private:
    void remind(const QString &activity, const QString &runningTime);

    QuorvelMainWindow *m_window;
    QDBusConnection m_bus;
    TrayIcon *m_tray;
    QTimer *m_timer;
    // Tasks reminded of, by id: once per task.
    QSet<int> m_reminded;
    // Notifications shown, to the activity their Stop stops.
    QHash<uint, QString> m_shown;
};
