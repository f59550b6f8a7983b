// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "DesktopTitles.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>

namespace {

QString textProperty(Display *display, Window window, Atom property, Atom type)
{
    Atom actualType = 0;
    int format = 0;
    unsigned long items = 0;
    unsigned long after = 0;
    unsigned char *data = nullptr;
    QString text;
    if (XGetWindowProperty(display, window, property, 0, 4096, False, type, &actualType, &format,
                           &items, &after, &data)
            == Success
        && data && actualType == type && format == 8) {
        const QByteArray bytes(reinterpret_cast<const char *>(data), int(items));
        text = type == XA_STRING ? QString::fromLatin1(bytes) : QString::fromUtf8(bytes);
    }
    if (data)
        XFree(data);
    return text;
}

} // namespace

QStringList shownWindowTitles(const QString &name)
{
    Display *const display = XOpenDisplay(name.toLatin1().constData());
    if (!display)
        return {};
    const Atom netWmName = XInternAtom(display, "_NET_WM_NAME", False);
    const Atom utf8 = XInternAtom(display, "UTF8_STRING", False);
    Window root = 0;
    Window parent = 0;
    Window *children = nullptr;
    unsigned int count = 0;
    QStringList titles;
    if (XQueryTree(display, DefaultRootWindow(display), &root, &parent, &children, &count)) {
        for (unsigned int i = 0; i < count; ++i) {
            XWindowAttributes attributes;
            if (!XGetWindowAttributes(display, children[i], &attributes)
                || attributes.map_state != IsViewable)
                continue;
            QString title = textProperty(display, children[i], netWmName, utf8);
            if (title.isEmpty())
                title = textProperty(display, children[i], XA_WM_NAME, XA_STRING);
            if (!title.isEmpty())
                titles << title;
        }
        if (children)
            XFree(children);
    }
    XCloseDisplay(display);
    titles.sort();
    return titles;
}
