// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ui_QuickStartBase.h"

#include <QDialog>

// Designer form of Task → Start…: lblFind over txtFind, the list lstActivities and buttonBox.
class QuickStartBase : public QDialog, public Ui::QuickStartBase
{
    Q_OBJECT

public:
    explicit QuickStartBase(QWidget *parent = nullptr);
};
