// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "DBusIdleSource.h"

// GNOME's idle monitor (org.gnome.Mutter.IdleMonitor), which tells the idle time of the whole
// session in milliseconds, also under Wayland.
class MutterIdleSource : public DBusIdleSource
{
    Q_OBJECT

public:
    // The source, owned by parent, when GNOME's idle monitor answers on bus; else nullptr.
    static MutterIdleSource *open(QObject *parent, const QDBusConnection &bus);

    QString name() const override;

private:
    using DBusIdleSource::DBusIdleSource;
};
