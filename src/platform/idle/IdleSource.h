// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>

// How long the person at this computer has touched neither keyboard nor mouse. Each kind of
// desktop session tells it differently, so there is one implementation per kind, chosen while
// the program runs (IdleSource::find).
class IdleSource : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    // What tells the idle time, for the person: "the X11 screen saver extension", ...
    virtual QString name() const = 0;
    // Starts watching, or changes the threshold: wentIdle once the person has been idle for
    // thresholdMs, then cameBack at their next input. A threshold of 0 stops watching. A new
    // threshold starts over: after it, a wentIdle of the old one gets no cameBack.
    virtual void watch(qint64 thresholdMs) = 0;

    // The first source that answers in this session, owned by parent: the Wayland idle
    // notification (ext-idle-notify-v1) or the X11 screen saver extension, GNOME's idle
    // monitor (org.gnome.Mutter.IdleMonitor) and org.freedesktop.ScreenSaver on bus. In a
    // Wayland session the X11 extension comes last, since there it sees only the input that
    // goes to X11 programs. Each question on the bus waits half a second at most. When none
    // answers: nullptr, and why in *reason, in words for the person.
    static IdleSource *find(QObject *parent, const QDBusConnection &bus, QString *reason);

Q_SIGNALS:
    // The person has been idle for idleMs (at least the threshold) when this is noticed.
    void wentIdle(qint64 idleMs);
    // The person is back, after wentIdle.
    void cameBack();
};
