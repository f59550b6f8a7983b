// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ui_ReportParams1Base.h"

#include <QDialog>

// Designer form of the report period dialog: groupReportPeriod with btnFromDate and
// btnToDate, groupOptions with chkDecimalHours and chkIncludeZeroActivities.
class ReportParams1Base : public QDialog, public Ui::ReportParams1Base
{
    Q_OBJECT

public:
    explicit ReportParams1Base(QWidget *parent = nullptr);
};
