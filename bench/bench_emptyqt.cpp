// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The floor of a Qt command-line program: an application object and nothing else, built like
// quorvel. bench/cli.sh times and weighs quorvel's commands against it.
#include <QCoreApplication>

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    return 0;
}
