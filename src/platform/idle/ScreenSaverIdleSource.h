// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "DBusIdleSource.h"

// The freedesktop screen saver service (org.freedesktop.ScreenSaver), which tells the session's
// idle time in seconds where it is implemented; many desktops answer it with an error only.
class ScreenSaverIdleSource : public DBusIdleSource
{
    Q_OBJECT

public:
    // The source, owned by parent, when the screen saver service tells the idle time on bus;
    // else nullptr.
    static ScreenSaverIdleSource *open(QObject *parent, const QDBusConnection &bus);

    QString name() const override;

private:
    using DBusIdleSource::DBusIdleSource;
};
