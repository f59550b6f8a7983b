// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "QuickStartBase.h"

QuickStartBase::QuickStartBase(QWidget *parent)
    : QDialog(parent)
{
    setupUi(this);
    connect(buttonBox, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
}
