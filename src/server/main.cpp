// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// quorvel-server: the group server and its administration commands.

#include "CommandLine.h"

#include "platform/Clock.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    Clock::pinLocalTimeZone();
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quorvel-server"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUORVEL_VERSION));
    return CommandLine(QCoreApplication::arguments()).run();
}
