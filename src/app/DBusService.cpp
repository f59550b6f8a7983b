// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DBusService.h"

#include "QuorvelMainWindow.h"
#include "app/SingleInstance.h"
#include "model/QuorvelDocument.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>

const char DBusService::ServiceName[] = "org.quorvel.Quorvel";
const char DBusService::ObjectPath[] = "/Quorvel";
const char DBusService::RefusedError[] = "org.quorvel.Quorvel.Error.Refused";

namespace {

// The command line's message without its program name and its line end.
QString refusalText(const QByteArray &err)
{
    QString text = QString::fromUtf8(err).trimmed();
    const QString program = QStringLiteral("quorvel: ");
    if (text.startsWith(program))
        text = text.mid(program.size());
    return text;
}

} // namespace

DBusService::DBusService(QuorvelMainWindow *window)
    : QObject(window)
    , m_window(window)
{
    connect(window, &QuorvelMainWindow::tasksChanged, this, &DBusService::TasksChanged);
}

bool DBusService::publish(QDBusConnection connection, QString *why)
{
    const auto fail = [why](const QString &reason) {
        if (why)
            *why = reason;
        return false;
    };
    if (!connection.isConnected())
        return fail(connection.lastError().message());
    const QString path = QString::fromLatin1(ObjectPath);
    if (!connection.registerObject(
            path, this, QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals))
        return fail(QStringLiteral("another object is published at ") + path);
    const QString name = QString::fromLatin1(ServiceName);
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> taken
        = connection.interface()->registerService(name, QDBusConnectionInterface::DontQueueService,
                                                  QDBusConnectionInterface::DontAllowReplacement);
    if (!taken.isValid() || taken.value() != QDBusConnectionInterface::ServiceRegistered) {
        connection.unregisterObject(path);
        return fail(taken.isValid() ? QStringLiteral("another program has the name ") + name
                                    : taken.error().message());
    }
    return true;
}

void DBusService::Start(const QString &activity)
{
    carryOut({QStringLiteral("start"), activity}, false);
}

void DBusService::Stop(const QString &activity)
{
    QStringList arguments = {QStringLiteral("stop")};
    if (!activity.isEmpty())
        arguments << activity;
    carryOut(arguments, false);
}

QString DBusService::Status()
{
    carryOut({QStringLiteral("status")}, true);
    return QString();
}

QStringList DBusService::RunningTasks()
{
    QStringList names;
    for (const QVTask *task : m_window->document()->tasks) {
        if (task->isRunning() && task->activity)
            names << task->activity->name;
    }
    return names;
}

void DBusService::carryOut(const QStringList &arguments, bool statusText)
{
    if (!calledFromDBus())
        return;
    setDelayedReply(true);
    const QDBusMessage call = message();
    QDBusConnection bus = connection();
    // The command's working folder comes first; these commands name no file.
    auto *command = new HandedCommand(
        QStringList{QString()} + arguments,
        [call, bus, statusText](int exitCode, const QByteArray &out, const QByteArray &err) {
            QDBusConnection replyBus = bus;
            // "status" ends with 1 and a note when nothing runs; that is an answer, not a
            // refusal.
            if (statusText && (exitCode == 0 || exitCode == 1)) {
                replyBus.send(
                    call.createReply(out.isEmpty() ? refusalText(err) : QString::fromUtf8(out)));
            } else if (exitCode == 0) {
                replyBus.send(call.createReply());
            } else {
                replyBus.send(
                    call.createErrorReply(QString::fromLatin1(RefusedError), refusalText(err)));
            }
        },
        this);
    m_window->carryOut(command);
}
