// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ui_MainWidgetBase.h"

#include <QWidget>

// The designer form of the main window's central widget: three shortcut buttons (btnTask1..3)
// with their running-time labels (lblTaskStatus1..3), and the place for the task table.
class MainWidgetBase : public QWidget, protected Ui::MainWidgetBase
{
    Q_OBJECT

public:
    explicit MainWidgetBase(QWidget *parent = nullptr);

protected:
    // Keeps the time labels in their fixed-pitch bold face when the application font changes.
    bool event(QEvent *event) override;
    void setTimeLabelFont();
};
