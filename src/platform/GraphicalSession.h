// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QCoreApplication>
#include <QString>

// Whether the window can open at all, asked before any application object exists: without a
// display the toolkit would print its plugin error and abort.
class GraphicalSession
{
    Q_DECLARE_TR_FUNCTIONS(GraphicalSession)

public:
    // True when a platform is chosen (QT_QPA_PLATFORM or -platform among arguments), or a
    // Wayland or X11 display is set and answers on its local socket. A display reached over
    // the network counts as there.
    static bool available(int argc, char *argv[]);

    // "Quorvel needs a graphical session; ...", in the person's language.
    static QString missingMessage();

    // Writes missingMessage() as one line on standard error and returns the exit status 1.
    // No application object may exist yet: one is made here for the translation.
    static int refuse(char *argv[]);
};
