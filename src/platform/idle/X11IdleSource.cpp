// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "X11IdleSource.h"

#include <QtGlobal>

#include <X11/Xlib.h>
#include <X11/extensions/scrnsaver.h>

#include <algorithm>
#include <mutex>
#include <vector>

namespace {

// Xlib ends the whole program when a connection breaks, in the I/O error handler that every
// connection of the process shares. The one here lets the connections of these sources go on
// to their exit handler, which only ends the readings, and leaves the others to the handler
// that was there before. Another thread's connection may break at any time, hence the lock.
std::mutex s_lock;
std::vector<Display *> s_ours;
XIOErrorHandler s_previousHandler = nullptr;

int ioError(Display *display)
{
    {
        const std::lock_guard<std::mutex> lock(s_lock);
        if (std::find(s_ours.cbegin(), s_ours.cend(), display) != s_ours.cend())
            return 0;
    }
    return s_previousHandler ? s_previousHandler(display) : 0;
}

void adopt(Display *display)
{
    const std::lock_guard<std::mutex> lock(s_lock);
    if (s_ours.empty() && !s_previousHandler)
        s_previousHandler = XSetIOErrorHandler(&ioError);
    s_ours.push_back(display);
}

void release(Display *display)
{
    const std::lock_guard<std::mutex> lock(s_lock);
    s_ours.erase(std::remove(s_ours.begin(), s_ours.end(), display), s_ours.end());
}

} // namespace

X11IdleSource *X11IdleSource::open(QObject *parent)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return nullptr;
    Display *display = XOpenDisplay(nullptr);
    if (!display)
        return nullptr;
    int eventBase = 0;
    int errorBase = 0;
    if (!XScreenSaverQueryExtension(display, &eventBase, &errorBase)) {
        XCloseDisplay(display);
        return nullptr;
    }
    return new X11IdleSource(display, parent);
}

X11IdleSource::X11IdleSource(Display *display, QObject *parent)
    : PollingIdleSource(parent)
    , m_display(display)
{
    adopt(m_display);
    XSetIOErrorExitHandler(m_display, &X11IdleSource::connectionLost, this);
}

X11IdleSource::~X11IdleSource()
{
    XCloseDisplay(m_display);
    release(m_display);
}

QString X11IdleSource::name() const
{
    return tr("the X11 screen saver extension");
}

void X11IdleSource::connectionLost(Display *, void *source)
{
    static_cast<X11IdleSource *>(source)->m_lost = true;
}

void X11IdleSource::readIdleTime()
{
    // A broken connection is not asked again: Xlib would report it again every time.
    XScreenSaverInfo *info = m_lost ? nullptr : XScreenSaverAllocInfo();
    if (info && XScreenSaverQueryInfo(m_display, DefaultRootWindow(m_display), info) && !m_lost)
        idleTimeRead(qint64(info->idle));
    else
        readFailed();
    if (info)
        XFree(info);
}
