// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ForgottenTimer.h"

#include "DesktopConfig.h"
#include "QuorvelMainWindow.h"
#include "TrayIcon.h"
#include "app/SingleInstance.h"
#include "model/QuorvelDocument.h"
#include "model/TaskTimeText.h"
#include "platform/Clock.h"
#include "widgets/MessageBox.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QSystemTrayIcon>
#include <QTimer>

namespace {

const QString Service = QStringLiteral("org.freedesktop.Notifications");
const QString Path = QStringLiteral("/org/freedesktop/Notifications");

const QString Key = QStringLiteral("RemindAfterHours");

} // namespace

ForgottenTimer::ForgottenTimer(QuorvelMainWindow *window, QDBusConnection bus, TrayIcon *tray)
    : QObject(window)
    , m_window(window)
    , m_bus(bus)
    , m_tray(tray)
    , m_timer(new QTimer(this))
{
    m_bus.connect(Service, Path, Service, QStringLiteral("ActionInvoked"), this,
                  SLOT(actionInvoked(uint, QString)));
    m_bus.connect(Service, Path, Service, QStringLiteral("NotificationClosed"), this,
                  SLOT(notificationClosed(uint, uint)));
    connect(window, &QuorvelMainWindow::tasksChanged, this, &ForgottenTimer::check);
    connect(m_timer, &QTimer::timeout, this, &ForgottenTimer::check);
    m_timer->start(60 * 1000);
}

int ForgottenTimer::hours()
{
    return DesktopConfig::number(Key, DefaultHours);
}

void ForgottenTimer::setHours(int hours)
{
    DesktopConfig::setNumber(Key, hours);
}

void ForgottenTimer::check()
{
    const QDateTime now = Clock::currentTime(true);
    const int limit = hours();
    const QSet<int> before = m_overdue;
    QSet<int> running;
    for (const QVTask *task : m_window->document()->tasks) {
        if (!task->isRunning())
            continue;
        running.insert(task->id);
        if (limit <= 0 || m_reminded.contains(task->id))
            continue;
        if (task->start().secsTo(now) >= qint64(limit) * 3600) {
            m_reminded.insert(task->id);
            m_overdue.insert(task->id);
            remind(task->id, task->activityName(), TaskTimeText::runningTime(task->start(), now));
        }
    }
    // A task stopped in any way is answered: its notification has nothing left to ask.
    m_overdue.intersect(running);
    for (auto shown = m_shown.begin(); shown != m_shown.end();) {
        if (running.contains(shown.value().taskId)) {
            ++shown;
            continue;
        }
        closeNotification(shown.key());
        shown = m_shown.erase(shown);
    }
    if (m_overdue != before)
        overdueChanged();
}

bool ForgottenTimer::isRunning(int taskId) const
{
    for (const QVTask *task : m_window->document()->tasks) {
        if (task->id == taskId)
            return task->isRunning();
    }
    return false;
}

void ForgottenTimer::overdueChanged()
{
    if (m_tray)
        m_tray->setOverdueTasks(m_overdue);
}

void ForgottenTimer::closeNotification(uint notification)
{
    QDBusMessage close = QDBusMessage::createMethodCall(Service, Path, Service,
                                                        QStringLiteral("CloseNotification"));
    close << notification;
    m_bus.asyncCall(close);
}

void ForgottenTimer::remind(int taskId, const QString &activity, const QString &runningTime)
{
    const QString summary = tr("Is %1 still running?").arg(activity);
    const QString body = tr("It has run for %1 (hours and minutes).").arg(runningTime);
    QDBusMessage notify
        = QDBusMessage::createMethodCall(Service, Path, Service, QStringLiteral("Notify"));
    notify << QStringLiteral("Quorvel") << uint(0) << QStringLiteral("org.quorvel.Quorvel")
           << summary << body
           << QStringList{QStringLiteral("stop"), tr("Stop"), QStringLiteral("keep"), tr("Keep")}
           // Resident and without expiry: the question stays until it is answered, rather
           // than vanish after the service's few seconds while the person is away.
           << QVariantMap{{QStringLiteral("resident"), true}} << int(0);
    // Never a blocking call: the notification service may be slow or absent.
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(notify), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, watcher, taskId, activity, summary, body] {
                watcher->deleteLater();
                const QDBusPendingReply<uint> reply = *watcher;
                if (reply.isValid()) {
                    // Stopped while the service was answering: nothing is left to ask.
                    if (isRunning(taskId))
                        m_shown.insert(reply.value(), {taskId, activity});
                    else
                        closeNotification(reply.value());
                    return;
                }
                if (m_tray)
                    m_tray->showMessage(summary, body);
            });
}

void ForgottenTimer::actionInvoked(uint notification, const QString &action)
{
    const auto shown = m_shown.constFind(notification);
    if (shown == m_shown.constEnd())
        return;
    const Shown asked = shown.value();
    const QString activity = asked.activity;
    m_shown.erase(shown);
    // Resident notifications stay after an action unless they are closed.
    closeNotification(notification);
    if (action != QLatin1String("stop")) {
        if (action == QLatin1String("keep") && m_overdue.remove(asked.taskId))
            overdueChanged();
        return;
    }
    auto *command = new HandedCommand(
        {QString(), QStringLiteral("stop"), activity},
        [this](int exitCode, const QByteArray &, const QByteArray &err) {
            if (exitCode == 0)
                return;
            QString text = QString::fromUtf8(err).trimmed();
            if (text.startsWith(QLatin1String("quorvel: ")))
                text = text.mid(9);
            MessageBox::information(m_window, tr("Cannot Stop Task"), text);
        },
        this);
    m_window->carryOut(command);
}

void ForgottenTimer::notificationClosed(uint notification, uint)
{
    m_shown.remove(notification);
}
