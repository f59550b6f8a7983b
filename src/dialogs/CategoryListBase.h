// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ModalWidget.h"
#include "ui_CategoryListBase.h"

// Designer form of the category list screen: btnNew, btnEdit, btnDelete and a place for the
// table.
class CategoryListBase : public ModalWidget, public Ui::CategoryListBase
{
    Q_OBJECT

public:
    explicit CategoryListBase(QWidget *parent = nullptr);
};
