// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "ActivityListBase.h"

ActivityListBase::ActivityListBase(QWidget *parent)
    : ModalWidget(parent)
{
    setupUi(this);
}
