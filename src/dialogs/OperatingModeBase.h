// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ui_OperatingModeBase.h"

#include <QDialog>

// Designer form of the operating-mode dialog: radPersonal, radGroup, txtServer, txtUserID,
// txtPassword and their labels.
class OperatingModeBase : public QDialog, public Ui::OperatingModeBase
{
    Q_OBJECT

public:
    explicit OperatingModeBase(QWidget *parent = nullptr);

protected:
    // Gives the radio buttons their bold face again when the application font changes.
    bool event(QEvent *event) override;
};
