// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ui_ActivityEditBase.h"

#include <QDialog>

// Designer form of the activity editor: groupName with txtName, groupCategory with
// comboCategory and btnCategory ("Add New Category").
class ActivityEditBase : public QDialog, public Ui::ActivityEditBase
{
    Q_OBJECT

public:
    explicit ActivityEditBase(QWidget *parent = nullptr);
};
