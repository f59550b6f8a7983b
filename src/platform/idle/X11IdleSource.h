// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "PollingIdleSource.h"

struct _XDisplay;

// The X11 screen saver extension (libXss), on a connection of its own to $DISPLAY, apart from
// Qt's platform plugin: it works whichever plugin the window uses.
class X11IdleSource : public PollingIdleSource
{
    Q_OBJECT

public:
    // The source, owned by parent, when $DISPLAY opens and has the extension; else nullptr.
    static X11IdleSource *open(QObject *parent);
    ~X11IdleSource() override;

    QString name() const override;

protected:
    void readIdleTime() override;

private:
    X11IdleSource(_XDisplay *display, QObject *parent);
    static void connectionLost(_XDisplay *display, void *source);

    _XDisplay *m_display;
    bool m_lost = false;
};
