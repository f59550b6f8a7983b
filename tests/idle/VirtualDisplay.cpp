// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "VirtualDisplay.h"

#include <QDeadlineTimer>

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

#include <csignal>

#include <sys/prctl.h>

VirtualDisplay::~VirtualDisplay()
{
    stop();
}

bool VirtualDisplay::start()
{
    // The server ends with the test, also when the test is killed or aborts.
    m_server.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    // -displayfd picks a display number no other server uses and writes it once the server
    // accepts connections, so tests running side by side do not meet.
    m_server.start(QStringLiteral("Xvfb"),
                   {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-nolisten"),
                    QStringLiteral("tcp"), QStringLiteral("-screen"), QStringLiteral("0"),
                    QStringLiteral("640x480x24")});
    if (!m_server.waitForStarted(10000)) {
        m_error
            = QStringLiteral("cannot start Xvfb (Debian package xvfb): ") + m_server.errorString();
        return false;
    }
    const QDeadlineTimer deadline(20000);
    QByteArray number;
    while (!number.endsWith('\n') && m_server.waitForReadyRead(int(deadline.remainingTime())))
        number += m_server.readAllStandardOutput();
    if (!number.endsWith('\n')) {
        m_error = QStringLiteral("Xvfb did not say its display number: ")
                  + QString::fromLocal8Bit(m_server.readAllStandardError());
        return false;
    }
    m_name = QLatin1Char(':') + QString::fromLatin1(number.trimmed());
    m_input = XOpenDisplay(m_name.toLatin1().constData());
    if (!m_input) {
        m_error = QStringLiteral("cannot connect to Xvfb on ") + m_name;
        return false;
    }
    int eventBase = 0;
    int errorBase = 0;
    int major = 0;
    int minor = 0;
    if (!XTestQueryExtension(m_input, &eventBase, &errorBase, &major, &minor)) {
        m_error = QStringLiteral("Xvfb has no XTest extension");
        return false;
    }
    return true;
}

bool VirtualDisplay::movePointer()
{
    if (!m_input)
        return false;
    // To and fro, so that the pointer never stops at the edge of the screen.
    m_step = -m_step;
    const bool taken = XTestFakeRelativeMotionEvent(m_input, m_step, m_step, CurrentTime);
    XSync(m_input, False);
    return taken;
}

void VirtualDisplay::stop()
{
    // The test's own connection goes first: Xlib would end the test when it broke.
    if (m_input) {
        XCloseDisplay(m_input);
        m_input = nullptr;
    }
    if (m_server.state() != QProcess::NotRunning) {
        m_server.terminate();
        if (!m_server.waitForFinished(10000))
            m_server.kill();
        m_server.waitForFinished(5000);
    }
}
