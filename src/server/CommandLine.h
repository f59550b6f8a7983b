// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QCoreApplication>
#include <QStringList>

// The command line of quorvel-server: "serve" (the default) runs the server; the other
// commands administer its data. Exit status 0 done, 1 refused or failed, 2 bad usage.
class CommandLine
{
    Q_DECLARE_TR_FUNCTIONS(CommandLine)

public:
    explicit CommandLine(const QStringList &arguments);
    int run();

private:
    QStringList m_arguments;
};
