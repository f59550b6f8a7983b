// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ScreenSaverIdleSource.h"

ScreenSaverIdleSource *ScreenSaverIdleSource::open(QObject *parent, const QDBusConnection &bus)
{
    // KDE's older path is /ScreenSaver; some desktops offer only that one.
    for (const QString &path :
         {QStringLiteral("/org/freedesktop/ScreenSaver"), QStringLiteral("/ScreenSaver")}) {
        const Question question{
            QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.ScreenSaver"), path,
                                           QStringLiteral("org.freedesktop.ScreenSaver"),
                                           QStringLiteral("GetSessionIdleTime")),
            QStringLiteral("u"), 1000};
        QDBusError error;
        if (ask(bus, question, &error) >= 0)
            return new ScreenSaverIdleSource(bus, question, parent);
        // No such service, or one that does not answer: another path will not help, and
        // waiting again would hold up the start.
        if (error.type() == QDBusError::ServiceUnknown || error.type() == QDBusError::NoReply
            || error.type() == QDBusError::Timeout || error.type() == QDBusError::Disconnected)
            break;
    }
    return nullptr;
}

QString ScreenSaverIdleSource::name() const
{
    return tr("the freedesktop screen saver");
}
