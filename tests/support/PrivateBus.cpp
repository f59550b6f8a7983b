// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "PrivateBus.h"

#include <QDir>
#include <QFile>

#include <csignal>

#include <sys/prctl.h>

PrivateBus::~PrivateBus()
{
    if (m_daemon.state() != QProcess::NotRunning) {
        m_daemon.terminate();
        m_daemon.waitForFinished(5000);
    }
}

QString PrivateBus::serviceFolder() const
{
    return m_folder.filePath(QStringLiteral("services"));
}

bool PrivateBus::start()
{
    if (!m_folder.isValid() || !QDir().mkpath(serviceFolder())) {
        m_error = QStringLiteral("no temporary folder for the bus");
        return false;
    }
    const QString socket = m_folder.filePath(QStringLiteral("bus"));
    const QString config = m_folder.filePath(QStringLiteral("session.conf"));
    QFile configFile(config);
    if (!configFile.open(QIODevice::WriteOnly)) {
        m_error = configFile.errorString();
        return false;
    }
    configFile.write(
        QStringLiteral("<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus "
                       "Configuration 1.0//EN\" "
                       "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                       "<busconfig><type>session</type><listen>unix:path=%1</listen>"
                       "<servicedir>%2</servicedir><policy context=\"default\">"
                       "<allow send_destination=\"*\" eavesdrop=\"true\"/>"
                       "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>\n")
            .arg(socket, serviceFolder())
            .toUtf8());
    configFile.close();

    m_address = QStringLiteral("unix:path=") + socket;
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_address.toUtf8());
    // The bus ends with the test, also when the test is killed or aborts.
    m_daemon.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_daemon.start(QStringLiteral("dbus-daemon"),
                   {QStringLiteral("--config-file=") + config, QStringLiteral("--nofork"),
                    QStringLiteral("--print-address=1")});
    if (!m_daemon.waitForStarted(10000)) {
        m_error = QStringLiteral("cannot start a private D-Bus session bus: dbus-daemon (Debian "
                                 "package dbus): ")
                  + m_daemon.errorString();
        return false;
    }
    if (!m_daemon.waitForReadyRead(10000)
        || !QString::fromUtf8(m_daemon.readLine()).trimmed().startsWith(m_address)) {
        m_error = QStringLiteral("the private D-Bus session bus did not start: ")
                  + QString::fromUtf8(m_daemon.readAllStandardError());
        return false;
    }
    return true;
}
