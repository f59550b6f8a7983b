// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ui_PurgeTasksBase.h"

#include <QDialog>

// Designer form of the purge dialog: groupPurgeTime with radNow, radSpecified, btnDate,
// spinHour, spinMinute and chkPM, and below it lblCount.
class PurgeTasksBase : public QDialog, public Ui::PurgeTasksBase
{
    Q_OBJECT

public:
    explicit PurgeTasksBase(QWidget *parent = nullptr);
};
