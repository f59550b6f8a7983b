// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ui_ChooseInitialModeBase.h"

#include <QDialog>

// Designer form of the first-run dialog: radPersonalInit, radPersonalNoInit, radGroup.
class ChooseInitialModeBase : public QDialog, public Ui::ChooseInitialModeBase
{
    Q_OBJECT

public:
    explicit ChooseInitialModeBase(QWidget *parent = nullptr);

protected:
    // Gives the radio buttons their bold face again when the application font changes.
    bool event(QEvent *event) override;
};
