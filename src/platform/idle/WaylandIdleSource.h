// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "IdleSource.h"

#include <cstdint>

class QSocketNotifier;
struct ext_idle_notification_v1;
struct ext_idle_notifier_v1;
struct wl_display;
struct wl_registry;
struct wl_seat;

// The Wayland idle notification (ext-idle-notify-v1), on a connection of its own to
// $WAYLAND_DISPLAY, apart from Qt's platform plugin. The compositor itself tells when the
// person went idle and came back, so nothing is polled.
class WaylandIdleSource : public IdleSource
{
    Q_OBJECT

public:
    // How long the question at start-up may wait for the compositor's answer.
    static constexpr int StartAnswerMs = 500;

    // The source, owned by parent, when the compositor answers and offers a seat and the idle
    // notifier; else nullptr.
    static WaylandIdleSource *open(QObject *parent);
    ~WaylandIdleSource() override;

    QString name() const override;
    void watch(qint64 thresholdMs) override;

private:
    WaylandIdleSource(wl_display *display, QObject *parent);
    // Asks for the globals and waits for them, StartAnswerMs at most.
    bool findGlobals();
    void readEvents();
    // The compositor went away or broke the connection: no more notifications.
    void lose();
    void dropNotification();

    static void global(void *source, wl_registry *registry, uint32_t id, const char *interface,
                       uint32_t version);
    static void globalRemoved(void *source, wl_registry *registry, uint32_t id);
    static void idled(void *source, ext_idle_notification_v1 *notification);
    static void resumed(void *source, ext_idle_notification_v1 *notification);

    wl_display *m_display;
    wl_registry *m_registry = nullptr;
    wl_seat *m_seat = nullptr;
    ext_idle_notifier_v1 *m_notifier = nullptr;
    ext_idle_notification_v1 *m_notification = nullptr;
    QSocketNotifier *m_events = nullptr;
    qint64 m_threshold = 0;
    bool m_idle = false;
};
