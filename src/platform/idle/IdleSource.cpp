// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "IdleSource.h"

#include "MutterIdleSource.h"
#include "ScreenSaverIdleSource.h"
#include "WaylandIdleSource.h"
#include "X11IdleSource.h"

#include <functional>
#include <vector>

IdleSource *IdleSource::find(QObject *parent, const QDBusConnection &bus, QString *reason)
{
    using Opener = std::function<IdleSource *()>;
    const Opener wayland = [parent] {
        return WaylandIdleSource::open(parent);
    };
    const Opener mutter = [parent, &bus] {
        return MutterIdleSource::open(parent, bus);
    };
    const Opener screenSaver = [parent, &bus] {
        return ScreenSaverIdleSource::open(parent, bus);
    };
    const Opener x11 = [parent] {
        return X11IdleSource::open(parent);
    };

    // Under Wayland, XWayland's screen saver extension sees only X11 programs' input, so it
    // would call the person idle while they type into Wayland windows.
    const std::vector<Opener> order = qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
                                          ? std::vector<Opener>{x11, mutter, screenSaver}
                                          : std::vector<Opener>{wayland, mutter, screenSaver, x11};
    for (const Opener &open : order) {
        if (IdleSource *source = open()) {
            if (reason)
                reason->clear();
            return source;
        }
    }
    if (reason) {
        *reason = tr("This desktop session does not tell programs how long you have been away "
                     "from the computer: it offers none of the Wayland idle notification, "
                     "GNOME's idle monitor, the freedesktop screen saver and the X11 screen "
                     "saver extension.");
    }
    return nullptr;
}
