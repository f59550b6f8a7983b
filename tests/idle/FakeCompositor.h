// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QList>
#include <QString>
#include <QThread>

#include <memory>

struct wl_resource;

// A Wayland compositor of the test's own, on a thread of its own, with a seat (without input
// devices) and, unless told otherwise, the idle notifier of ext-idle-notify-v1. The test sees
// the idle notifications its clients make and sends them idled and resumed. The socket is in
// $XDG_RUNTIME_DIR, which the test environment makes a fresh temporary folder.
class FakeCompositor
{
public:
    explicit FakeCompositor(bool offerIdleNotifier = true);
    ~FakeCompositor();
    FakeCompositor(const FakeCompositor &) = delete;
    FakeCompositor &operator=(const FakeCompositor &) = delete;

    // Listens and runs; false, with the reason in error(), when it cannot.
    bool start();
    // What WAYLAND_DISPLAY says for it.
    QString socketName() const { return m_socketName; }
    QString error() const { return m_error; }

    // The timeouts of the idle notifications the clients hold now, oldest first.
    QList<quint32> notifications() const;
    // How many notifications the clients have made in all.
    int notificationsMade() const;
    // Sends idled, or resumed, to every notification held now; how many there were.
    int sendIdled();
    int sendResumed();

    struct State;

private:
    // Runs work on the compositor's thread, which alone touches its Wayland objects, and
    // waits for it.
    template<typename Work>
    void onThread(Work work) const;
    int sendToEach(void (*event)(wl_resource *));

    std::unique_ptr<State> m_state;
    QThread m_thread;
    QObject *m_context = nullptr;
    QString m_socketName;
    QString m_error;
};
