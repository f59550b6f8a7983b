// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "WaylandIdleSource.h"

#include <QDeadlineTimer>
#include <QSocketNotifier>
#include <QtGlobal>

#include "ext-idle-notify-v1-client-protocol.h"
#include <wayland-client.h>

#include <cerrno>
#include <cstring>
#include <limits>

#include <poll.h>

namespace {

void syncDone(void *done, wl_callback *, uint32_t)
{
    *static_cast<bool *>(done) = true;
}
const wl_callback_listener SyncListener = {&syncDone};

} // namespace

WaylandIdleSource *WaylandIdleSource::open(QObject *parent)
{
    wl_display *display = wl_display_connect(nullptr);
    if (!display)
        return nullptr;
    auto *source = new WaylandIdleSource(display, parent);
    if (!source->findGlobals()) {
        delete source;
        return nullptr;
    }
    return source;
}

WaylandIdleSource::WaylandIdleSource(wl_display *display, QObject *parent)
    : IdleSource(parent)
    , m_display(display)
{}

WaylandIdleSource::~WaylandIdleSource()
{
    dropNotification();
    if (m_notifier)
        ext_idle_notifier_v1_destroy(m_notifier);
    if (m_seat)
        wl_seat_destroy(m_seat);
    if (m_registry)
        wl_registry_destroy(m_registry);
    wl_display_disconnect(m_display);
}

QString WaylandIdleSource::name() const
{
    return tr("the Wayland idle notification");
}

bool WaylandIdleSource::findGlobals()
{
    static const wl_registry_listener registryListener
        = {&WaylandIdleSource::global, &WaylandIdleSource::globalRemoved};
    m_registry = wl_display_get_registry(m_display);
    wl_registry_add_listener(m_registry, &registryListener, this);
    bool done = false;
    wl_callback *sync = wl_display_sync(m_display);
    wl_callback_add_listener(sync, &SyncListener, &done);

    // wl_display_roundtrip would wait for ever on a compositor that hangs; this is at start-up.
    const QDeadlineTimer deadline(StartAnswerMs);
    const int fd = wl_display_get_fd(m_display);
    while (!done) {
        if (wl_display_prepare_read(m_display) != 0) {
            if (wl_display_dispatch_pending(m_display) < 0)
                break;
            continue;
        }
        if (wl_display_flush(m_display) < 0 && errno != EAGAIN) {
            wl_display_cancel_read(m_display);
            break;
        }
        pollfd readable = {fd, POLLIN, 0};
        const int ready = ::poll(&readable, 1, int(deadline.remainingTime()));
        if (ready <= 0) {
            wl_display_cancel_read(m_display);
            if (ready < 0 && errno == EINTR)
                continue;
            break;
        }
        if (wl_display_read_events(m_display) < 0 || wl_display_dispatch_pending(m_display) < 0)
            break;
    }
    wl_callback_destroy(sync);
    if (!done || !m_seat || !m_notifier)
        return false;

    m_events = new QSocketNotifier(fd, QSocketNotifier::Read, this);
    connect(m_events, &QSocketNotifier::activated, this, &WaylandIdleSource::readEvents);
    return true;
}

void WaylandIdleSource::global(void *source, wl_registry *registry, uint32_t id,
                               const char *interface, uint32_t /*version*/)
{
    auto *self = static_cast<WaylandIdleSource *>(source);
    // Version 1 of each is all that is used; the first seat is the person's.
    if (!self->m_seat && std::strcmp(interface, wl_seat_interface.name) == 0) {
        self->m_seat
            = static_cast<wl_seat *>(wl_registry_bind(registry, id, &wl_seat_interface, 1));
    } else if (!self->m_notifier
               && std::strcmp(interface, ext_idle_notifier_v1_interface.name) == 0) {
        self->m_notifier = static_cast<ext_idle_notifier_v1 *>(
            wl_registry_bind(registry, id, &ext_idle_notifier_v1_interface, 1));
    }
}

void WaylandIdleSource::globalRemoved(void *, wl_registry *, uint32_t) {}

void WaylandIdleSource::watch(qint64 thresholdMs)
{
    // The protocol counts the timeout in a 32-bit number of milliseconds (about 49 days).
    const qint64 threshold = qBound<qint64>(0, thresholdMs, std::numeric_limits<uint32_t>::max());
    if (threshold == m_threshold)
        return;
    m_threshold = threshold;
    dropNotification();
    if (!m_events || m_threshold == 0)
        return;

    static const ext_idle_notification_v1_listener listener
        = {&WaylandIdleSource::idled, &WaylandIdleSource::resumed};
    m_notification
        = ext_idle_notifier_v1_get_idle_notification(m_notifier, uint32_t(m_threshold), m_seat);
    ext_idle_notification_v1_add_listener(m_notification, &listener, this);
    if (wl_display_flush(m_display) < 0 && errno != EAGAIN)
        lose();
}

void WaylandIdleSource::dropNotification()
{
    if (m_notification) {
        ext_idle_notification_v1_destroy(m_notification);
        m_notification = nullptr;
        if (m_events)
            wl_display_flush(m_display);
    }
    m_idle = false;
}

void WaylandIdleSource::idled(void *source, ext_idle_notification_v1 *)
{
    auto *self = static_cast<WaylandIdleSource *>(source);
    if (self->m_idle)
        return;
    self->m_idle = true;
    Q_EMIT self->wentIdle(self->m_threshold);
}

void WaylandIdleSource::resumed(void *source, ext_idle_notification_v1 *)
{
    auto *self = static_cast<WaylandIdleSource *>(source);
    if (!self->m_idle)
        return;
    self->m_idle = false;
    Q_EMIT self->cameBack();
}

void WaylandIdleSource::readEvents()
{
    // Events already queued are dispatched first; the socket is read again when it still has
    // data, as the notifier fires for as long as it does.
    if (wl_display_prepare_read(m_display) == 0 && wl_display_read_events(m_display) < 0) {
        lose();
        return;
    }
    if (wl_display_dispatch_pending(m_display) < 0
        || (wl_display_flush(m_display) < 0 && errno != EAGAIN))
        lose();
}

void WaylandIdleSource::lose()
{
    if (!m_events)
        return;
    // Called from the notifier's own signal, so it goes once that has returned.
    m_events->setEnabled(false);
    m_events->deleteLater();
    m_events = nullptr;
    // The proxies stay until dropped; on a broken connection that sends nothing.
    dropNotification();
}
