// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

// A D-Bus session bus of the test's own (dbus-daemon in a temporary folder), never the
// desktop's. start() sets DBUS_SESSION_BUS_ADDRESS before the daemon runs, so that the
// programs the bus starts from the service folder find it too; call it before anything in
// the process uses QDBusConnection::sessionBus().
class PrivateBus
{
public:
    PrivateBus() = default;
    ~PrivateBus();
    PrivateBus(const PrivateBus &) = delete;
    PrivateBus &operator=(const PrivateBus &) = delete;

    // Starts the daemon; false, with the reason in error(), when it cannot.
    bool start();
    QString address() const { return m_address; }
    // Where the bus looks for .service files of the programs it may start.
    QString serviceFolder() const;
    QString error() const { return m_error; }

private:
    QTemporaryDir m_folder;
    QProcess m_daemon;
    QString m_address;
    QString m_error;
};
