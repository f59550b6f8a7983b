// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ModalWidget.h"
#include "ui_ActivityListBase.h"

// Designer form of the activity list screen: btnNew, btnEdit, btnDelete and a place for the
// table.
class ActivityListBase : public ModalWidget, public Ui::ActivityListBase
{
    Q_OBJECT

public:
    explicit ActivityListBase(QWidget *parent = nullptr);
};
