// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ui_TaskEditBase.h"

#include <QDialog>

// Designer form of the task editor: the activity, start-time and stop-time groups.
class TaskEditBase : public QDialog, public Ui::TaskEditBase
{
    Q_OBJECT

public:
    explicit TaskEditBase(QWidget *parent = nullptr);
};
