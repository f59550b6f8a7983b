// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QObject>
#include <QStringList>

class QuorvelMainWindow;

// The window's tasks on the session bus: the service org.quorvel.Quorvel, object /Quorvel,
// interface org.quorvel.Quorvel. Start, Stop and Status are carried out exactly as the
// quorvel command line's start, stop and status are when the window runs (one path for
// every command from outside: the same rules and refusal texts, and a change waits while a
// question is open in the window). A refusal is the error org.quorvel.Quorvel.Error.Refused
// with the refusal's text.
class DBusService : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.quorvel.Quorvel")

public:
    static const char ServiceName[];
    static const char ObjectPath[];
    static const char RefusedError[];

    explicit DBusService(QuorvelMainWindow *window);

    // Publishes the object on connection and takes the service name; false, with the reason
    // in *why, when the bus or the name is not to be had.
    bool publish(QDBusConnection connection, QString *why = nullptr);

public Q_SLOTS:
    // Starts a task of the activity, as "quorvel start ACTIVITY".
    void Start(const QString &activity);
    // Stops the tasks of the activity, or every running task when it is empty, as
    // "quorvel stop [ACTIVITY]".
    void Stop(const QString &activity);
    // The text of "quorvel status": a line for each running task with its running time, or
    // "No task is running.".
    QString Status();
    // The activities of the running tasks, oldest first.
    QStringList RunningTasks();

Q_SIGNALS:
    // The window's tasks changed: started, stopped, edited, read again.
    void TasksChanged();

private:
    // Hands the command to the window and answers the call when it is done.
    void carryOut(const QStringList &arguments, bool statusText);

    QuorvelMainWindow *m_window;
};
