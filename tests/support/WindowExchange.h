// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers
#pragma once

#include <QByteArray>
#include <QColor>
#include <QString>

class QuorvelMainWindow;

// The program's own exchange as a person starts it from the window, for the tests that run it
// against a real group server.

// What the status window showed when the exchange ended.
struct SyncOutcome
{
    QString status;
    QString messages;
    QColor colour;
    bool succeeded = false;
};

// Task → Synchronize with Server, the status window closed once it shows its result (or after
// 30 seconds, so that a failure cannot leave the test waiting).
SyncOutcome synchronize(QuorvelMainWindow &window);

// The bytes of the data file, empty when there is none.
QByteArray dataFileBytes();

// A device in group mode for user at server, with an empty data file and a clean environment.
// False when the data file could not be written.
bool prepareGroupDevice(const QString &server, const QString &user, const QString &password);
