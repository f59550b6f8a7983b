// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "FakeCompositor.h"

#include <QMetaObject>
#include <QSocketNotifier>

#include "ext-idle-notify-v1-server-protocol.h"
#include <wayland-server.h>

struct FakeCompositor::State
{
    struct Notification
    {
        wl_resource *resource;
        quint32 timeout;
    };

    bool offerIdleNotifier = true;
    wl_display *display = nullptr;
    QSocketNotifier *events = nullptr;
    QList<Notification> held;
    int made = 0;
};

namespace {

using State = FakeCompositor::State;

State *stateOf(wl_resource *resource)
{
    return static_cast<State *>(wl_resource_get_user_data(resource));
}

void destroyResource(wl_client *, wl_resource *resource)
{
    wl_resource_destroy(resource);
}

// The seat has no input devices, and says so; a client that asks for one anyway is wrong.
void noDevice(wl_client *, wl_resource *seat, uint32_t)
{
    wl_resource_post_error(seat, 0, "this seat has no input devices");
}

const struct wl_seat_interface SeatImplementation
    = {&noDevice, &noDevice, &noDevice, &destroyResource};

void bindSeat(wl_client *client, void *state, uint32_t version, uint32_t id)
{
    wl_resource *seat = wl_resource_create(client, &wl_seat_interface, int(version), id);
    if (!seat) {
        wl_client_post_no_memory(client);
        return;
    }
    wl_resource_set_implementation(seat, &SeatImplementation, state, nullptr);
    wl_seat_send_capabilities(seat, 0);
}

const struct ext_idle_notification_v1_interface NotificationImplementation = {&destroyResource};

void notificationGone(wl_resource *resource)
{
    State *state = stateOf(resource);
    state->held.removeIf(
        [resource](const State::Notification &held) { return held.resource == resource; });
}

void makeNotification(wl_client *client, wl_resource *notifier, uint32_t id, uint32_t timeout,
                      wl_resource *)
{
    wl_resource *notification = wl_resource_create(client, &ext_idle_notification_v1_interface,
                                                   wl_resource_get_version(notifier), id);
    if (!notification) {
        wl_client_post_no_memory(client);
        return;
    }
    State *state = stateOf(notifier);
    wl_resource_set_implementation(notification, &NotificationImplementation, state,
                                   &notificationGone);
    state->held.append({notification, timeout});
    ++state->made;
}

const struct ext_idle_notifier_v1_interface NotifierImplementation
    = {&destroyResource, &makeNotification};

void bindNotifier(wl_client *client, void *state, uint32_t version, uint32_t id)
{
    wl_resource *notifier
        = wl_resource_create(client, &ext_idle_notifier_v1_interface, int(version), id);
    if (!notifier) {
        wl_client_post_no_memory(client);
        return;
    }
    wl_resource_set_implementation(notifier, &NotifierImplementation, state, nullptr);
}

} // namespace

FakeCompositor::FakeCompositor(bool offerIdleNotifier)
    : m_state(std::make_unique<State>())
{
    m_state->offerIdleNotifier = offerIdleNotifier;
}

FakeCompositor::~FakeCompositor()
{
    if (m_thread.isRunning()) {
        onThread([this] {
            delete m_state->events;
            m_state->events = nullptr;
            wl_display_destroy_clients(m_state->display);
        });
        m_thread.quit();
        m_thread.wait();
    }
    delete m_context;
    if (m_state->display)
        wl_display_destroy(m_state->display);
}

template<typename Work>
void FakeCompositor::onThread(Work work) const
{
    QMetaObject::invokeMethod(m_context, work, Qt::BlockingQueuedConnection);
}

bool FakeCompositor::start()
{
    m_state->display = wl_display_create();
    if (!m_state->display) {
        m_error = QStringLiteral("cannot create a Wayland display");
        return false;
    }
    const char *socket = wl_display_add_socket_auto(m_state->display);
    if (!socket) {
        m_error = QStringLiteral("cannot listen on a Wayland socket in XDG_RUNTIME_DIR=")
                  + qEnvironmentVariable("XDG_RUNTIME_DIR");
        return false;
    }
    m_socketName = QString::fromLocal8Bit(socket);
    wl_global_create(m_state->display, &wl_seat_interface, 1, m_state.get(), &bindSeat);
    if (m_state->offerIdleNotifier) {
        wl_global_create(m_state->display, &ext_idle_notifier_v1_interface, 1, m_state.get(),
                         &bindNotifier);
    }

    // Nothing touches the display until the thread runs; from then on only the thread does.
    m_context = new QObject;
    m_context->moveToThread(&m_thread);
    m_thread.start();
    onThread([this] {
        State *state = m_state.get();
        wl_event_loop *loop = wl_display_get_event_loop(state->display);
        state->events
            = new QSocketNotifier(wl_event_loop_get_fd(loop), QSocketNotifier::Read, m_context);
        QObject::connect(state->events, &QSocketNotifier::activated, m_context, [state, loop] {
            wl_event_loop_dispatch(loop, 0);
            wl_display_flush_clients(state->display);
        });
    });
    return true;
}

QList<quint32> FakeCompositor::notifications() const
{
    QList<quint32> timeouts;
    onThread([this, &timeouts] {
        for (const State::Notification &held : std::as_const(m_state->held))
            timeouts.append(held.timeout);
    });
    return timeouts;
}

int FakeCompositor::notificationsMade() const
{
    int made = 0;
    onThread([this, &made] { made = m_state->made; });
    return made;
}

int FakeCompositor::sendIdled()
{
    return sendToEach(&ext_idle_notification_v1_send_idled);
}

int FakeCompositor::sendResumed()
{
    return sendToEach(&ext_idle_notification_v1_send_resumed);
}

int FakeCompositor::sendToEach(void (*event)(wl_resource *))
{
    int sent = 0;
    onThread([this, event, &sent] {
        for (const State::Notification &held : std::as_const(m_state->held))
            event(held.resource);
        sent = int(m_state->held.size());
        wl_display_flush_clients(m_state->display);
    });
    return sent;
}
