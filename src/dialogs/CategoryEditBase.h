// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include "ui_CategoryEditBase.h"

#include <QDialog>

// Designer form of the category editor: groupName with txtName.
class CategoryEditBase : public QDialog, public Ui::CategoryEditBase
{
    Q_OBJECT

public:
    explicit CategoryEditBase(QWidget *parent = nullptr);
};
