// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QStringList>

// What the quorvel program does with its arguments: opens the window, or carries out a
// command, handing it to the running window when there is one.
namespace Launcher {

// Replaces this process with the window, passing the arguments on. Returns only when the
// window's program cannot be started.
int openWindow(char *argv[]);

// Carries out the command in argv (argv[1] on) and returns the exit status. Creates the
// application object only where one is needed: for a catalogue of the person's language, or a
// command that changes something.
int runCommand(int argc, char *argv[]);

} // namespace Launcher
