// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "MutterIdleSource.h"

MutterIdleSource *MutterIdleSource::open(QObject *parent, const QDBusConnection &bus)
{
    const Question question{
        QDBusMessage::createMethodCall(QStringLiteral("org.gnome.Mutter.IdleMonitor"),
                                       QStringLiteral("/org/gnome/Mutter/IdleMonitor/Core"),
                                       QStringLiteral("org.gnome.Mutter.IdleMonitor"),
                                       QStringLiteral("GetIdletime")),
        QStringLiteral("t"), 1};
    if (ask(bus, question) < 0)
        return nullptr;
    return new MutterIdleSource(bus, question, parent);
}

QString MutterIdleSource::name() const
{
    return tr("GNOME's idle monitor");
}
