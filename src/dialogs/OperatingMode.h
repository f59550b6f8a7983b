// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "OperatingModeBase.h"

// Switches between personal and group mode; group mode needs a server address, a user ID and
// a password. accept() refuses what cannot be used and leaves the cleaned texts in the line
// edits for the caller.
class OperatingMode : public OperatingModeBase
{
    Q_OBJECT

public:
    explicit OperatingMode(QWidget *parent = nullptr);

    // Whether the person typed in the server field before the accepted OK: an address entered
    // again lets a server's renewed certificate be asked about.
    bool serverEdited() const { return m_serverEdited; }

public Q_SLOTS:
    void accept() override;
    void modeToggled(bool personalOn);

protected:
    void showEvent(QShowEvent *event) override;

private:
    bool m_serverEdited = false;
};
