// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Below the empty Qt program: QtCore and what it needs loaded and relocated, and nothing made
// of it. bench/cli.sh weighs it beside the empty program, to show what the application object
// costs and how much room a command has above what any program linked to Qt pays.
#include <QtGlobal>

int main()
{
    // Asked so that the library is linked and loaded, and nothing more.
    return qVersion() == nullptr ? 1 : 0;
}
