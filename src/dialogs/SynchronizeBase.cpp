// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "SynchronizeBase.h"

SynchronizeBase::SynchronizeBase(QWidget *parent)
    : ModalWidget(parent)
{
    setupUi(this);
    // Yellow while the exchange runs; a result recolours it.
    QPalette palette = lblStatus->palette();
    palette.setColor(QPalette::Active, QPalette::Window, QColor(255, 255, 0));
    palette.setColor(QPalette::Inactive, QPalette::Window, QColor(255, 255, 0));
    lblStatus->setPalette(palette);
}
